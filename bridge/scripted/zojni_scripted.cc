// The zojni* entry points of the scripted bridge: each forwards to the
// process-wide ScriptedBridge. They are exported so that a host program can
// offer them to a library it loads at run time (the project otherwise builds
// with hidden visibility).
#include "scripted_bridge.h"

#define SCRIPTED_EXPORT __attribute__((visibility("default")))

extern "C" {

SCRIPTED_EXPORT int zojniProxyCreate(const char* jar, const char* proxyName,
                                     const char* className, ZoJniOptionRecord* options,
                                     ZoJniMessageRecord* messages, zojniProxy** out) {
  return ScriptedBridge::instance().create(false, nullptr, jar, proxyName, className,
                                           options, messages, out);
}

SCRIPTED_EXPORT int zojniProxyCreateFromProxy(zojniProxy* base, const char* jar,
                                              const char* proxyName, const char* className,
                                              ZoJniOptionRecord* options,
                                              ZoJniMessageRecord* messages, zojniProxy** out) {
  return ScriptedBridge::instance().create(true, base, jar, proxyName, className, options,
                                           messages, out);
}

SCRIPTED_EXPORT int zojniProxyCall(zojniProxy* proxy, ZoJniPollRecord* poll,
                                   const char* proxyName, const char* method,
                                   const char* signature, int count, zowlpParameter* params,
                                   zowlpResponse** response) {
  return ScriptedBridge::instance().call(proxy, poll, proxyName, method, signature, count,
                                         params, response);
}

SCRIPTED_EXPORT zowlpRowSet* zojniProxyRowSetCreate(zojniProxy* proxy,
                                                    const char* columnTypes) {
  return ScriptedBridge::instance().createRowSet(proxy, columnTypes);
}

SCRIPTED_EXPORT void zojniProxyDestroy(zojniProxy* proxy) {
  ScriptedBridge::instance().destroy(proxy);
}

}  // extern "C"

// The zojni* entry points of the scripted bridge: each forwards to the
// process-wide ScriptedBridge.
#include "scripted_bridge.h"

extern "C" {

int zojniProxyCreate(const char* jar, const char* proxyName, const char* className,
                     ZoJniOptionRecord* options, ZoJniMessageRecord* messages,
                     zojniProxy** out) {
  return ScriptedBridge::instance().create(false, nullptr, jar, proxyName, className,
                                           options, messages, out);
}

int zojniProxyCreateFromProxy(zojniProxy* base, const char* jar, const char* proxyName,
                              const char* className, ZoJniOptionRecord* options,
                              ZoJniMessageRecord* messages, zojniProxy** out) {
  return ScriptedBridge::instance().create(true, base, jar, proxyName,
                                           className, options, messages, out);
}

int zojniProxyCall(zojniProxy* proxy, ZoJniPollRecord* poll, const char* proxyName,
                   const char* method, const char* signature, int count,
                   zowlpParameter* params, zowlpResponse** response) {
  return ScriptedBridge::instance().call(proxy, poll, proxyName, method, signature,
                                         count, params, response);
}

zowlpRowSet* zojniProxyRowSetCreate(zojniProxy* proxy, const char* columnTypes) {
  return ScriptedBridge::instance().createRowSet(proxy, columnTypes);
}

void zojniProxyDestroy(zojniProxy* proxy) { ScriptedBridge::instance().destroy(proxy); }

}  // extern "C"

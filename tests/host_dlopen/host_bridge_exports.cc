// The bridge functions as a host process offers them to the library it loads.
// The project builds with hidden visibility, so the scripted bridge's own entry
// points stay inside their archive; these exported ones hand every call to the
// same process-wide ScriptedBridge.
#include "scripted_bridge.h"

#define HOST_EXPORT __attribute__((visibility("default")))

extern "C" {

HOST_EXPORT int zojniProxyCreate(const char* jar, const char* proxyName,
                                 const char* className, ZoJniOptionRecord* options,
                                 ZoJniMessageRecord* messages, zojniProxy** out) {
  return ScriptedBridge::instance().create(false, nullptr, jar, proxyName, className,
                                           options, messages, out);
}

HOST_EXPORT int zojniProxyCreateFromProxy(zojniProxy* base, const char* jar,
                                          const char* proxyName, const char* className,
                                          ZoJniOptionRecord* options,
                                          ZoJniMessageRecord* messages, zojniProxy** out) {
  return ScriptedBridge::instance().create(true, base, jar, proxyName, className, options,
                                           messages, out);
}

HOST_EXPORT int zojniProxyCall(zojniProxy* proxy, ZoJniPollRecord* poll,
                               const char* proxyName, const char* method,
                               const char* signature, int count, zowlpParameter* params,
                               zowlpResponse** response) {
  return ScriptedBridge::instance().call(proxy, poll, proxyName, method, signature, count,
                                         params, response);
}

HOST_EXPORT zowlpRowSet* zojniProxyRowSetCreate(zojniProxy* proxy, const char* columnTypes) {
  return ScriptedBridge::instance().createRowSet(proxy, columnTypes);
}

HOST_EXPORT void zojniProxyDestroy(zojniProxy* proxy) {
  ScriptedBridge::instance().destroy(proxy);
}

}  // extern "C"

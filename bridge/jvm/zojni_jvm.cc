// The bridge operations on a real JVM.
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "call_scope.h"
#include "class_cache.h"
#include "context_loader.h"
#include "exception_mapping.h"
#include "jni_refs.h"
#include "jvm_host.h"
#include "proxy_loader.h"
#include "record_conversion.h"
#include "zojni.h"
#ifdef ZOH_TEST_HOOKS
#include "zojni_jvm_test.h"
#endif

#define ZOJNI_EXPORT __attribute__((visibility("default")))

struct zojniProxy {
  std::string name;
  zojni::CreatedProxy created;
  zojni::MethodCache* methods = nullptr;  // its class's, shared
};

namespace {

constexpr int kErrorMessage = 2;
// Room for the inputs and what converting them and the outputs needs at once.
constexpr jint kFrameBase = 32;
constexpr int kInlineArgs = 16;

#ifdef ZOH_TEST_HOOKS
thread_local int t_lastCallPolls = 0;
#endif

int reportCreateFailure(int status, const std::string& why) {
  if (zojni::CreateScope* scope = zojni::CreateScope::current()) {
    scope->message(kErrorMessage, "Java bridge: " + why);
  }
  return status;
}

int create(zojniProxy* base, const char* jar, const char* proxyName, const char* className,
           ZoJniOptionRecord* options, ZoJniMessageRecord* messages, zojniProxy** out) {
  if (out != nullptr) *out = nullptr;
  zojni::CreateScope scope(options, messages);
  if (jar == nullptr || className == nullptr || out == nullptr || *jar == '\0' ||
      *className == '\0') {
    return reportCreateFailure(ZOJNI_ERR_ARGUMENT, "a proxy needs a jar, a class and an output");
  }
  const char* name = proxyName != nullptr ? proxyName : "";
  JNIEnv* env = nullptr;
  std::string why;
  int status = zojni::currentEnv(&env, &why);
  if (status != ZOJNI_OK) return reportCreateFailure(status, why);
  const zojni::RuntimeClasses* rc = nullptr;
  status = zojni::runtimeClasses(env, &rc, &why);
  if (status != ZOJNI_OK) return reportCreateFailure(status, why);
  zojni::LocalFrame frame(env, kFrameBase);
  if (!frame.ok()) {
    env->ExceptionClear();
    return reportCreateFailure(ZOJNI_ERR_MEMORY, "no room for JNI local references");
  }
  auto proxy = std::make_unique<zojniProxy>();
  proxy->name = name;
  status = zojni::createProxy(env, *rc, jar, name, className,
                              base != nullptr ? base->created.loader : nullptr, &proxy->created);
  if (status != ZOJNI_OK) return status;
  proxy->methods = zojni::methodCacheFor(env, proxy->created.type.asClass());
  if (proxy->methods == nullptr) {
    return reportCreateFailure(ZOJNI_ERR_MEMORY, "no JNI global reference left");
  }
  *out = proxy.release();
  return ZOJNI_OK;
}

}  // namespace

extern "C" {

ZOJNI_EXPORT int zojniProxyCreate(const char* jar, const char* proxyName, const char* className,
                                  ZoJniOptionRecord* options, ZoJniMessageRecord* messages,
                                  zojniProxy** out) {
  return create(nullptr, jar, proxyName, className, options, messages, out);
}

ZOJNI_EXPORT int zojniProxyCreateFromProxy(zojniProxy* base, const char* jar,
                                           const char* proxyName, const char* className,
                                           ZoJniOptionRecord* options,
                                           ZoJniMessageRecord* messages, zojniProxy** out) {
  return create(base, jar, proxyName, className, options, messages, out);
}

ZOJNI_EXPORT int zojniProxyCall(zojniProxy* proxy, ZoJniPollRecord* poll, const char* proxyName,
                                const char* method, const char* signature, int count,
                                zowlpParameter* params, zowlpResponse** response) {
  if (response == nullptr) return ZOJNI_ERR_ARGUMENT;
  *response = nullptr;
  if (proxy == nullptr || method == nullptr || signature == nullptr || count < 0 ||
      (count > 0 && params == nullptr)) {
    return ZOJNI_ERR_ARGUMENT;
  }
  // The inputs' codes, present primitives marked, as the method cache keys them.
  char fixedCodes[kInlineArgs];
  std::unique_ptr<char[]> spilledCodes;
  char* inputCodes = fixedCodes;
  if (count > kInlineArgs) {
    spilledCodes.reset(new (std::nothrow) char[static_cast<size_t>(count)]);
    if (!spilledCodes) return ZOJNI_ERR_MEMORY;
    inputCodes = spilledCodes.get();
  }
  for (int i = 0; i < count; ++i) {
    const int32_t type = params[i].type;
    if (!zojni::isWireType(type)) return ZOJNI_ERR_INPUT_TYPE;
    const bool primitive =
        type == WLP_TYPE_OBJECT || type == WLP_TYPE_INT || type == WLP_TYPE_BOOL;
    inputCodes[i] = static_cast<char>(
        type | (primitive && params[i].present ? zojni::MethodCache::kPresent : 0));
  }
  for (const char* s = signature; *s != '\0'; ++s) {
    if (!zojni::isWireType(*s)) return ZOJNI_ERR_ARGUMENT;
  }
  JNIEnv* env = nullptr;
  std::string why;
  if (zojni::currentEnv(&env, &why) != ZOJNI_OK) return ZOJNI_ERR_JVM;
  const zojni::RuntimeClasses* rc = nullptr;
  if (zojni::runtimeClasses(env, &rc, &why) != ZOJNI_OK) return ZOJNI_ERR_JVM;
  zojni::LocalFrame frame(env, kFrameBase + count);
  if (!frame.ok()) {
    env->ExceptionClear();
    return ZOJNI_ERR_MEMORY;
  }
  zojni::MethodCache::Method target;
  if (!proxy->methods->find(env, proxy->created.type.asClass(), method, inputCodes,
                            static_cast<size_t>(count), &target)) {
    return ZOJNI_ERR_NO_METHOD;
  }
  // The library's methods take a handful of inputs; more go to the heap.
  jvalue fixed[kInlineArgs];
  std::vector<jvalue> spilled;
  jvalue* args = fixed;
  if (count > kInlineArgs) {
    spilled.resize(static_cast<size_t>(count));
    args = spilled.data();
  }
  for (int i = 0; i < count; ++i) {
    if (target.primitives && (inputCodes[i] & zojni::MethodCache::kPresent) != 0) {
      switch (params[i].type) {
        case WLP_TYPE_OBJECT: args[i].j = static_cast<jlong>(params[i].value.object); break;
        case WLP_TYPE_INT: args[i].i = static_cast<jint>(params[i].value.integer); break;
        default: args[i].z = params[i].value.boolean ? JNI_TRUE : JNI_FALSE; break;
      }
      continue;
    }
    int status = zojni::toJava(env, *rc, params[i], &args[i].l);
    if (status != ZOJNI_OK) return status;
  }
  if (target.takesArray) {
    jobjectArray all = env->NewObjectArray(count, rc->objectClass.asClass(), nullptr);
    if (all == nullptr) {
      env->ExceptionClear();
      return ZOJNI_ERR_MEMORY;
    }
    for (int i = 0; i < count; ++i) env->SetObjectArrayElement(all, i, args[i].l);
    args[0].l = all;
  }
  zojni::CallScope scope(poll);
  jobject instance = proxy->created.instance.get();
  jobject outputs = nullptr;
  {
    zojni::ContextLoaderScope contextLoader(env, proxy->created.loader->loader.get());
    if (target.returnsVoid) {
      env->CallVoidMethodA(instance, target.id, args);
    } else {
      outputs = env->CallObjectMethodA(instance, target.id, args);
    }
  }
#ifdef ZOH_TEST_HOOKS
  t_lastCallPolls = scope.polls();
#endif
  if (env->ExceptionCheck()) return zojni::takeMethodException(env, *rc, response);
  return zojni::toResponse(env, *rc, static_cast<jobjectArray>(outputs), signature, &scope,
                           response);
}

ZOJNI_EXPORT zowlpRowSet* zojniProxyRowSetCreate(zojniProxy* proxy, const char* columnTypes) {
  if (proxy == nullptr || columnTypes == nullptr) return nullptr;
  // Rows carry plain values only, as the Java row sets do.
  for (const char* c = columnTypes; *c != '\0'; ++c) {
    if (!zojni::isWireType(*c) || *c == WLP_TYPE_ROWSET) return nullptr;
  }
  return zowlpRowSet_create(columnTypes);
}

ZOJNI_EXPORT void zojniProxyDestroy(zojniProxy* proxy) { delete proxy; }

#ifdef ZOH_TEST_HOOKS
ZOJNI_EXPORT int zojniJvmTestGlobalRefs() { return zojni::liveGlobalRefs().load(); }

ZOJNI_EXPORT int zojniJvmTestLastCallPolls() { return t_lastCallPolls; }
#endif

}  // extern "C"

// The classes and method ids that every call uses, resolved once per process,
// and the per-proxy cache of proxy methods.
#pragma once

#include <jni.h>

#include <mutex>
#include <string>
#include <unordered_map>

#include "jni_refs.h"

namespace zojni {

struct RuntimeClasses {
  // JDK
  GlobalRef objectClass, stringClass, longClass, booleanClass, integerClass, byteBufferClass;
  GlobalRef byteArrayClass, objectArrayClass, outOfMemoryClass, utf8Charset;
  jmethodID longValueOf, longValue, booleanValueOf, booleanValue, integerValueOf, intValue;
  jmethodID stringFromBytes, asReadOnlyBuffer, bufferPosition, bufferLimit;
  // runtime jar
  GlobalRef runtimeLoader, rowSetClass, failuresClass, nativeMemoryClass, siteClass,
      loadersClass;
  jmethodID rowSetNew, rowSetAdd, rowSetTypes, rowSetSize, rowSetRow;
  jmethodID failureCode, failureText, heapRemaining, siteNew;
  jmethodID loaderForDirectory, loaderCreate, proxyVersion;
};

// The classes, loading the runtime jar on first use. ZOJNI_OK, or a status with
// `why` saying what is missing (ZOJNI_ERR_CREATE for a missing runtime jar).
int runtimeClasses(JNIEnv* env, const RuntimeClasses** out, std::string* why);

// The classes once runtimeClasses() has loaded them, else null.
const RuntimeClasses* loadedRuntimeClasses();

// Where the proxies live: ZOH_PROXY_HOME from the environment, else the
// project's install location.
std::string proxyHome();

// The proxy methods of one Java class, found by name and input type codes.
class MethodCache {
 public:
  struct Method {
    jmethodID id = nullptr;
    bool returnsVoid = false;
    bool takesArray = false;  // the inputs go as one Object[]
  };
  // A method of that name taking the inputs one by one, typed as their codes
  // say, else one taking them all as an Object[]; it returns Object[] or
  // nothing. False when there is none.
  bool find(JNIEnv* env, jclass type, const char* name, const std::string& inputCodes,
            Method* out);

 private:
  std::mutex mutex_;
  std::unordered_map<std::string, Method> methods_;  // a null id: known missing
};

}  // namespace zojni

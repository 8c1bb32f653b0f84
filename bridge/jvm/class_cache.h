// The classes and method ids that every call uses, resolved once per process,
// and the per-class cache of proxy methods.
#pragma once

#include <jni.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <vector>
#include <string>

#include "jni_refs.h"

namespace zojni {

struct RuntimeClasses {
  // JDK
  GlobalRef objectClass, stringClass, longClass, booleanClass, integerClass, byteBufferClass;
  GlobalRef byteArrayClass, objectArrayClass, outOfMemoryClass, utf8Charset;
  jmethodID longValueOf, booleanValueOf, integerValueOf;
  jmethodID stringFromBytes, asReadOnlyBuffer;
  // Read as fields: an output's value, and where a buffer's bytes are, without
  // a call into Java.
  jfieldID longValue, intValue, booleanValue, bufferPosition, bufferLimit;
  // runtime jar
  GlobalRef runtimeLoader, rowSetClass, failuresClass, nativeMemoryClass, siteClass,
      loadersClass;
  jmethodID rowSetNew, rowSetAdd, rowSetEncode;
  jmethodID failureCode, failureText, heapRemaining, siteNew;
  jmethodID loaderForDirectory, loaderCreate, proxyVersion;
};

class MethodCache;

// The method cache of a proxy class, shared by every proxy of that class for
// the life of the process (a proxy directory's loader, and so its classes,
// live as long): a stream makes a proxy of its own, and resolving its
// methods afresh cost a failed look-up, with an exception, per method that
// returns nothing. Null only when no global reference is left.
MethodCache* methodCacheFor(JNIEnv* env, jclass type);

// The classes, loading the runtime jar on first use. ZOJNI_OK, or a status with
// `why` saying what is missing (ZOJNI_ERR_CREATE for a missing runtime jar).
int runtimeClasses(JNIEnv* env, const RuntimeClasses** out, std::string* why);

// The classes once runtimeClasses() has loaded them, else null.
const RuntimeClasses* loadedRuntimeClasses();

// Where the proxies live: ZOH_PROXY_HOME from the environment, else the
// project's install location.
std::string proxyHome();

// The proxy methods of one Java class, found by name and inputs. Looking up
// a known method takes no lock and allocates nothing: the methods found so far
// sit in a table that is replaced, never changed, when one is added.
class MethodCache {
 public:
  struct Method {
    jmethodID id = nullptr;
    bool returnsVoid = false;
    bool takesArray = false;  // the inputs go as one Object[]
    bool primitives = false;  // present object, int and bool inputs go as long, int, boolean
  };
  MethodCache() = default;
  MethodCache(const MethodCache&) = delete;
  MethodCache& operator=(const MethodCache&) = delete;
  ~MethodCache();

  // `inputs` holds one code per input: its wire type, with kPresent added for
  // a present object, int or bool, which a method may take as a primitive.
  static constexpr char kPresent = 0x40;
  // A method of that name taking the inputs one by one (present primitives as
  // long, int and boolean where the class has such a method, else all boxed),
  // else one taking them all as an Object[]; it returns Object[] or nothing.
  // False when there is none.
  bool find(JNIEnv* env, jclass type, const char* name, const char* inputs, size_t count,
            Method* out);

 private:
  struct Entry {
    uint64_t hash;
    std::string name, inputs;
    Method method;  // a null id: known missing
  };
  struct Table {
    std::vector<Entry> entries;
    const Table* previous;  // freed with the cache: a reader may still be in it
  };
  static Method resolve(JNIEnv* env, jclass type, const char* name, const char* inputs,
                        size_t count);

  std::mutex mutex_;  // taken only to add a method
  std::atomic<const Table*> table_{nullptr};
};

}  // namespace zojni

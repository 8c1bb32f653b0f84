#include "exception_mapping.h"

#include "jni_refs.h"
#include "record_conversion.h"
#include "zojni.h"

namespace zojni {
namespace {

constexpr int kUnclassifiedCode = 1;

struct Described {
  int code = kUnclassifiedCode;
  std::string text;
  bool outOfMemory = false;
};

// The runtime's own description; when even that fails (the JVM is short of
// memory, say) a fixed text stands in, since a failure must never go unreported.
Described describe(JNIEnv* env, const RuntimeClasses& rc) {
  Described d;
  LocalRef<jthrowable> thrown(env, env->ExceptionOccurred());
  env->ExceptionClear();
  if (!thrown) return d;
  d.outOfMemory = env->IsInstanceOf(thrown.get(), rc.outOfMemoryClass.asClass());
  jint code = env->CallStaticIntMethod(rc.failuresClass.asClass(), rc.failureCode, thrown.get());
  if (env->ExceptionCheck()) {
    env->ExceptionClear();
  } else {
    d.code = code;
  }
  LocalRef<jstring> text(env, static_cast<jstring>(env->CallStaticObjectMethod(
                                  rc.failuresClass.asClass(), rc.failureText, thrown.get())));
  if (env->ExceptionCheck() || !text || !javaToUtf8(env, text.get(), &d.text)) {
    env->ExceptionClear();
    d.text = d.outOfMemory ? "java.lang.OutOfMemoryError"
                           : "a Java exception that could not be described";
  }
  return d;
}

}  // namespace

int takeMethodException(JNIEnv* env, const RuntimeClasses& rc, zowlpResponse** response) {
  *response = nullptr;
  Described d = describe(env, rc);
  if (d.outOfMemory) return ZOJNI_ERR_MEMORY;
  *response = zowlpResponse_createError(d.code, d.text.c_str());
  return *response != nullptr ? ZOJNI_ERR_JAVA : ZOJNI_ERR_MEMORY;
}

std::string takeExceptionText(JNIEnv* env, const RuntimeClasses& rc, bool* outOfMemory) {
  Described d = describe(env, rc);
  *outOfMemory = d.outOfMemory;
  return d.text;
}

}  // namespace zojni

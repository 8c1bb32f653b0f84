#include "context_loader.h"

#include <mutex>

#include "jvm_host.h"

namespace zojni {
namespace {

struct ThreadMethods {
  jclass threadClass = nullptr;  // global
  jmethodID currentThread = nullptr;
  jmethodID getLoader = nullptr;
  jmethodID setLoader = nullptr;
};

// Null when the JDK's Thread class cannot be reached (then nothing is set).
const ThreadMethods* threadMethods(JNIEnv* env) {
  static ThreadMethods methods;
  static std::once_flag once;
  std::call_once(once, [env] {
    jclass local = env->FindClass("java/lang/Thread");
    if (local == nullptr) {
      env->ExceptionClear();
      return;
    }
    methods.currentThread = env->GetStaticMethodID(local, "currentThread", "()Ljava/lang/Thread;");
    methods.getLoader = env->GetMethodID(local, "getContextClassLoader", "()Ljava/lang/ClassLoader;");
    methods.setLoader =
        env->GetMethodID(local, "setContextClassLoader", "(Ljava/lang/ClassLoader;)V");
    if (env->ExceptionCheck() || !methods.currentThread || !methods.getLoader ||
        !methods.setLoader) {
      env->ExceptionClear();
      env->DeleteLocalRef(local);
      return;
    }
    methods.threadClass = static_cast<jclass>(env->NewGlobalRef(local));
    env->DeleteLocalRef(local);
  });
  return methods.threadClass != nullptr ? &methods : nullptr;
}

// The loader this bridge last set on the calling thread (bridge-attached threads only).
thread_local jobject t_loaderSet = nullptr;

}  // namespace

ContextLoaderScope::ContextLoaderScope(JNIEnv* env, jobject loader) : env_(env) {
  const bool keep = bridgeAttachedThread();
  if (loader == nullptr || (keep && t_loaderSet == loader)) return;
  const ThreadMethods* m = threadMethods(env);
  if (m == nullptr) return;
  jobject thread = env->CallStaticObjectMethod(m->threadClass, m->currentThread);
  if (env->ExceptionCheck() || thread == nullptr) {
    env->ExceptionClear();
    return;
  }
  if (!keep) {
    restore_ = env->CallObjectMethod(thread, m->getLoader);
    if (env->ExceptionCheck()) {
      env->ExceptionClear();
      env->DeleteLocalRef(thread);
      return;
    }
    restoreNeeded_ = true;
  }
  env->CallVoidMethod(thread, m->setLoader, loader);
  if (env->ExceptionCheck()) {
    env->ExceptionClear();
    restoreNeeded_ = false;
  } else if (keep) {
    t_loaderSet = loader;
  }
  env->DeleteLocalRef(thread);
}

ContextLoaderScope::~ContextLoaderScope() {
  if (!restoreNeeded_) return;
  const ThreadMethods* m = threadMethods(env_);
  // A pending exception of the call is the caller's to read; keep it across this.
  jthrowable pending = env_->ExceptionOccurred();
  if (pending != nullptr) env_->ExceptionClear();
  jobject thread = env_->CallStaticObjectMethod(m->threadClass, m->currentThread);
  if (!env_->ExceptionCheck() && thread != nullptr) {
    env_->CallVoidMethod(thread, m->setLoader, restore_);
  }
  env_->ExceptionClear();
  if (thread != nullptr) env_->DeleteLocalRef(thread);
  if (restore_ != nullptr) env_->DeleteLocalRef(restore_);
  if (pending != nullptr) {
    env_->Throw(pending);
    env_->DeleteLocalRef(pending);
  }
}

}  // namespace zojni

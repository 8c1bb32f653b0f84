// The thread context class loader around proxy creations and calls.
#pragma once

#include <jni.h>

namespace zojni {

// Makes `loader` (a global reference kept for the process's life) the calling
// thread's context class loader while the scope lives. Hadoop finds its file
// systems, codecs and configuration files through the context loader; a
// natively attached thread has none that sees the proxy's jars.
//
// On threads the bridge attached, the loader stays set after the scope, so a
// stream of calls to one proxy pays for it once; a thread the host attached
// gets its own loader back when the scope ends.
class ContextLoaderScope {
 public:
  ContextLoaderScope(JNIEnv* env, jobject loader);
  ~ContextLoaderScope();
  ContextLoaderScope(const ContextLoaderScope&) = delete;
  ContextLoaderScope& operator=(const ContextLoaderScope&) = delete;

 private:
  JNIEnv* env_;
  jobject restore_ = nullptr;  // local reference to the host's loader, when it must come back
  bool restoreNeeded_ = false;
};

}  // namespace zojni

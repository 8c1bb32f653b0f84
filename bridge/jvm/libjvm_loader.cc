// The JVM library is chosen when the process starts a JVM, not when the bridge
// is linked: the JDK named by JAVA_HOME at run time, else the one the bridge
// was built against. A JVM library already in the process (a Java host that
// loaded the bridge) is used as it is. Deliberately without <jni.h>: these
// definitions stand in for its two functions and stay hidden in the bridge.
#include <dlfcn.h>
#include <sys/stat.h>

#include <cstdlib>
#include <mutex>
#include <string>

#ifndef ZOH_BUILD_LIBJVM
#define ZOH_BUILD_LIBJVM "libjvm.so"
#endif

namespace {

constexpr int kJniError = -1;  // JNI_ERR

using CreateVm = int (*)(void**, void**, void*);
using CreatedVms = int (*)(void**, int, int*);

void* jvmLibrary() {
  static void* handle = nullptr;
  static std::once_flag once;
  std::call_once(once, [] {
    handle = dlopen("libjvm.so", RTLD_NOW | RTLD_NOLOAD);
    if (handle) return;
    const char* home = std::getenv("JAVA_HOME");
    if (home && *home) {
      const std::string candidate = std::string(home) + "/lib/server/libjvm.so";
      struct stat info {};
      if (stat(candidate.c_str(), &info) == 0)
        handle = dlopen(candidate.c_str(), RTLD_NOW | RTLD_GLOBAL);
    }
    if (!handle) handle = dlopen(ZOH_BUILD_LIBJVM, RTLD_NOW | RTLD_GLOBAL);
  });
  return handle;
}

template <typename F>
F jvmFunction(const char* name) {
  void* library = jvmLibrary();
  return library ? reinterpret_cast<F>(dlsym(library, name)) : nullptr;
}

}  // namespace

extern "C" {

__attribute__((visibility("hidden"))) int JNI_CreateJavaVM(void** vm, void** env, void* args) {
  const auto create = jvmFunction<CreateVm>("JNI_CreateJavaVM");
  return create ? create(vm, env, args) : kJniError;
}

__attribute__((visibility("hidden"))) int JNI_GetCreatedJavaVMs(void** vms, int size,
                                                                 int* count) {
  const auto created = jvmFunction<CreatedVms>("JNI_GetCreatedJavaVMs");
  if (!created) {
    *count = 0;
    return kJniError;
  }
  return created(vms, size, count);
}

}  // extern "C"

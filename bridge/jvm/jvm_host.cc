#include "jvm_host.h"

#include <locale.h>
#include <sys/stat.h>

#include <clocale>
#include <csetjmp>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <vector>

#include "class_cache.h"
#include "jni_refs.h"
#include "jvm_options.h"
#include "zojni.h"

namespace zojni {
namespace {

std::mutex g_startMutex;
JavaVM* g_vm = nullptr;
std::string g_startFailure;  // a JVM that failed to start cannot be started again

// Detaches the thread when it ends, if the bridge attached it; a thread the host
// attached itself stays as the host left it.
struct ThreadAttachment {
  JNIEnv* env = nullptr;
  bool detachAtExit = false;
  ~ThreadAttachment() {
    if (detachAtExit && g_vm != nullptr) g_vm->DetachCurrentThread();
    // A destructor of another thread-local that runs later (a reference owner)
    // must attach afresh, not use the env of a detached thread.
    env = nullptr;
    detachAtExit = false;
  }
};
thread_local ThreadAttachment t_attachment;

// The JVM's own printing (start-up errors, -verbose, -Xlog) goes to standard
// error: standard output belongs to the host (the tool's `cat` writes data there).
jint JNICALL printToStderr(FILE*, const char* format, va_list args) {
  return std::vfprintf(stderr, format, args);
}

// A JVM that cannot start ends the process from inside JNI_CreateJavaVM (a
// heap too small, a broken option). While this thread creates it, the JVM's
// exit and abort hooks jump back here instead, so the host lives on and the
// caller reads why; that JVM is never used or tried again.
thread_local sigjmp_buf* t_startEscape = nullptr;
thread_local int t_startExitCode = 0;

void JNICALL escapeExit(jint code) {
  if (t_startEscape == nullptr) return;  // a JVM that ran ends the process as asked
  t_startExitCode = code;
  siglongjmp(*t_startEscape, 1);
}

void JNICALL escapeAbort() {
  if (t_startEscape == nullptr) return;
  t_startExitCode = -1;
  siglongjmp(*t_startEscape, 1);
}

// Creates the JVM with a UTF-8 character type on this thread only. The JVM fixes
// its file-name encoding (sun.jnu.encoding) from the creating thread's locale
// and cannot be told otherwise; under the POSIX locale that is ASCII and every
// non-ASCII name fails. The JVM also sets the process's locale from the
// environment while it starts; the host's locale is put back afterwards.
jint createVmUnderUtf8(JavaVM** vm, JNIEnv** env, JavaVMInitArgs* args) {
  const char* current = std::setlocale(LC_ALL, nullptr);
  std::string hostLocale = current != nullptr ? current : "";
  locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(0));
  locale_t previous = utf8 != static_cast<locale_t>(0) ? uselocale(utf8) : nullptr;
  sigjmp_buf escape;
  jint rc = JNI_ERR;
  if (sigsetjmp(escape, 1) == 0) {
    t_startEscape = &escape;
    rc = JNI_CreateJavaVM(vm, reinterpret_cast<void**>(env), args);
  } else {
    *vm = nullptr;
    rc = t_startExitCode == -1 ? JNI_ERR : JNI_EINVAL;
  }
  t_startEscape = nullptr;
  if (utf8 != static_cast<locale_t>(0)) {
    uselocale(previous);
    freelocale(utf8);
  }
  if (!hostLocale.empty()) std::setlocale(LC_ALL, hostLocale.c_str());
  return rc;
}

// The class data sharing archive that the build or the installation made in the
// proxy home (bridge/jvm/archive): the classes of a program's first calls
// parsed and verified once, not at every start. Empty when there is none, or
// when its length is not the one the build recorded beside it: a JVM given an
// archive cut short crashes rather than start without it.
std::string classArchive() {
  const std::string archive = proxyHome() + "/lib/zox-classes.jsa";
  struct stat st;
  if (::stat(archive.c_str(), &st) != 0 || !S_ISREG(st.st_mode)) return std::string();
  std::FILE* recorded = std::fopen((archive + ".size").c_str(), "r");
  if (recorded == nullptr) return std::string();
  long long bytes = -1;
  const bool read = std::fscanf(recorded, "%lld", &bytes) == 1;
  std::fclose(recorded);
  return read && bytes == static_cast<long long>(st.st_size) ? archive : std::string();
}

// Under g_startMutex. Adopts the host's JVM when one runs, else creates one; the
// creating thread comes out attached.
bool startVm(std::string* why) {
  if (g_vm != nullptr) return true;
  if (!g_startFailure.empty()) {
    *why = g_startFailure;
    return false;
  }
  JavaVM* running = nullptr;
  jsize count = 0;
  if (JNI_GetCreatedJavaVMs(&running, 1, &count) == JNI_OK && count > 0) {
    g_vm = running;
    return true;
  }
  std::vector<std::string> texts = jvmOptions(std::getenv("ZOH_JVM_OPTIONS"), classArchive());
  std::vector<JavaVMOption> options;
  for (const std::string& text : texts) {
    options.push_back({const_cast<char*>(text.c_str()), nullptr});
  }
  options.push_back({const_cast<char*>("vfprintf"), reinterpret_cast<void*>(&printToStderr)});
  options.push_back({const_cast<char*>("exit"), reinterpret_cast<void*>(&escapeExit)});
  options.push_back({const_cast<char*>("abort"), reinterpret_cast<void*>(&escapeAbort)});
  JavaVMInitArgs args{};
  args.version = JNI_VERSION_10;
  args.nOptions = static_cast<jint>(options.size());
  args.options = options.empty() ? nullptr : options.data();
  args.ignoreUnrecognized = JNI_FALSE;
  JNIEnv* env = nullptr;
  jint rc = createVmUnderUtf8(&g_vm, &env, &args);
  if (rc != JNI_OK) {
    g_vm = nullptr;
    g_startFailure = "the JVM could not be started (JNI_CreateJavaVM returned " +
                     std::to_string(rc) + "; options from ZOH_JVM_OPTIONS: '" +
                     (std::getenv("ZOH_JVM_OPTIONS") ? std::getenv("ZOH_JVM_OPTIONS") : "") +
                     "')";
    *why = g_startFailure;
    return false;
  }
  t_attachment.env = env;
  t_attachment.detachAtExit = true;
  return true;
}

}  // namespace

int currentEnv(JNIEnv** env, std::string* why) {
  if (t_attachment.env != nullptr) {
    *env = t_attachment.env;
    return ZOJNI_OK;
  }
  {
    std::lock_guard<std::mutex> lock(g_startMutex);
    if (!startVm(why)) return ZOJNI_ERR_JVM;
  }
  if (t_attachment.env != nullptr) {  // this thread just created the JVM
    *env = t_attachment.env;
    return ZOJNI_OK;
  }
  void* existing = nullptr;
  if (g_vm->GetEnv(&existing, JNI_VERSION_10) == JNI_OK) {
    t_attachment.env = static_cast<JNIEnv*>(existing);
    *env = t_attachment.env;
    return ZOJNI_OK;
  }
  JavaVMAttachArgs args{};
  args.version = JNI_VERSION_10;
  args.name = const_cast<char*>("zojni-caller");
  args.group = nullptr;
  // Daemon: a thread the host forgets about must not keep the JVM from ending.
  if (g_vm->AttachCurrentThreadAsDaemon(&existing, &args) != JNI_OK) {
    *why = "the calling thread could not be attached to the JVM";
    return ZOJNI_ERR_JVM;
  }
  t_attachment.env = static_cast<JNIEnv*>(existing);
  t_attachment.detachAtExit = true;
  *env = t_attachment.env;
  return ZOJNI_OK;
}

JNIEnv* attachedEnv() { return t_attachment.env; }

bool bridgeAttachedThread() { return t_attachment.detachAtExit; }

#ifdef ZOH_TEST_HOOKS
std::atomic<int>& liveGlobalRefs() {
  static std::atomic<int> count{0};
  return count;
}
#endif

void GlobalRef::reset() {
  if (ref_ == nullptr) return;
  JNIEnv* env = nullptr;
  std::string why;
  if (currentEnv(&env, &why) == ZOJNI_OK) {
    env->DeleteGlobalRef(ref_);
    countGlobalRef(-1);
  }
  ref_ = nullptr;
}

}  // namespace zojni

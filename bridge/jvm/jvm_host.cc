#include "jvm_host.h"

#include <cctype>
#include <cstdlib>
#include <mutex>
#include <vector>

#include "jni_refs.h"
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
  }
};
thread_local ThreadAttachment t_attachment;

std::vector<std::string> jvmOptions() {
  std::vector<std::string> options;
  const char* text = std::getenv("ZOH_JVM_OPTIONS");
  if (text == nullptr) return options;
  std::string current;
  for (const char* p = text;; ++p) {
    if (*p == '\0' || std::isspace(static_cast<unsigned char>(*p))) {
      if (!current.empty()) options.push_back(current);
      current.clear();
      if (*p == '\0') break;
    } else {
      current.push_back(*p);
    }
  }
  return options;
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
  std::vector<std::string> texts = jvmOptions();
  std::vector<JavaVMOption> options(texts.size());
  for (size_t i = 0; i < texts.size(); ++i) {
    options[i].optionString = const_cast<char*>(texts[i].c_str());
    options[i].extraInfo = nullptr;
  }
  JavaVMInitArgs args{};
  args.version = JNI_VERSION_10;
  args.nOptions = static_cast<jint>(options.size());
  args.options = options.empty() ? nullptr : options.data();
  args.ignoreUnrecognized = JNI_FALSE;
  JNIEnv* env = nullptr;
  jint rc = JNI_CreateJavaVM(&g_vm, reinterpret_cast<void**>(&env), &args);
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

std::atomic<int>& liveGlobalRefs() {
  static std::atomic<int> count{0};
  return count;
}

void GlobalRef::reset() {
  if (ref_ == nullptr) return;
  JNIEnv* env = nullptr;
  std::string why;
  if (currentEnv(&env, &why) == ZOJNI_OK) {
    env->DeleteGlobalRef(ref_);
    liveGlobalRefs()--;
  }
  ref_ = nullptr;
}

}  // namespace zojni

// Owners of JNI references, so that no reference outlives its scope on any path.
#pragma once

#include <jni.h>

#include <atomic>
#include <utility>

namespace zojni {

#ifdef ZOH_TEST_HOOKS
// Number of global references the bridge holds (a leak check for tests).
std::atomic<int>& liveGlobalRefs();
inline void countGlobalRef(int change) { liveGlobalRefs() += change; }
#else
inline void countGlobalRef(int) {}
#endif

// A local reference, deleted when the owner goes. Inside a LocalFrame this is
// only needed in loops, where the frame alone would let references pile up.
template <typename T = jobject>
class LocalRef {
 public:
  LocalRef() = default;
  LocalRef(JNIEnv* env, T ref) : env_(env), ref_(ref) {}
  LocalRef(const LocalRef&) = delete;
  LocalRef& operator=(const LocalRef&) = delete;
  LocalRef(LocalRef&& other) noexcept : env_(other.env_), ref_(other.release()) {}
  LocalRef& operator=(LocalRef&& other) noexcept {
    if (this != &other) {
      reset();
      env_ = other.env_;
      ref_ = other.release();
    }
    return *this;
  }
  ~LocalRef() { reset(); }

  T get() const { return ref_; }
  explicit operator bool() const { return ref_ != nullptr; }
  T release() {
    T r = ref_;
    ref_ = nullptr;
    return r;
  }
  void reset() {
    if (ref_ != nullptr) env_->DeleteLocalRef(ref_);
    ref_ = nullptr;
  }

 private:
  JNIEnv* env_ = nullptr;
  T ref_ = nullptr;
};

// A global reference, for what lives across calls and threads.
class GlobalRef {
 public:
  GlobalRef() = default;
  GlobalRef(JNIEnv* env, jobject local) {
    if (local != nullptr) {
      ref_ = env->NewGlobalRef(local);
      if (ref_ != nullptr) countGlobalRef(1);
    }
  }
  GlobalRef(const GlobalRef&) = delete;
  GlobalRef& operator=(const GlobalRef&) = delete;
  GlobalRef(GlobalRef&& other) noexcept : ref_(std::exchange(other.ref_, nullptr)) {}
  GlobalRef& operator=(GlobalRef&& other) noexcept {
    if (this != &other) {
      reset();
      ref_ = std::exchange(other.ref_, nullptr);
    }
    return *this;
  }
  ~GlobalRef() { reset(); }

  jobject get() const { return ref_; }
  jclass asClass() const { return static_cast<jclass>(ref_); }
  explicit operator bool() const { return ref_ != nullptr; }
  // Deletes the reference on whatever thread this runs; attaches it if needed.
  void reset();

 private:
  jobject ref_ = nullptr;
};

// A local frame for one bridge call: every local reference made inside it is
// freed when it ends, whatever path the call takes.
class LocalFrame {
 public:
  LocalFrame(JNIEnv* env, jint capacity) : env_(env) {
    pushed_ = env->PushLocalFrame(capacity) == JNI_OK;
  }
  LocalFrame(const LocalFrame&) = delete;
  LocalFrame& operator=(const LocalFrame&) = delete;
  ~LocalFrame() {
    if (pushed_) env_->PopLocalFrame(nullptr);
  }
  bool ok() const { return pushed_; }

 private:
  JNIEnv* env_;
  bool pushed_ = false;
};

}  // namespace zojni

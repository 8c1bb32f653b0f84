// What the Java side reaches back to while the bridge runs it: the caller's
// poll and output buffers during a call, options and messages during a proxy's
// creation. Each scope lives on the calling thread's stack; the natives that the
// runtime jar declares find it through a thread-local pointer.
#pragma once

#include <jni.h>

#include <chrono>
#include <mutex>
#include <string>
#include <vector>

#include "zojni.h"

namespace zojni {

class CallScope {
 public:
  explicit CallScope(ZoJniPollRecord* poll);
  CallScope(const CallScope&) = delete;
  CallScope& operator=(const CallScope&) = delete;
  // Frees the native buffers that no output adopted.
  ~CallScope();

  static CallScope* current();

  // Whether the method should go on; asks the caller's poll when its interval
  // has passed since the last answer (or since the call began).
  // `now` asks at once, whatever the interval.
  bool poll(JNIEnv* env, jlong done, jlong total, jstring phase, bool now = false);
  bool hasPoll() const { return record_ != nullptr && record_->callback != nullptr; }
  int polls() const { return polls_; }

  void* allocate(size_t capacity);
  // Takes a buffer that allocate() made away from the scope; false when
  // `address` is not the start of one.
  bool adopt(void* address);

 private:
  ZoJniPollRecord* record_;
  std::chrono::steady_clock::duration interval_;
  std::chrono::steady_clock::time_point nextPoll_;
  // The buffers allocated and not yet adopted; a call makes one or two, kept
  // here without touching the heap.
  static constexpr int kInlineBuffers = 4;
  void* buffers_[kInlineBuffers];
  int bufferCount_ = 0;
  std::vector<void*> moreBuffers_;
  bool counted_;  // among the calls with a poll
  int polls_ = 0;
  CallScope* previous_;
};

class CreateScope {
 public:
  CreateScope(ZoJniOptionRecord* options, ZoJniMessageRecord* messages);
  CreateScope(const CreateScope&) = delete;
  CreateScope& operator=(const CreateScope&) = delete;
  ~CreateScope();

  static CreateScope* current();

  // True with the value when the caller answered with a non-empty text.
  bool option(const char* name, std::string* value);
  void message(int type, const std::string& text);
  // The directory the caller's option record carries, or null.
  const char* recordDirectory() const;

 private:
  // Creations are serialized per process: a caller may answer the options of
  // all its creations from one buffer (the library does), so the callbacks of
  // two creations must never interleave. Recursive, should a callback create.
  std::unique_lock<std::recursive_mutex> serial_;
  ZoJniOptionRecord* options_;
  ZoJniMessageRecord* messages_;
  CreateScope* previous_;
};

// Binds the runtime jar's native methods to this bridge.
bool registerNatives(JNIEnv* env, jclass progress, jclass nativeMemory, jclass site);

}  // namespace zojni

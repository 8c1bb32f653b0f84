#include "call_scope.h"

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <new>

#include "native_buffers.h"
#include "record_conversion.h"

namespace zojni {
namespace {

constexpr int kDefaultPollMillis = 100;

thread_local CallScope* t_call = nullptr;
thread_local CreateScope* t_create = nullptr;

jboolean JNICALL nativePoll(JNIEnv* env, jclass, jlong done, jlong total, jstring phase) {
  CallScope* scope = CallScope::current();
  return scope == nullptr || scope->poll(env, done, total, phase) ? JNI_TRUE : JNI_FALSE;
}

jboolean JNICALL nativeAskNow(JNIEnv* env, jclass, jlong done, jlong total, jstring phase) {
  CallScope* scope = CallScope::current();
  return scope == nullptr || scope->poll(env, done, total, phase, true) ? JNI_TRUE : JNI_FALSE;
}

jboolean JNICALL nativeHasPoll(JNIEnv*, jclass) {
  CallScope* scope = CallScope::current();
  return scope != nullptr && scope->hasPoll() ? JNI_TRUE : JNI_FALSE;
}

// Calls of the process that run with a poll; Java reads it before it asks.
alignas(64) std::atomic<int32_t> g_pollingCalls{0};
static_assert(sizeof(g_pollingCalls) == sizeof(int32_t), "Java reads it as an int");

jobject JNICALL nativePolling(JNIEnv* env, jclass) {
  return env->NewDirectByteBuffer(&g_pollingCalls, sizeof(g_pollingCalls));
}

jobject JNICALL nativeAllocate(JNIEnv* env, jclass, jint capacity, jobject last) {
  CallScope* scope = CallScope::current();
  if (scope == nullptr || capacity < 0) return nullptr;
  void* data = scope->allocate(static_cast<size_t>(capacity));
  if (data == nullptr) {
    // A FindClass that fails has already left its own error pending.
    jclass outOfMemory = env->FindClass("java/lang/OutOfMemoryError");
    if (outOfMemory != nullptr) {
      env->ThrowNew(outOfMemory, "native buffer for a bridge output");
    }
    return nullptr;
  }
  // The memory of the last read comes back when its response has let it go: the
  // buffer object over it can serve again.
  if (last != nullptr && env->GetDirectBufferAddress(last) == data &&
      env->GetDirectBufferCapacity(last) == capacity) {
    return last;
  }
  return env->NewDirectByteBuffer(data, capacity);
}

jstring JNICALL nativeOption(JNIEnv* env, jclass, jstring name) {
  CreateScope* scope = CreateScope::current();
  std::string key;
  if (scope == nullptr || name == nullptr || !javaToUtf8(env, name, &key)) return nullptr;
  std::string value;
  if (!scope->option(key.c_str(), &value)) return nullptr;
  return newJavaString(env, value.data(), value.size());
}

void JNICALL nativeMessage(JNIEnv* env, jclass, jint type, jstring text) {
  CreateScope* scope = CreateScope::current();
  std::string utf8;
  if (scope != nullptr && text != nullptr && javaToUtf8(env, text, &utf8)) {
    scope->message(type, utf8);
  }
}

}  // namespace

CallScope::CallScope(ZoJniPollRecord* poll)
    : record_(poll), counted_(hasPoll()), previous_(t_call) {
  if (counted_) g_pollingCalls.fetch_add(1);
  int millis = poll != nullptr && poll->value > 0 ? poll->value : kDefaultPollMillis;
  interval_ = std::chrono::milliseconds(millis);
  nextPoll_ = std::chrono::steady_clock::now() + interval_;
  t_call = this;
}

CallScope::~CallScope() {
  if (counted_) g_pollingCalls.fetch_sub(1);
  for (int i = 0; i < bufferCount_; ++i) freeNativeBuffer(buffers_[i]);
  for (void* b : moreBuffers_) freeNativeBuffer(b);
  t_call = previous_;
}

CallScope* CallScope::current() { return t_call; }

bool CallScope::poll(JNIEnv* env, jlong done, jlong total, jstring phase, bool now) {
  if (!hasPoll()) return true;
  if (!now && std::chrono::steady_clock::now() < nextPoll_) return true;
  std::string phaseText;
  bool hasPhase = phase != nullptr && javaToUtf8(env, phase, &phaseText);
  ++polls_;
  int answer = record_->callback(record_, done, total, hasPhase ? phaseText.c_str() : nullptr);
  // The interval counts from the answer, so a slow poll does not make the next one due at once.
  nextPoll_ = std::chrono::steady_clock::now() + interval_;
  return answer != 0;
}

void* CallScope::allocate(size_t capacity) {
  void* data = allocateNativeBuffer(capacity);
  if (data == nullptr) return nullptr;
  if (bufferCount_ < kInlineBuffers) {
    buffers_[bufferCount_++] = data;
    return data;
  }
  try {
    moreBuffers_.push_back(data);
  } catch (const std::bad_alloc&) {
    freeNativeBuffer(data);
    return nullptr;
  }
  return data;
}

bool CallScope::adopt(void* address) {
  for (int i = 0; i < bufferCount_; ++i) {
    if (buffers_[i] == address) {
      buffers_[i] = buffers_[--bufferCount_];
      return true;
    }
  }
  auto it = std::find(moreBuffers_.begin(), moreBuffers_.end(), address);
  if (it == moreBuffers_.end()) return false;
  moreBuffers_.erase(it);
  return true;
}

namespace {
std::recursive_mutex g_creationLock;
}  // namespace

CreateScope::CreateScope(ZoJniOptionRecord* options, ZoJniMessageRecord* messages)
    : serial_(g_creationLock), options_(options), messages_(messages), previous_(t_create) {
  t_create = this;
}

CreateScope::~CreateScope() { t_create = previous_; }

CreateScope* CreateScope::current() { return t_create; }

bool CreateScope::option(const char* name, std::string* value) {
  if (options_ == nullptr || options_->callback == nullptr) return false;
  char* text = nullptr;
  int length = 0;
  int rc = options_->callback(options_, name, nullptr, &text, &length);
  if (rc != 0 || text == nullptr || length <= 0) return false;
  // The caller reuses its answer buffer on the next callback: copy now.
  value->assign(text, static_cast<size_t>(length));
  return true;
}

const char* CreateScope::recordDirectory() const {
  return options_ != nullptr && options_->directory != nullptr && *options_->directory != '\0'
             ? options_->directory
             : nullptr;
}

void CreateScope::message(int type, const std::string& text) {
  if (messages_ != nullptr && messages_->callback != nullptr) {
    messages_->callback(messages_, type, text.c_str());
  }
}

bool registerNatives(JNIEnv* env, jclass progress, jclass nativeMemory, jclass site) {
  const JNINativeMethod pollMethods[] = {
      {const_cast<char*>("poll"), const_cast<char*>("(JJLjava/lang/String;)Z"),
       reinterpret_cast<void*>(&nativePoll)},
      {const_cast<char*>("askNow"), const_cast<char*>("(JJLjava/lang/String;)Z"),
       reinterpret_cast<void*>(&nativeAskNow)},
      {const_cast<char*>("hasPoll"), const_cast<char*>("()Z"),
       reinterpret_cast<void*>(&nativeHasPoll)},
      {const_cast<char*>("polling0"), const_cast<char*>("()Ljava/nio/ByteBuffer;"),
       reinterpret_cast<void*>(&nativePolling)}};
  const JNINativeMethod memoryMethods[] = {
      {const_cast<char*>("allocate0"),
       const_cast<char*>("(ILjava/nio/ByteBuffer;)Ljava/nio/ByteBuffer;"),
       reinterpret_cast<void*>(&nativeAllocate)}};
  const JNINativeMethod siteMethods[] = {
      {const_cast<char*>("option0"), const_cast<char*>("(Ljava/lang/String;)Ljava/lang/String;"),
       reinterpret_cast<void*>(&nativeOption)},
      {const_cast<char*>("message0"), const_cast<char*>("(ILjava/lang/String;)V"),
       reinterpret_cast<void*>(&nativeMessage)}};
  return env->RegisterNatives(progress, pollMethods, 4) == JNI_OK &&
         env->RegisterNatives(nativeMemory, memoryMethods, 1) == JNI_OK &&
         env->RegisterNatives(site, siteMethods, 2) == JNI_OK;
}


}  // namespace zojni

#include "call_scope.h"

#include <algorithm>
#include <cstdlib>

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

jobject JNICALL nativeAllocate(JNIEnv* env, jclass, jint capacity) {
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

CallScope::CallScope(ZoJniPollRecord* poll) : record_(poll), previous_(t_call) {
  int millis = poll != nullptr && poll->value > 0 ? poll->value : kDefaultPollMillis;
  interval_ = std::chrono::milliseconds(millis);
  nextPoll_ = std::chrono::steady_clock::now() + interval_;
  t_call = this;
}

CallScope::~CallScope() {
  for (void* b : buffers_) freeNativeBuffer(b);
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
  if (data != nullptr) buffers_.push_back(data);
  return data;
}

bool CallScope::adopt(void* address) {
  auto it = std::find(buffers_.begin(), buffers_.end(), address);
  if (it == buffers_.end()) return false;
  buffers_.erase(it);
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
       reinterpret_cast<void*>(&nativeHasPoll)}};
  const JNINativeMethod memoryMethods[] = {
      {const_cast<char*>("allocate0"), const_cast<char*>("(I)Ljava/nio/ByteBuffer;"),
       reinterpret_cast<void*>(&nativeAllocate)}};
  const JNINativeMethod siteMethods[] = {
      {const_cast<char*>("option0"), const_cast<char*>("(Ljava/lang/String;)Ljava/lang/String;"),
       reinterpret_cast<void*>(&nativeOption)},
      {const_cast<char*>("message0"), const_cast<char*>("(ILjava/lang/String;)V"),
       reinterpret_cast<void*>(&nativeMessage)}};
  return env->RegisterNatives(progress, pollMethods, 3) == JNI_OK &&
         env->RegisterNatives(nativeMemory, memoryMethods, 1) == JNI_OK &&
         env->RegisterNatives(site, siteMethods, 2) == JNI_OK;
}


}  // namespace zojni

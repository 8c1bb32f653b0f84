// The script side of the scripted bridge: answers, creation scripts, the
// creation context handed to their handlers, and gates.
#include "scripted_bridge.h"

// ---- Answers -------------------------------------------------------------------

namespace {

ScriptedAnswer make(ScriptedAnswer::Kind kind, std::vector<ScriptedValue> values = {},
                    int statusCode = 0) {
  ScriptedAnswer answer;
  answer.kind = kind;
  answer.values = std::move(values);
  answer.statusCode = statusCode;
  return answer;
}

}  // namespace

ScriptedAnswer ScriptedAnswer::outputs(std::vector<ScriptedValue> values) {
  return make(Kind::kOutputs, std::move(values));
}

ScriptedAnswer ScriptedAnswer::javaError(int code, std::string text) {
  ScriptedAnswer answer = make(Kind::kJavaError);
  answer.errorCode = code;
  answer.errorText = std::move(text);
  return answer;
}

ScriptedAnswer ScriptedAnswer::status(int status) { return make(Kind::kStatus, {}, status); }

ScriptedAnswer ScriptedAnswer::unreadable(int parametersStatus,
                                          std::vector<ScriptedValue> values) {
  return make(Kind::kUnreadable, std::move(values), parametersStatus);
}

ScriptedAnswer ScriptedAnswer::from(ScriptedHandler handler) {
  ScriptedAnswer answer = make(Kind::kHandler);
  answer.handler = std::move(handler);
  return answer;
}

// ---- The creation context ------------------------------------------------------

ScriptedOptionAsk ScriptedCreateContext::askOption(const std::string& name) {
  ScriptedOptionAsk ask;
  ask.name = name;
  if (options_ == nullptr || options_->callback == nullptr) return ask;
  // Poison the outputs so that a callback that claims a value without giving
  // one shows up in the record instead of passing as an empty text.
  char* value = nullptr;
  int length = -1;
  ask.status = options_->callback(options_, name.c_str(), &creation_, &value, &length);
  if (ask.status == 0) {
    ask.length = length;
    if (value != nullptr && length >= 0) {
      ask.value.assign(value, static_cast<std::size_t>(length));
      ask.terminated = value[length] == '\0';
    }
  }
  creation_.asks.push_back(ask);
  return ask;
}

int ScriptedCreateContext::report(int type, const std::string& text) {
  if (messages_ == nullptr || messages_->callback == nullptr) return -1;
  return messages_->callback(messages_, type, text.c_str());
}

// ---- Creation scripts ----------------------------------------------------------

ScriptedCreateScript ScriptedCreateScript::failing(
    int status, std::vector<std::pair<int, std::string>> messages) {
  return from([status, messages](ScriptedCreateContext& context) {
    context.askOption("JAVA_PROXY/DIRECTORY");
    context.askOption("JAVA_PROXY/HAS_GETVERSION");
    for (const auto& message : messages) context.report(message.first, message.second);
    return status;
  });
}

ScriptedCreateScript ScriptedCreateScript::asking(std::vector<std::string> options) {
  return from([options](ScriptedCreateContext& context) {
    for (const std::string& name : options) context.askOption(name);
    return static_cast<int>(ZOJNI_OK);
  });
}

// ---- Gates ---------------------------------------------------------------------

bool ScriptedGate::waitInside(int calls, std::chrono::milliseconds timeout) {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, timeout, [&] { return inside_ >= calls; });
}

void ScriptedGate::release() {
  std::lock_guard<std::mutex> lock(mutex_);
  released_ = true;
  changed_.notify_all();
}

void ScriptedGate::pass() {
  std::unique_lock<std::mutex> lock(mutex_);
  ++inside_;
  changed_.notify_all();
  changed_.wait(lock, [&] { return released_; });
  --inside_;
  changed_.notify_all();
}

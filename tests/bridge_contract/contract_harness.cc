#include "contract_harness.h"

#include <gtest/gtest.h>

namespace contract {

// ---- Callback records ----------------------------------------------------------

OptionAnswers::OptionAnswers(std::string proxyName, std::string directory)
    : proxyName_(std::move(proxyName)), directory_(std::move(directory)) {
  record_.callback = &OptionAnswers::answer;
  record_.instance = this;
  record_.proxyName = proxyName_.c_str();
  record_.directoryGiven = 0;
  record_.directory = directory_.c_str();
}

void OptionAnswers::set(const std::string& name, const std::string& value) {
  std::lock_guard<std::mutex> lock(mutex_);
  answers_[name] = value;
}

std::vector<std::string> OptionAnswers::asked() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return asked_;
}

int OptionAnswers::answer(ZoJniOptionRecord* record, const char* name, void*,
                          char** value, int* length) {
  auto* self = static_cast<OptionAnswers*>(record->instance);
  if (self->hook_) self->hook_();
  std::lock_guard<std::mutex> lock(self->mutex_);
  const std::string asked = name ? name : "";
  self->asked_.push_back(asked);
  std::optional<std::string> found;
  if (asked == "JAVA_PROXY/DIRECTORY") {
    if (record->directoryGiven == 0) {
      found = record->directory;
      record->directoryGiven = 1;
    }
  } else if (asked == "JAVA_PROXY/HAS_GETVERSION") {
    found = record->proxyName;
  } else {
    auto it = self->answers_.find(asked);
    if (it != self->answers_.end()) found = it->second;
  }
  if (!found || found->empty()) return 1;
  // One buffer for every answer, as the library keeps it: the bridge has to
  // take its copy before it asks again.
  self->buffer_ = *found;
  *value = &self->buffer_[0];
  *length = static_cast<int>(self->buffer_.size());
  return 0;
}

MessageLog::MessageLog() {
  record_.callback = &MessageLog::report;
  record_.instance = this;
  record_.errorText = &errorText_;
}

std::string MessageLog::text(int type) const {
  std::lock_guard<std::mutex> lock(mutex_);
  std::string all;
  for (const auto& message : messages_) {
    if (message.first == type) all += message.second + "\n";
  }
  return all;
}

int MessageLog::report(ZoJniMessageRecord* record, int messageType, const char* text) {
  auto* self = static_cast<MessageLog*>(record->instance);
  std::lock_guard<std::mutex> lock(self->mutex_);
  self->messages_.emplace_back(messageType, text ? text : "");
  return 0;
}

PollScript::PollScript(int stopAt) : stopAt_(stopAt) {
  record_.value = 1;
  record_.callback = &PollScript::poll;
  record_.instance = this;
  record_.pollStatus = nullptr;
}

int PollScript::poll(ZoJniPollRecord* record, int64_t done, int64_t total,
                     const char* phase) {
  auto* self = static_cast<PollScript*>(record->instance);
  self->seen_.push_back(std::to_string(done) + "/" + std::to_string(total) + " " +
                        (phase ? phase : "(null)"));
  return self->stopAt_ > 0 && static_cast<int>(self->seen_.size()) >= self->stopAt_ ? 0 : 1;
}

int Creation::create(const char* className, const char* jar) {
  zojniProxy* made = nullptr;
  const int status = zojniProxyCreate(jar, kProxyName, className, options.record(),
                                      messages.record(), &made);
  proxy.reset(made);
  return status;
}

int call(zojniProxy* proxy, const char* method, const std::string& signature,
         WireRecords& inputs, ResponseOwner* response, ZoJniPollRecord* poll) {
  zowlpResponse* raw = nullptr;
  const int status = zojniProxyCall(proxy, poll, kProxyName, method, signature.c_str(),
                                    inputs.count(), inputs.data(), &raw);
  response->reset(raw);
  return status;
}

// ---- Outputs -------------------------------------------------------------------

std::vector<ScriptedValue> readOutputs(zowlpResponse* response) {
  int count = -1;
  zowlpParameter* records = nullptr;
  const int status = zowlpResponse_parameters(response, &count, &records);
  EXPECT_EQ(status, WLP_OK) << "zowlpResponse_parameters";
  if (status != WLP_OK) return {};
  std::vector<ScriptedValue> outputs(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    EXPECT_EQ(copyRecord(records[i], &outputs[i], RowRead::kThroughCursor), ZOJNI_OK)
        << "output " << i << ": " << outputs[i].describe();
  }
  return outputs;
}

std::string errorText(zowlpResponse* response) {
  char* text = nullptr;
  int length = 0;
  if (zowlpError_text(response, &text, &length) != WLP_OK || text == nullptr) return "";
  return std::string(text, static_cast<std::size_t>(length));
}

}  // namespace contract

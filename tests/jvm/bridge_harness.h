// Callbacks of a host that creates proxies through the bridge: answers options
// from a table and keeps every message, the way the library's own do.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "zojni.h"
#include "zowlp.h"

namespace jvmtest {

class CreateHost {
 public:
  explicit CreateHost(std::string directory, std::string proxyName = "Contract") : name_(std::move(proxyName)) {
    options_["JAVA_PROXY/DIRECTORY"] = std::move(directory);
    options_["JAVA_PROXY/HAS_GETVERSION"] = name_;
    optionRecord_.callback = &CreateHost::onOption;
    optionRecord_.instance = this;
    optionRecord_.proxyName = name_.c_str();
    messageRecord_.callback = &CreateHost::onMessage;
    messageRecord_.instance = this;
  }

  void setOption(const std::string& name, const std::string& value) { options_[name] = value; }
  void dropOption(const std::string& name) { options_.erase(name); }

  int create(const char* jar, const char* className, zojniProxy** out,
             zojniProxy* base = nullptr) {
    return base == nullptr
               ? zojniProxyCreate(jar, name_.c_str(), className, &optionRecord_,
                                  &messageRecord_, out)
               : zojniProxyCreateFromProxy(base, jar, name_.c_str(), className, &optionRecord_,
                                           &messageRecord_, out);
  }

  const std::vector<std::string>& asked() const { return asked_; }
  const std::vector<std::pair<int, std::string>>& messages() const { return messages_; }
  std::string messagesOfType(int type) const {
    std::string all;
    for (const auto& m : messages_) {
      if (m.first == type) all += m.second + "\n";
    }
    return all;
  }

 private:
  static int onOption(ZoJniOptionRecord* record, const char* name, void*, char** value,
                      int* length) {
    auto* self = static_cast<CreateHost*>(record->instance);
    self->asked_.push_back(name);
    auto it = self->options_.find(name);
    if (it == self->options_.end()) return 1;
    self->answer_ = it->second;
    *value = &self->answer_[0];
    *length = static_cast<int>(self->answer_.size());
    return 0;
  }
  static int onMessage(ZoJniMessageRecord* record, int type, const char* text) {
    static_cast<CreateHost*>(record->instance)->messages_.emplace_back(type, text);
    return 0;
  }

  std::string name_;
  std::map<std::string, std::string> options_;
  std::string answer_;
  std::vector<std::string> asked_;
  std::vector<std::pair<int, std::string>> messages_;
  ZoJniOptionRecord optionRecord_{};
  ZoJniMessageRecord messageRecord_{};
};

// Records of one call, built value by value.
class Inputs {
 public:
  Inputs& object(int64_t handle, bool present = true) {
    auto& r = add(WLP_TYPE_OBJECT, present);
    r.value.object = handle;
    return *this;
  }
  Inputs& boolean(bool v) {
    add(WLP_TYPE_BOOL, true).value.boolean = v ? 1 : 0;
    return *this;
  }
  Inputs& integer(int32_t v) {
    add(WLP_TYPE_INT, true).value.integer = v;
    return *this;
  }
  Inputs& string(const std::string& text) {
    texts_.push_back(std::make_unique<std::string>(text));
    auto& r = add(WLP_TYPE_STRING, true);
    r.value.string = texts_.back()->c_str();
    r.length = static_cast<int32_t>(text.size());
    return *this;
  }
  Inputs& null(int32_t type) {
    add(type, false);
    return *this;
  }
  Inputs& bytes(const void* data, int length) {
    auto& r = add(WLP_TYPE_BYTES, true);
    r.value.bytes = data;
    r.length = length;
    return *this;
  }
  Inputs& rows(zowlpRowSet* rows) {
    add(WLP_TYPE_ROWSET, rows != nullptr).value.rowSet = rows;
    return *this;
  }
  int count() const { return static_cast<int>(records_.size()); }
  zowlpParameter* data() { return records_.empty() ? nullptr : records_.data(); }

 private:
  zowlpParameter& add(int32_t type, bool present) {
    zowlpParameter r{};
    r.type = type;
    r.present = present ? 1 : 0;
    records_.push_back(r);
    return records_.back();
  }
  std::vector<zowlpParameter> records_;
  std::vector<std::unique_ptr<std::string>> texts_;
};

using Response = std::unique_ptr<zowlpResponse, ZowlpResponseDeleter>;
using RowSet = std::unique_ptr<zowlpRowSet, ZowlpRowSetDeleter>;

inline std::string errorText(zowlpResponse* response) {
  char* text = nullptr;
  int length = 0;
  if (zowlpError_text(response, &text, &length) != WLP_OK || text == nullptr) return "";
  return std::string(text, static_cast<size_t>(length));
}

inline int errorCode(zowlpResponse* response) {
  int code = -1;
  zowlpError_code(response, &code);
  return code;
}

inline std::vector<zowlpParameter> outputs(zowlpResponse* response) {
  int count = 0;
  zowlpParameter* records = nullptr;
  if (response == nullptr || zowlpResponse_parameters(response, &count, &records) != WLP_OK) {
    return {};
  }
  return std::vector<zowlpParameter>(records, records + count);
}

// Bytes of the native heap (malloc) in use.
long nativeHeapInUse();

}  // namespace jvmtest

// The caller's side of the bridge tests, shared by the contract suite and the
// JVM bridge's own tests: callback records that answer and remember, and
// outputs read back as ScriptedValues through the protocol's read operations
// only (as the library reads them).
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "contract_suite.h"
#include "scripted_value.h"
#include "zob_string.h"
#include "zojni.h"
#include "zowlp.h"

namespace contract {

using ResponseOwner = std::unique_ptr<zowlpResponse, ZowlpResponseDeleter>;
using RowSetOwner = std::unique_ptr<zowlpRowSet, ZowlpRowSetDeleter>;

struct ProxyDeleter {
  void operator()(zojniProxy* proxy) const { zojniProxyDestroy(proxy); }
};
using ProxyOwner = std::unique_ptr<zojniProxy, ProxyDeleter>;

// The option callback record, answering the way the library does: the
// directory once, the proxy name for "JAVA_PROXY/HAS_GETVERSION", then the
// answers set here; everything else has no answer.
class OptionAnswers {
 public:
  OptionAnswers(std::string proxyName, std::string directory);
  OptionAnswers(const OptionAnswers&) = delete;
  OptionAnswers& operator=(const OptionAnswers&) = delete;

  void set(const std::string& name, const std::string& value);
  // Runs first on every question, on the creating thread.
  void onAsk(std::function<void()> hook) { hook_ = std::move(hook); }
  ZoJniOptionRecord* record() { return &record_; }
  std::vector<std::string> asked() const;
  bool directoryGiven() const { return record_.directoryGiven != 0; }

 private:
  static int answer(ZoJniOptionRecord* record, const char* name, void* bridgeContext,
                    char** value, int* length);

  std::string proxyName_;
  std::string directory_;
  ZoJniOptionRecord record_{};
  std::map<std::string, std::string> answers_;
  mutable std::mutex mutex_;
  std::vector<std::string> asked_;
  std::string buffer_;  // the text of the last answer, kept for the bridge to copy
  std::function<void()> hook_;
};

class MessageLog {
 public:
  MessageLog();
  MessageLog(const MessageLog&) = delete;
  MessageLog& operator=(const MessageLog&) = delete;

  ZoJniMessageRecord* record() { return &record_; }
  // The texts of the messages of this type, one a line.
  std::string text(int type) const;

 private:
  static int report(ZoJniMessageRecord* record, int messageType, const char* text);

  ZoJniMessageRecord record_{};
  ZobString errorText_;
  mutable std::mutex mutex_;
  std::vector<std::pair<int, std::string>> messages_;
};

// A poll record whose callback answers 1 until `stopAt` polls were seen (the
// stopAt-th poll is answered 0); stopAt 0 never stops.
class PollScript {
 public:
  explicit PollScript(int stopAt = 0);
  ZoJniPollRecord* record() { return &record_; }
  // "done/total phase" for each poll seen ("(null)" for no phase).
  std::vector<std::string> seen() const { return seen_; }

 private:
  static int poll(ZoJniPollRecord* record, int64_t done, int64_t total, const char* phase);

  ZoJniPollRecord record_{};
  int stopAt_;
  std::vector<std::string> seen_;
};

// One creation of the contract proxy, with callbacks of its own.
struct Creation {
  explicit Creation(const std::string& directory = kDirectory) : options(kProxyName, directory) {}
  // The creation's status; what it made, if anything, is `proxy`'s.
  int create(const char* className = kClass, const char* jar = kJar);

  OptionAnswers options;
  MessageLog messages;
  ProxyOwner proxy;
};

// Calls `method` on `proxy`; the response, if any, is `response`'s.
int call(zojniProxy* proxy, const char* method, const std::string& signature,
         WireRecords& inputs, ResponseOwner* response, ZoJniPollRecord* poll = nullptr);

// Every output of a response, row sets read with zowlpRowSet_nextRow. An
// output no bridge may give (one that copyRecord refuses) is a test failure.
std::vector<ScriptedValue> readOutputs(zowlpResponse* response);

// The text of a failed call's response.
std::string errorText(zowlpResponse* response);

}  // namespace contract

// The caller's side of the bridge contract tests: callback records that answer
// and remember, input records that own their texts, and outputs read back
// through the protocol's read operations only (as the library reads them).
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

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
};

struct Message {
  int type;
  std::string text;
};

class MessageLog {
 public:
  MessageLog();
  MessageLog(const MessageLog&) = delete;
  MessageLog& operator=(const MessageLog&) = delete;

  ZoJniMessageRecord* record() { return &record_; }
  std::vector<Message> messages() const;

 private:
  static int report(ZoJniMessageRecord* record, int messageType, const char* text);

  ZoJniMessageRecord record_{};
  ZobString errorText_;
  mutable std::mutex mutex_;
  std::vector<Message> messages_;
};

struct PollSeen {
  int64_t done;
  int64_t total;
  std::optional<std::string> phase;
};

// A poll record whose callback answers 1 until `stopAt` polls were seen (the
// stopAt-th poll is answered 0); stopAt 0 never stops.
class PollScript {
 public:
  explicit PollScript(int stopAt = 0);
  ZoJniPollRecord* record() { return &record_; }
  std::vector<PollSeen> seen() const { return seen_; }

 private:
  static int poll(ZoJniPollRecord* record, int64_t done, int64_t total, const char* phase);

  ZoJniPollRecord record_{};
  int stopAt_;
  std::vector<PollSeen> seen_;
};

// Input records for one call. The texts and bytes are owned here and stay put
// until the Inputs die.
class Inputs {
 public:
  Inputs& bytes(const std::string& data);
  Inputs& boolean(bool value);
  Inputs& integer(int32_t value);
  Inputs& object(int64_t handle);
  Inputs& string(const std::string& text);
  Inputs& rowSet(zowlpRowSet* rowSet);
  Inputs& null(int32_t type);
  // A record of any type code with no value (for type checks).
  Inputs& raw(int32_t type);

  int count() const { return static_cast<int>(records_.size()); }
  zowlpParameter* records() { return records_.empty() ? nullptr : records_.data(); }
  // The codes of the records, usable as the signature of an echo.
  std::string signature() const;

 private:
  zowlpParameter& add(int32_t type, bool present);

  std::vector<zowlpParameter> records_;
  std::deque<std::string> keep_;
};

// One output as read from a response.
struct Value {
  int32_t type = 0;
  bool present = false;
  std::string str;  // strings (read up to the NUL, checked against length) and bytes
  int32_t length = 0;
  bool boolean = false;
  int32_t integer = 0;
  int64_t object = 0;
  std::vector<std::vector<Value>> rows;
};
bool operator==(const Value& a, const Value& b);
std::ostream& operator<<(std::ostream& os, const Value& value);

Value bytesValue(const std::string& data);
Value boolValue(bool value);
Value intValue(int32_t value);
Value objectValue(int64_t handle);
Value stringValue(const std::string& text);
Value nullValue(int32_t type);
// A row set of string cells; nullopt is a null cell.
Value stringRowsValue(const std::vector<std::vector<std::optional<std::string>>>& rows);

// Reads every output of a response; the row sets with zowlpRowSet_getRows and
// zowlpRowSet_nextRow. Failures become GoogleTest failures.
std::vector<Value> readOutputs(zowlpResponse* response);
// Reads a row set through its read cursor.
std::vector<std::vector<Value>> readRows(const zowlpRowSet* rowSet);

// A row set of string columns filled through zowlpRowSet_addRow.
void addStringRows(zowlpRowSet* rowSet,
                   const std::vector<std::vector<std::optional<std::string>>>& rows);

}  // namespace contract

// ScriptedBridge: the Java bridge of unit tests. It implements the zojni*
// functions without a JVM: every proxy creation, call, row-set creation and
// proxy destruction is recorded (with deep copies of what the library handed
// over), and every answer comes from a script that the test sets up:
//
//   ScriptedBridge& bridge = ScriptedBridge::instance();
//   bridge.reset();
//   bridge.answer("CreateConfig", ScriptedAnswer::outputs({ScriptedValue::ofObject(17)}));
//   ... run library code ...
//   EXPECT_EQ(bridge.lastCallTo("CfgSetUser")->inputs[1].str, "alice");
//
// Unscripted, a creation asks "JAVA_PROXY/DIRECTORY" and
// "JAVA_PROXY/HAS_GETVERSION" (as the JVM bridge does) and succeeds, and a
// call answers status 0 with null outputs of its signature (no response for
// the empty signature). Calls are checked as the contract suite requires of
// every bridge before any script runs, and recorded even when refused.
//
// Every member may be called from any thread. Scripts run outside the
// bridge's lock, so a handler may call back into the bridge and calls from
// several threads run side by side.
#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "scripted_value.h"
#include "zojni.h"
#include "zowlp.h"

// ---- Records: what each creation and call saw (-1 statuses: still running) ----

// One answer of the option callback during a creation.
struct ScriptedOptionAsk {
  std::string name;
  int status = -1;          // what the callback returned (0 value, 1 none, 2 failure)
  std::string value;        // status 0: the `length` bytes at *value
  int length = -1;          // status 0: *length
  bool terminated = false;  // status 0: value[length] was a NUL
};

// Proxy ids number proxies in creation order over the whole process, from 1;
// 0 is a failed creation, or a null or unknown proxy. Texts are "" for nulls.
struct ScriptedCreation {
  int proxyId = 0;
  bool fromProxy = false;  // zojniProxyCreateFromProxy (base may be null)
  int baseId = 0;
  std::string jar, proxyName, className;
  std::string optionDirectory;  // of the option record, "" without one
  std::vector<ScriptedOptionAsk> asks;
  int status = -1;
};

struct ScriptedCall {
  int proxyId = 0;
  bool pollGiven = false;
  int32_t pollValue = 0;  // the poll record's value field
  std::string proxyName, method, signature;
  std::vector<ScriptedValue> inputs;  // deep copies (none when records is null)
  int status = -1;
};

// ---- Call scripts --------------------------------------------------------------

struct ScriptedAnswer;
class ScriptedCallContext;
using ScriptedHandler = std::function<ScriptedAnswer(ScriptedCallContext&)>;

struct ScriptedAnswer {
  enum class Kind { kOutputs, kJavaError, kStatus, kUnreadable, kHandler };
  Kind kind = Kind::kOutputs;
  std::vector<ScriptedValue> values;  // kOutputs, kUnreadable
  int errorCode = 0;                  // kJavaError
  std::string errorText;              // kJavaError
  int statusCode = 0;                 // kStatus; kUnreadable: the parameters status
  ScriptedHandler handler;            // kHandler (which may poll first)

  // Status 0 with a response of the call's signature, output i from values[i]
  // (missing ones null). A value whose type differs from its code, or more
  // values than codes: ZOJNI_ERR_OUTPUT_TYPE without response, as a bridge
  // reports a proxy method that returned the wrong thing. The empty signature
  // takes no outputs: status 0, no response.
  static ScriptedAnswer outputs(std::vector<ScriptedValue> values);
  // Status ZOJNI_ERR_JAVA with zowlpResponse_createError(code, text).
  static ScriptedAnswer javaError(int code, std::string text);
  // This status (any, 4 included) with *response null.
  static ScriptedAnswer status(int status);
  static ScriptedAnswer noResponse() { return status(ZOJNI_OK); }
  // The response of outputs(values), whose zowlpResponse_parameters fails.
  static ScriptedAnswer unreadable(int parametersStatus = WLP_ERR_MEMORY,
                                   std::vector<ScriptedValue> values = {});
  // Runs `handler` on the calling thread; its answer (not another handler) is used.
  static ScriptedAnswer from(ScriptedHandler handler);
};

// What a handler sees of the call it answers.
class ScriptedCallContext {
 public:
  ScriptedCallContext(const ScriptedCall& call, ZoJniPollRecord* pollRecord)
      : call_(call), pollRecord_(pollRecord) {}
  const ScriptedCall& call() const { return call_; }
  bool hasPoll() const { return pollRecord_ != nullptr && pollRecord_->callback; }
  // What the poll callback answers; -1 without a poll record.
  int poll(int64_t done, int64_t total, const char* phase) {
    return hasPoll() ? pollRecord_->callback(pollRecord_, done, total, phase) : -1;
  }

 private:
  const ScriptedCall& call_;
  ZoJniPollRecord* pollRecord_;
};

// Blocks calls of one method inside the bridge (after they are recorded, before
// they are answered) until released.
class ScriptedGate {
 public:
  // True once `calls` calls wait at the gate at the same time.
  bool waitInside(int calls, std::chrono::milliseconds timeout);
  // Lets every waiting call and every later one through.
  void release();
  void pass();  // the bridge's side

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  int inside_ = 0;
  bool released_ = false;
};

// ---- Creation scripts ----------------------------------------------------------

class ScriptedCreateContext {
 public:
  ScriptedCreateContext(ScriptedCreation& creation, ZoJniOptionRecord* options,
                        ZoJniMessageRecord* messages)
      : creation_(creation), options_(options), messages_(messages) {}
  const ScriptedCreation& creation() const { return creation_; }
  // Ask the callbacks (recording the option answers); status -1 (nothing
  // recorded) when there is no such record.
  ScriptedOptionAsk askOption(const std::string& name);
  int report(int type, const std::string& text);

 private:
  ScriptedCreation& creation_;
  ZoJniOptionRecord* options_;
  ZoJniMessageRecord* messages_;
};

// Runs on the calling thread and returns the creation's status.
struct ScriptedCreateScript {
  std::function<int(ScriptedCreateContext&)> handler;
  // Asks the two options of the default, reports `messages`, returns `status`.
  static ScriptedCreateScript failing(int status = ZOJNI_ERR_CREATE,
                                      std::vector<std::pair<int, std::string>> messages = {});
  static ScriptedCreateScript asking(std::vector<std::string> options);
  static ScriptedCreateScript from(std::function<int(ScriptedCreateContext&)> handler) {
    return {std::move(handler)};
  }
};

// ---- The bridge ----------------------------------------------------------------

class ScriptedBridge {
 public:
  static ScriptedBridge& instance();

  // Forgets every script, record, gate and counter (a closed gate is released
  // first). Live proxies stay live; their ids are never reused.
  void reset();

  // A call of method M, its n-th since reset(), takes the answer set for (M, n),
  // else the latest for M, else the unscripted one.
  void answer(const std::string& method, ScriptedAnswer answer) {
    locked([&] { scripts_.answers[method] = std::move(answer); });
  }
  void answerNth(const std::string& method, int nth, ScriptedAnswer answer) {
    locked([&] { scripts_.nthAnswers[{method, nth}] = std::move(answer); });
  }
  void answerSequence(const std::string& method, std::vector<ScriptedAnswer> answers);
  void handle(const std::string& method, ScriptedHandler handler) {
    answer(method, ScriptedAnswer::from(std::move(handler)));
  }
  void answerUnscripted(ScriptedAnswer answer) {
    locked([&] { scripts_.unscripted = std::move(answer); });
  }
  std::shared_ptr<ScriptedGate> gate(const std::string& method);  // one per method

  // A creation under proxy name P runs the script for P, else for every name,
  // else the default.
  void onCreate(ScriptedCreateScript script) {
    locked([&] { scripts_.createForAll = std::move(script); });
  }
  void onCreate(const std::string& proxyName, ScriptedCreateScript script) {
    locked([&] { scripts_.createByName[proxyName] = std::move(script); });
  }

  // zowlpRowSet_addRow on the nth row set made (0: every one) fails with
  // `status` when it would add row `rowIndex`.
  void failAddRowAt(int nthRowSet, int rowIndex, int status) {
    locked([&] { scripts_.addRowFailures.push_back({nthRowSet, rowIndex, status}); });
  }

  // Records: copies, in the order things happened.
  std::vector<ScriptedCreation> creations() const {
    return locked([&] { return records_.creations; });
  }
  std::vector<ScriptedCall> calls() const {
    return locked([&] { return records_.calls; });
  }
  std::vector<ScriptedCall> callsTo(const std::string& method) const;
  // An empty record (no proxy, no inputs) when there was no such call.
  ScriptedCall lastCallTo(const std::string& method) const;
  int callCount(const std::string& method) const {
    return locked([&] {
      auto it = records_.callCounts.find(method);
      return it == records_.callCounts.end() ? 0 : it->second;
    });
  }
  std::vector<std::string> methodsCalled() const;
  // "create <proxy name>", "call <method>", "rowset <proxy name>",
  // "destroy <proxy name>" ("?" for a proxy that was not live); from entry `from` on.
  std::vector<std::string> eventLog(std::size_t from = 0) const {
    return locked([&] {
      const auto& log = records_.log;
      return std::vector<std::string>(log.begin() + std::min(from, log.size()), log.end());
    });
  }
  // Over the whole process, not reset.
  int liveProxies() const {
    return locked([&] { return static_cast<int>(live_.size()); });
  }

  // What the zojni* functions forward to.
  int create(bool fromProxy, zojniProxy* base, const char* jar, const char* proxyName,
             const char* className, ZoJniOptionRecord* options,
             ZoJniMessageRecord* messages, zojniProxy** out);
  int call(zojniProxy* proxy, ZoJniPollRecord* poll, const char* proxyName,
           const char* method, const char* signature, int count,
           zowlpParameter* params, zowlpResponse** response);
  zowlpRowSet* createRowSet(zojniProxy* proxy, const char* columnTypes);
  void destroy(zojniProxy* proxy);

  ScriptedBridge(const ScriptedBridge&) = delete;
  ScriptedBridge& operator=(const ScriptedBridge&) = delete;

 private:
  ScriptedBridge() = default;
  int idOf(const zojniProxy* proxy) const;
  template <typename Work>
  auto locked(Work work) const -> decltype(work()) {
    std::lock_guard<std::mutex> lock(mutex_);
    return work();
  }

  mutable std::mutex mutex_;
  // Bumped by reset(): work that started before it must not write into the
  // fresh records.
  uint64_t generation_ = 0;

  struct Records {
    std::vector<ScriptedCreation> creations;
    std::vector<ScriptedCall> calls;
    std::vector<std::string> log;
    std::map<std::string, int> callCounts;
    int rowSetCount = 0;
  } records_;

  struct AddRowFailure {
    int nthRowSet, rowIndex, status;
  };
  struct Scripts {
    std::map<std::string, ScriptedAnswer> answers;
    std::map<std::pair<std::string, int>, ScriptedAnswer> nthAnswers;
    std::optional<ScriptedAnswer> unscripted;
    std::map<std::string, std::shared_ptr<ScriptedGate>> gates;
    std::optional<ScriptedCreateScript> createForAll;
    std::map<std::string, ScriptedCreateScript> createByName;
    std::vector<AddRowFailure> addRowFailures;
  } scripts_;

  // Over the whole process: proxies outlive reset().
  std::map<const zojniProxy*, std::unique_ptr<zojniProxy>> live_;
  int nextProxyId_ = 1;
};

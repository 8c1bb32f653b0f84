// ScriptedBridge: scripts, records, row sets and proxy destruction.
#include "scripted_bridge.h"
#include "scripted_state.h"

ScriptedBridge::ScriptedBridge() : state_(std::make_unique<State>()) {}
ScriptedBridge::~ScriptedBridge() = default;

ScriptedBridge& ScriptedBridge::instance() {
  // Never destroyed: library objects with static lifetime may still destroy
  // their proxies while the process exits.
  static ScriptedBridge* bridge = new ScriptedBridge();
  return *bridge;
}

void ScriptedBridge::reset() {
  std::map<std::string, std::shared_ptr<ScriptedGate>> gates;
  {
    std::lock_guard<std::mutex> lock(state_->mutex);
    gates = state_->gates;
    state_->clearRecordsAndScripts();
  }
  for (auto& entry : gates) entry.second->release();
}

// ---- Scripts -------------------------------------------------------------------

void ScriptedBridge::answer(const std::string& method, ScriptedAnswer answer) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->answers[method] = std::move(answer);
}

void ScriptedBridge::answerNth(const std::string& method, int nth, ScriptedAnswer answer) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->nthAnswers[{method, nth}] = std::move(answer);
}

void ScriptedBridge::answerSequence(const std::string& method,
                                    std::vector<ScriptedAnswer> answers) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  for (std::size_t i = 0; i < answers.size(); ++i) {
    state_->nthAnswers[{method, static_cast<int>(i) + 1}] = std::move(answers[i]);
  }
}

void ScriptedBridge::handle(const std::string& method, ScriptedHandler handler) {
  answer(method, ScriptedAnswer::from(std::move(handler)));
}

void ScriptedBridge::answerUnscripted(ScriptedAnswer answer) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->unscripted = std::move(answer);
}

std::shared_ptr<ScriptedGate> ScriptedBridge::gate(const std::string& method) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  std::shared_ptr<ScriptedGate>& gate = state_->gates[method];
  if (!gate) gate = std::make_shared<ScriptedGate>();
  return gate;
}

void ScriptedBridge::onCreate(ScriptedCreateScript script) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->createForAll = std::move(script);
}

void ScriptedBridge::onCreate(const std::string& proxyName, ScriptedCreateScript script) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->createByName[proxyName] = std::move(script);
}

void ScriptedBridge::onCreateNth(const std::string& proxyName, int nth,
                                 ScriptedCreateScript script) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->createNth[{proxyName, nth}] = std::move(script);
}

void ScriptedBridge::failRowSetCreate(int nth) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->failingRowSets.insert(nth);
}

void ScriptedBridge::failAddRowAt(int nthRowSet, int rowIndex, int status) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  state_->addRowFailures.push_back({nthRowSet, rowIndex, status});
}

// ---- Records -------------------------------------------------------------------

std::vector<ScriptedCreation> ScriptedBridge::creations() const {
  std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->creations;
}

std::vector<ScriptedCall> ScriptedBridge::calls() const {
  std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->calls;
}

std::vector<ScriptedCall> ScriptedBridge::callsTo(const std::string& method) const {
  std::lock_guard<std::mutex> lock(state_->mutex);
  std::vector<ScriptedCall> found;
  for (const ScriptedCall& call : state_->calls) {
    if (call.method == method) found.push_back(call);
  }
  return found;
}

std::optional<ScriptedCall> ScriptedBridge::lastCallTo(const std::string& method) const {
  std::lock_guard<std::mutex> lock(state_->mutex);
  for (auto it = state_->calls.rbegin(); it != state_->calls.rend(); ++it) {
    if (it->method == method) return *it;
  }
  return std::nullopt;
}

int ScriptedBridge::callCount(const std::string& method) const {
  std::lock_guard<std::mutex> lock(state_->mutex);
  auto it = state_->callCounts.find(method);
  return it == state_->callCounts.end() ? 0 : it->second;
}

std::vector<std::string> ScriptedBridge::methodsCalled() const {
  std::lock_guard<std::mutex> lock(state_->mutex);
  std::vector<std::string> methods;
  for (const ScriptedCall& call : state_->calls) methods.push_back(call.method);
  return methods;
}

std::vector<ScriptedRowSetCreation> ScriptedBridge::rowSetCreations() const {
  std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->rowSets;
}

std::vector<ScriptedDestruction> ScriptedBridge::destructions() const {
  std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->destructions;
}

std::vector<std::string> ScriptedBridge::eventLog() const {
  std::lock_guard<std::mutex> lock(state_->mutex);
  return state_->log;
}

int ScriptedBridge::liveProxies() const {
  std::lock_guard<std::mutex> lock(state_->mutex);
  return static_cast<int>(state_->live.size());
}

// ---- Row sets and destruction ---------------------------------------------------

zowlpRowSet* ScriptedBridge::createRowSet(zojniProxy* proxy, const char* columnTypes) {
  std::lock_guard<std::mutex> lock(state_->mutex);
  ScriptedRowSetCreation record;
  record.proxyId = state_->idOf(proxy);
  record.columnTypes = scripted_text(columnTypes);
  const int nth = ++state_->rowSetCount;
  if (record.proxyId != 0 && columnTypes != nullptr && state_->failingRowSets.count(nth) == 0) {
    record.rowSet = zowlpRowSet_create(columnTypes);
  }
  if (record.rowSet) {
    for (const State::AddRowFailure& failure : state_->addRowFailures) {
      if (failure.nthRowSet == 0 || failure.nthRowSet == nth) {
        zowlpRowSet_testFailAddRowAt(record.rowSet, failure.rowIndex, failure.status);
      }
    }
  }
  state_->log.push_back("rowset " + std::to_string(record.columnTypes.size()));
  state_->rowSets.push_back(record);
  return record.rowSet;
}

void ScriptedBridge::destroy(zojniProxy* proxy) {
  if (proxy == nullptr) return;
  std::lock_guard<std::mutex> lock(state_->mutex);
  ScriptedDestruction record;
  auto it = state_->live.find(proxy);
  if (it != state_->live.end()) {
    record.proxyId = it->second->id;
    record.proxyName = it->second->proxyName;
    state_->live.erase(it);
  }
  state_->log.push_back("destroy " + (record.proxyId ? record.proxyName : std::string("?")));
  state_->destructions.push_back(record);
}

// ScriptedBridge: the four bridge operations, the records they leave and the
// choice of script for each.
#include "scripted_bridge.h"

#include <algorithm>

// The proxy handle the scripted bridge hands out.
struct zojniProxy {
  int id = 0;
  std::string proxyName;
};

namespace {

using Lock = std::lock_guard<std::mutex>;

std::string text(const char* text) { return text ? std::string(text) : std::string(); }

// The script under `key`, else `fallback`.
template <typename Key, typename Script>
const Script& pick(const std::map<Key, Script>& scripts, const Key& key, const Script& fallback) {
  auto it = scripts.find(key);
  return it == scripts.end() ? fallback : it->second;
}

// A WLP_* status.
int setOutput(zowlpResponse* response, int index, const ScriptedValue& value) {
  switch (value.type) {
    case WLP_TYPE_STRING:
      return zowlpResponse_setString(response, index, value.str.c_str(),
                                     static_cast<int>(value.str.size()));
    case WLP_TYPE_BYTES:
      return zowlpResponse_setBytes(response, index, value.str.data(),
                                    static_cast<int>(value.str.size()));
    case WLP_TYPE_BOOL: return zowlpResponse_setBool(response, index, value.boolean);
    case WLP_TYPE_INT: return zowlpResponse_setInt(response, index, value.integer);
    case WLP_TYPE_OBJECT: return zowlpResponse_setObject(response, index, value.object);
    default: {  // WLP_TYPE_ROWSET
      zowlpRowSet* rowSet = nullptr;
      const int built = buildRowSet(value, &rowSet);
      if (built != ZOJNI_OK) return built == ZOJNI_ERR_MEMORY ? WLP_ERR_MEMORY : WLP_ERR_TYPE;
      const int status = zowlpResponse_setRowSet(response, index, rowSet);
      if (status != WLP_OK) zowlpRowSet_destroy(rowSet);  // else the response adopted it
      return status;
    }
  }
}

// A response of `signature` with `values` set in order: ZOJNI_OK, or
// ZOJNI_ERR_OUTPUT_TYPE when a value does not fit its output, or
// ZOJNI_ERR_MEMORY; *response is null on failure and for the empty signature.
int buildResponse(const std::string& signature, const std::vector<ScriptedValue>& values,
                  zowlpResponse** out) {
  if (signature.empty()) return ZOJNI_OK;
  if (values.size() > signature.size()) return ZOJNI_ERR_OUTPUT_TYPE;
  std::unique_ptr<zowlpResponse, ZowlpResponseDeleter> response(
      zowlpResponse_create(signature.c_str()));
  if (!response) return ZOJNI_ERR_MEMORY;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const ScriptedValue& value = values[i];
    if (value.type != static_cast<unsigned char>(signature[i])) return ZOJNI_ERR_OUTPUT_TYPE;
    if (!value.present) continue;
    const int status = setOutput(response.get(), static_cast<int>(i), value);
    if (status != WLP_OK) return status == WLP_ERR_MEMORY ? ZOJNI_ERR_MEMORY : ZOJNI_ERR_OUTPUT_TYPE;
  }
  *out = response.release();
  return ZOJNI_OK;
}

// Turns a (non-handler) answer into a status and a response.
int materialise(const ScriptedAnswer& answer, const std::string& signature,
                zowlpResponse** response) {
  switch (answer.kind) {
    case ScriptedAnswer::Kind::kOutputs:
      return buildResponse(signature, answer.values, response);
    case ScriptedAnswer::Kind::kUnreadable: {
      const int status = buildResponse(signature, answer.values, response);
      if (*response) zowlpResponse_testFailParameters(*response, answer.statusCode);
      return status;
    }
    case ScriptedAnswer::Kind::kJavaError:
      *response = zowlpResponse_createError(answer.errorCode, answer.errorText.c_str());
      return *response ? ZOJNI_ERR_JAVA : ZOJNI_ERR_MEMORY;
    case ScriptedAnswer::Kind::kStatus: return answer.statusCode;
    default: return ZOJNI_ERR_ARGUMENT;  // a handler that answered with a handler
  }
}

// The checks every bridge makes before it looks at the proxy or the inputs.
int checkCallArguments(const char* method, const char* signature, int count,
                       const zowlpParameter* params, zowlpResponse** response) {
  if (method == nullptr || signature == nullptr || response == nullptr || count < 0 ||
      (count > 0 && params == nullptr)) {
    return ZOJNI_ERR_ARGUMENT;
  }
  // A signature is the caller's own argument: a code no bridge knows in it is
  // a malformed argument, not an output the method got wrong.
  for (const char* code = signature; *code != '\0'; ++code) {
    if (!zowlpIsKnownType(static_cast<unsigned char>(*code))) return ZOJNI_ERR_ARGUMENT;
  }
  return ZOJNI_OK;
}

}  // namespace

ScriptedBridge& ScriptedBridge::instance() {
  // Never destroyed: library objects with static lifetime may still destroy
  // their proxies while the process exits.
  static ScriptedBridge* bridge = new ScriptedBridge();
  return *bridge;
}

int ScriptedBridge::idOf(const zojniProxy* proxy) const {
  auto it = live_.find(proxy);
  return it == live_.end() ? 0 : it->second->id;
}

void ScriptedBridge::reset() {
  Scripts old;
  {
    Lock lock(mutex_);
    ++generation_;
    records_ = Records();
    std::swap(old, scripts_);
  }
  for (auto& entry : old.gates) entry.second->release();
}

// ---- Scripts -------------------------------------------------------------------

void ScriptedBridge::answerSequence(const std::string& method,
                                    std::vector<ScriptedAnswer> answers) {
  for (std::size_t i = 0; i < answers.size(); ++i) {
    answerNth(method, static_cast<int>(i) + 1, std::move(answers[i]));
  }
}

std::shared_ptr<ScriptedGate> ScriptedBridge::gate(const std::string& method) {
  Lock lock(mutex_);
  std::shared_ptr<ScriptedGate>& gate = scripts_.gates[method];
  if (!gate) gate = std::make_shared<ScriptedGate>();
  return gate;
}

// ---- Records -------------------------------------------------------------------

std::vector<ScriptedCall> ScriptedBridge::callsTo(const std::string& method) const {
  std::vector<ScriptedCall> found = calls();
  found.erase(std::remove_if(found.begin(), found.end(),
                             [&](const ScriptedCall& call) { return call.method != method; }),
              found.end());
  return found;
}

ScriptedCall ScriptedBridge::lastCallTo(const std::string& method) const {
  std::vector<ScriptedCall> found = callsTo(method);
  return found.empty() ? ScriptedCall() : std::move(found.back());
}

std::vector<std::string> ScriptedBridge::methodsCalled() const {
  std::vector<std::string> methods;
  for (const ScriptedCall& call : calls()) methods.push_back(call.method);
  return methods;
}

// ---- The bridge operations ----------------------------------------------------------

int ScriptedBridge::create(bool fromProxy, zojniProxy* base, const char* jar,
                           const char* proxyName, const char* className,
                           ZoJniOptionRecord* options, ZoJniMessageRecord* messages,
                           zojniProxy** out) {
  // Creations are serialized per process, as in the JVM bridge: the option
  // callbacks of two creations never interleave.
  static std::recursive_mutex creationLock;
  std::lock_guard<std::recursive_mutex> serial(creationLock);
  if (out) *out = nullptr;
  ScriptedCreation record;
  record.fromProxy = fromProxy;
  record.jar = text(jar);
  record.proxyName = text(proxyName);
  record.className = text(className);
  if (options) record.optionDirectory = text(options->directory);
  static const ScriptedCreateScript kDefault = ScriptedCreateScript::asking(
      {"JAVA_PROXY/DIRECTORY", "JAVA_PROXY/HAS_GETVERSION"});
  ScriptedCreateScript script;
  uint64_t generation = 0;
  std::size_t index = 0;
  {
    Lock lock(mutex_);
    record.baseId = idOf(base);
    script = pick(scripts_.createByName, record.proxyName,
                  scripts_.createForAll ? *scripts_.createForAll : kDefault);
    generation = generation_;
    index = records_.creations.size();
    records_.log.push_back("create " + record.proxyName);
    records_.creations.push_back(record);
  }

  int status = ZOJNI_ERR_ARGUMENT;
  if (jar != nullptr && proxyName != nullptr && className != nullptr && out != nullptr) {
    ScriptedCreateContext context(record, options, messages);
    status = script.handler(context);
  }

  Lock lock(mutex_);
  if (status == ZOJNI_OK) {
    auto proxy = std::make_unique<zojniProxy>();
    proxy->id = nextProxyId_++;
    proxy->proxyName = record.proxyName;
    record.proxyId = proxy->id;
    *out = proxy.get();
    live_[proxy.get()] = std::move(proxy);
  }
  record.status = status;
  if (generation == generation_) records_.creations[index] = std::move(record);
  return status;
}

int ScriptedBridge::call(zojniProxy* proxy, ZoJniPollRecord* poll, const char* proxyName,
                         const char* method, const char* signature, int count,
                         zowlpParameter* params, zowlpResponse** response) {
  if (response) *response = nullptr;
  ScriptedCall record;
  record.pollGiven = poll != nullptr;
  record.pollValue = poll ? poll->value : 0;
  record.proxyName = text(proxyName);
  record.method = text(method);
  record.signature = text(signature);

  int status = checkCallArguments(method, signature, count, params, response);
  // The inputs are copied even when the call is refused: a test wants to see
  // what a faulty caller sent.
  for (int i = 0; params != nullptr && i < count; ++i) {
    record.inputs.emplace_back();
    const int copied = copyRecord(params[i], &record.inputs.back());
    if (status == ZOJNI_OK) status = copied;
  }

  static const ScriptedAnswer kDefault = ScriptedAnswer::outputs({});
  ScriptedAnswer answer;
  std::shared_ptr<ScriptedGate> gate;
  uint64_t generation = 0;
  std::size_t index = 0;
  {
    Lock lock(mutex_);
    record.proxyId = idOf(proxy);
    if (record.proxyId == 0 && status == ZOJNI_OK) status = ZOJNI_ERR_ARGUMENT;
    const int nth = ++records_.callCounts[record.method];
    answer = pick(scripts_.nthAnswers, {record.method, nth},
                  pick(scripts_.answers, record.method,
                       scripts_.unscripted ? *scripts_.unscripted : kDefault));
    gate = pick(scripts_.gates, record.method, std::shared_ptr<ScriptedGate>());
    generation = generation_;
    index = records_.calls.size();
    records_.log.push_back("call " + record.method);
    records_.calls.push_back(record);
  }

  if (status == ZOJNI_OK) {
    if (gate) gate->pass();
    ScriptedCallContext context(record, poll);
    if (answer.kind == ScriptedAnswer::Kind::kHandler) answer = answer.handler(context);
    status = materialise(answer, record.signature, response);
  }

  record.status = status;
  Lock lock(mutex_);
  if (generation == generation_) records_.calls[index] = std::move(record);
  return status;
}

zowlpRowSet* ScriptedBridge::createRowSet(zojniProxy* proxy, const char* columnTypes) {
  Lock lock(mutex_);
  auto it = live_.find(proxy);
  const int nth = ++records_.rowSetCount;
  zowlpRowSet* rowSet = nullptr;
  if (it != live_.end() && columnTypes != nullptr) rowSet = zowlpRowSet_create(columnTypes);
  for (const AddRowFailure& failure : scripts_.addRowFailures) {
    if (rowSet && (failure.nthRowSet == 0 || failure.nthRowSet == nth)) {
      zowlpRowSet_testFailAddRowAt(rowSet, failure.rowIndex, failure.status);
    }
  }
  records_.log.push_back("rowset " + (it == live_.end() ? "?" : it->second->proxyName));
  return rowSet;
}

void ScriptedBridge::destroy(zojniProxy* proxy) {
  if (proxy == nullptr) return;
  Lock lock(mutex_);
  auto it = live_.find(proxy);
  records_.log.push_back("destroy " + (it == live_.end() ? "?" : it->second->proxyName));
  if (it != live_.end()) live_.erase(it);
}

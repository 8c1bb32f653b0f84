// ScriptedBridge: proxy creation and method calls, the two operations that run
// scripts on the caller's thread.
#include "scripted_bridge.h"
#include "scripted_state.h"

namespace {

// A WLP_* status.
int setOutput(zowlpResponse* response, int index, const ScriptedValue& value) {
  switch (value.type) {
    case WLP_TYPE_STRING:
      return zowlpResponse_setString(response, index, value.str.c_str(),
                                     static_cast<int>(value.str.size()));
    case WLP_TYPE_BYTES:
      return zowlpResponse_setBytes(response, index, value.str.data(),
                                    static_cast<int>(value.str.size()));
    case WLP_TYPE_BOOL:
      return zowlpResponse_setBool(response, index, value.boolean);
    case WLP_TYPE_INT:
      return zowlpResponse_setInt(response, index, value.integer);
    case WLP_TYPE_OBJECT:
      return zowlpResponse_setObject(response, index, value.object);
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
  *out = nullptr;
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
    if (status == WLP_ERR_MEMORY) return ZOJNI_ERR_MEMORY;
    if (status != WLP_OK) return ZOJNI_ERR_OUTPUT_TYPE;
  }
  *out = response.release();
  return ZOJNI_OK;
}

const ScriptedCreateScript* pickCreateScript(const ScriptedBridge::State& state,
                                             const std::string& proxyName, int nth) {
  auto nthIt = state.createNth.find({proxyName, nth});
  if (nthIt != state.createNth.end()) return &nthIt->second;
  auto nameIt = state.createByName.find(proxyName);
  if (nameIt != state.createByName.end()) return &nameIt->second;
  if (state.createForAll) return &*state.createForAll;
  return nullptr;
}

const ScriptedAnswer* pickAnswer(const ScriptedBridge::State& state,
                                 const std::string& method, int nth) {
  auto nthIt = state.nthAnswers.find({method, nth});
  if (nthIt != state.nthAnswers.end()) return &nthIt->second;
  auto it = state.answers.find(method);
  if (it != state.answers.end()) return &it->second;
  if (state.unscripted) return &*state.unscripted;
  return nullptr;
}

// Checks of the arguments a bridge makes before it looks at the proxy.
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

// Turns a (non-handler) answer into a status and a response.
int materialise(const ScriptedAnswer& answer, const std::string& signature,
                zowlpResponse** response) {
  *response = nullptr;
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
    case ScriptedAnswer::Kind::kStatus:
      return answer.statusCode;
    case ScriptedAnswer::Kind::kNoResponse:
      return ZOJNI_OK;
    case ScriptedAnswer::Kind::kHandler:
      break;
  }
  // A handler that answers with another handler is a fault of the test.
  return ZOJNI_ERR_ARGUMENT;
}

}  // namespace

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
  record.jar = scripted_text(jar);
  record.proxyName = scripted_text(proxyName);
  record.className = scripted_text(className);
  if (options) {
    record.options = *options;
    record.optionDirectory = scripted_text(options->directory);
  }

  ScriptedCreateScript script;
  uint64_t generation = 0;
  std::size_t index = 0;
  {
    std::lock_guard<std::mutex> lock(state_->mutex);
    record.baseId = state_->idOf(base);
    const int nth = ++state_->createCounts[record.proxyName];
    if (const ScriptedCreateScript* found = pickCreateScript(*state_, record.proxyName, nth)) {
      script = *found;
    }
    generation = state_->generation;
    index = state_->creations.size();
    state_->log.push_back("create " + record.proxyName);
    state_->creations.push_back(record);
  }

  int status = ZOJNI_OK;
  if (jar == nullptr || proxyName == nullptr || className == nullptr || out == nullptr) {
    status = ZOJNI_ERR_ARGUMENT;
  } else {
    ScriptedCreateContext context(
        record, options, messages,
        [&record](const ScriptedOptionAsk& ask) { record.asks.push_back(ask); },
        [&record](const ScriptedMessage& message) { record.reports.push_back(message); });
    if (script.handler) {
      status = script.handler(context);
    } else {
      for (const std::string& name : script.askOptions) context.askOption(name);
      for (const auto& message : script.messages) {
        context.report(message.first, message.second);
      }
      status = script.status;
    }
  }

  std::lock_guard<std::mutex> lock(state_->mutex);
  if (status == ZOJNI_OK) {
    auto proxy = std::make_unique<zojniProxy>();
    proxy->id = state_->nextProxyId++;
    proxy->proxyName = record.proxyName;
    record.proxyId = proxy->id;
    record.proxy = proxy.get();
    *out = proxy.get();
    state_->live[proxy.get()] = std::move(proxy);
  }
  record.status = status;
  if (generation == state_->generation && index < state_->creations.size()) {
    state_->creations[index] = record;
  }
  return status;
}

int ScriptedBridge::call(zojniProxy* proxy, ZoJniPollRecord* poll, const char* proxyName,
                         const char* method, const char* signature, int count,
                         zowlpParameter* params, zowlpResponse** response) {
  if (response) *response = nullptr;
  ScriptedCall record;
  record.proxy = proxy;
  record.pollGiven = poll != nullptr;
  record.pollValue = poll ? poll->value : 0;
  record.proxyName = scripted_text(proxyName);
  record.method = scripted_text(method);
  record.signature = scripted_text(signature);
  record.count = count;

  int status = checkCallArguments(method, signature, count, params, response);
  // The inputs are copied even when the call is refused: a test wants to see what
  // a faulty caller sent.
  if (params != nullptr) {
    for (int i = 0; i < count; ++i) {
      ScriptedValue value;
      const int copied = copyRecord(params[i], &value);
      if (status == ZOJNI_OK) status = copied;
      record.inputs.push_back(std::move(value));
    }
  }

  ScriptedAnswer answer = ScriptedAnswer::outputs({});
  std::shared_ptr<ScriptedGate> gate;
  uint64_t generation = 0;
  std::size_t index = 0;
  {
    std::lock_guard<std::mutex> lock(state_->mutex);
    record.proxyId = state_->idOf(proxy);
    if (record.proxyId == 0 && status == ZOJNI_OK) status = ZOJNI_ERR_ARGUMENT;
    record.nth = ++state_->callCounts[record.method];
    if (const ScriptedAnswer* found = pickAnswer(*state_, record.method, record.nth)) {
      answer = *found;
    }
    auto gateIt = state_->gates.find(record.method);
    if (gateIt != state_->gates.end()) gate = gateIt->second;
    generation = state_->generation;
    index = state_->calls.size();
    state_->log.push_back("call " + record.method);
    state_->calls.push_back(record);
  }

  zowlpResponse* built = nullptr;
  if (status == ZOJNI_OK) {
    if (gate) gate->pass();
    ScriptedCallContext context(record, poll, [&record](const ScriptedPoll& made) {
      record.polls.push_back(made);
    });
    if (answer.kind == ScriptedAnswer::Kind::kHandler) answer = answer.handler(context);
    for (const ScriptedPoll& planned : answer.polls) {
      context.poll(planned.done, planned.total,
                   planned.phase ? planned.phase->c_str() : nullptr);
    }
    status = materialise(answer, record.signature, &built);
    *response = built;
  }

  record.status = status;
  std::lock_guard<std::mutex> lock(state_->mutex);
  if (generation == state_->generation && index < state_->calls.size()) {
    state_->calls[index] = std::move(record);
  }
  return status;
}

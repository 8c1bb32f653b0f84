// The bridge contract run against the scripted bridge: ScriptedBridge is
// programmed to behave as the contract proxy does on the Java side.
#include <string>
#include <vector>

#include "contract_suite.h"
#include "scripted_bridge.h"

namespace {

int createContractProxy(ScriptedCreateContext& context) {
  const ScriptedCreation& creation = context.creation();
  // A JVM would not find the class; say so the way the bridge reports it.
  if (creation.jar != contract::kJar || creation.className != contract::kClass) {
    context.report(2, "class " + creation.className + " not found in " + creation.jar);
    return ZOJNI_ERR_CREATE;
  }
  context.askOption("JAVA_PROXY/DIRECTORY");
  context.askOption("JAVA_PROXY/HAS_GETVERSION");
  const ScriptedOptionAsk fail = context.askOption(contract::kFailOption);
  if (fail.status == 0) {
    context.report(2, "contract proxy refused to start: " + fail.value);
    return ZOJNI_ERR_CREATE;
  }
  const ScriptedOptionAsk warn = context.askOption(contract::kWarnOption);
  if (warn.status == 0) context.report(1, warn.value);
  context.report(0, contract::kReadyMessage);
  return ZOJNI_OK;
}

ScriptedAnswer echo(ScriptedCallContext& context) {
  return ScriptedAnswer::outputs(context.call().inputs);
}

ScriptedAnswer fail(ScriptedCallContext& context) {
  const std::vector<ScriptedValue>& inputs = context.call().inputs;
  const std::string text = inputs.empty() ? std::string() : inputs[0].str;
  return ScriptedAnswer::javaError(contract::kFailCode, contract::kFailPrefix + text);
}

ScriptedAnswer poll(ScriptedCallContext& context) {
  const std::vector<ScriptedValue>& inputs = context.call().inputs;
  const int wanted = inputs.empty() ? 0 : inputs[0].integer;
  int made = 0;
  bool stopped = false;
  for (int i = 0; i < wanted && context.hasPoll() && !stopped; ++i) {
    stopped = context.poll(i + 1, wanted, contract::kPollPhase) == 0;
    ++made;
  }
  return ScriptedAnswer::outputs({ScriptedValue::ofInt(made), ScriptedValue::ofBool(stopped)});
}

ScriptedAnswer rows(ScriptedCallContext& context) {
  const std::vector<ScriptedValue>& inputs = context.call().inputs;
  const int count = inputs.empty() ? 0 : inputs[0].integer;
  std::vector<std::vector<std::optional<std::string>>> table;
  for (int i = 0; i < count; ++i) {
    std::optional<std::string> value;
    if (i != 1) value = "value" + std::to_string(i);
    table.push_back({"key" + std::to_string(i), value});
  }
  return ScriptedAnswer::outputs({ScriptedValue::ofStringRows(table, 2)});
}

// Java counts a character outside the basic plane once, as a surrogate pair.
ScriptedAnswer codePoints(ScriptedCallContext& context) {
  const ScriptedValue& text = context.call().inputs.at(0);
  int count = text.present ? 0 : -1;
  for (unsigned char byte : text.str) count += (byte & 0xC0) != 0x80;
  return ScriptedAnswer::outputs({ScriptedValue::ofInt(count)});
}

class ScriptedContractBridge : public ContractBridge {
 public:
  void setUp() override {
    ScriptedBridge& bridge = ScriptedBridge::instance();
    bridge.reset();
    bridge.onCreate(ScriptedCreateScript::from(createContractProxy));
    bridge.handle("Echo", echo);
    bridge.handle("Fail", fail);
    bridge.handle("Poll", poll);
    bridge.handle("Rows", rows);
    bridge.handle("CodePoints", codePoints);
    bridge.answerUnscripted(ScriptedAnswer::status(ZOJNI_ERR_NO_METHOD));
  }
};

}  // namespace

std::unique_ptr<ContractBridge> makeContractBridge() {
  return std::make_unique<ScriptedContractBridge>();
}

#include "scripted_bridge.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstring>
#include <thread>

namespace {

using ::testing::ElementsAre;
using ResponseOwner = std::unique_ptr<zowlpResponse, ZowlpResponseDeleter>;
using RowSetOwner = std::unique_ptr<zowlpRowSet, ZowlpRowSetDeleter>;

zowlpParameter record(int32_t type) {
  zowlpParameter r;
  std::memset(&r, 0, sizeof r);
  r.type = type;
  r.present = 1;
  return r;
}

zowlpParameter stringRecord(const char* text) {
  zowlpParameter r = record(WLP_TYPE_STRING);
  r.value.string = text;
  r.length = static_cast<int32_t>(std::strlen(text));
  return r;
}

// Option callback of the tests: answers from a fixed text, remembers nothing.
struct Answers {
  std::string text = "answer";
  std::string buffer;
};

int answerOption(ZoJniOptionRecord* rec, const char* name, void*, char** value, int* length) {
  auto* answers = static_cast<Answers*>(rec->instance);
  if (std::strcmp(name, "NONE") == 0) return 1;
  answers->buffer = answers->text + ":" + name;
  *value = &answers->buffer[0];
  *length = static_cast<int>(answers->buffer.size());
  return 0;
}

int countMessage(ZoJniMessageRecord* rec, int type, const char*) { return type + 100; }

class ScriptedBridgeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    bridge_.reset();
    liveAtStart_ = zowlpTestLiveObjects();
  }
  void TearDown() override {
    for (zojniProxy* proxy : proxies_) zojniProxyDestroy(proxy);
    EXPECT_EQ(zowlpTestLiveObjects(), liveAtStart_) << "responses or row sets leaked";
  }

  zojniProxy* create(const char* proxyName = "HadoopClient", int* status = nullptr) {
    zojniProxy* proxy = nullptr;
    const int result = zojniProxyCreate("x.jar", proxyName, "com.x.X", &options_,
                                        &messages_, &proxy);
    if (status) *status = result;
    if (proxy) proxies_.push_back(proxy);
    return proxy;
  }

  // A call with the given inputs; the response is owned by the caller.
  int call(zojniProxy* proxy, const char* method, const char* signature,
           std::vector<zowlpParameter> inputs, ResponseOwner* response,
           ZoJniPollRecord* poll = nullptr) {
    zowlpResponse* raw = nullptr;
    const int status = zojniProxyCall(proxy, poll, "HadoopClient", method, signature,
                                      static_cast<int>(inputs.size()),
                                      inputs.empty() ? nullptr : inputs.data(), &raw);
    response->reset(raw);
    return status;
  }

  std::vector<zowlpParameter> outputs(zowlpResponse* response) {
    int count = 0;
    zowlpParameter* records = nullptr;
    EXPECT_EQ(zowlpResponse_parameters(response, &count, &records), WLP_OK);
    return std::vector<zowlpParameter>(records, records + count);
  }

  ScriptedBridge& bridge_ = ScriptedBridge::instance();
  Answers answers_;
  ZobString errorText_;
  ZoJniOptionRecord options_{&answerOption, &answers_, "HadoopClient", 0, {}, "hadoop"};
  ZoJniMessageRecord messages_{&countMessage, nullptr, &errorText_};
  std::vector<zojniProxy*> proxies_;
  int liveAtStart_ = 0;
};

// ---- Script matching -----------------------------------------------------------

TEST_F(ScriptedBridgeTest, OrdinalAnswerWinsOverMethodAnswerOverUnscripted) {
  zojniProxy* proxy = create();
  bridge_.answer("M", ScriptedAnswer::outputs({ScriptedValue::ofInt(1)}));
  bridge_.answerNth("M", 2, ScriptedAnswer::outputs({ScriptedValue::ofInt(2)}));
  bridge_.answerUnscripted(ScriptedAnswer::status(ZOJNI_ERR_NO_METHOD));

  std::vector<int> seen;
  for (int i = 0; i < 3; ++i) {
    ResponseOwner response;
    ASSERT_EQ(call(proxy, "M", "\x06", {}, &response), ZOJNI_OK);
    seen.push_back(outputs(response.get())[0].value.integer);
  }
  EXPECT_THAT(seen, ElementsAre(1, 2, 1));
  ResponseOwner response;
  EXPECT_EQ(call(proxy, "Other", "", {}, &response), ZOJNI_ERR_NO_METHOD);
  EXPECT_EQ(response, nullptr);
  EXPECT_EQ(bridge_.callCount("M"), 3);
  EXPECT_EQ(bridge_.callsTo("M")[2].nth, 3);
}

TEST_F(ScriptedBridgeTest, SequenceThenHandlerThatReplacedTheAnswer) {
  zojniProxy* proxy = create();
  bridge_.answer("M", ScriptedAnswer::status(9));
  bridge_.handle("M", [](ScriptedCallContext& context) {
    return ScriptedAnswer::outputs({ScriptedValue::ofInt(100 + context.call().nth)});
  });
  bridge_.answerSequence("M", {ScriptedAnswer::javaError(7, "first"),
                               ScriptedAnswer::noResponse()});
  ResponseOwner response;
  EXPECT_EQ(call(proxy, "M", "\x06", {}, &response), ZOJNI_ERR_JAVA);
  int code = 0;
  ASSERT_EQ(zowlpError_code(response.get(), &code), WLP_OK);
  EXPECT_EQ(code, 7);
  EXPECT_EQ(call(proxy, "M", "\x06", {}, &response), ZOJNI_OK);
  EXPECT_EQ(response, nullptr);
  EXPECT_EQ(call(proxy, "M", "\x06", {}, &response), ZOJNI_OK);
  EXPECT_EQ(outputs(response.get())[0].value.integer, 103);
}

TEST_F(ScriptedBridgeTest, UnscriptedCallGetsNullOutputsOfTheSignature) {
  zojniProxy* proxy = create();
  ResponseOwner response;
  ASSERT_EQ(call(proxy, "HDFSOpenFile", HADOOP_HDFS_OPENFILE_SIG_OUT, {}, &response),
            ZOJNI_OK);
  std::vector<zowlpParameter> outs = outputs(response.get());
  ASSERT_EQ(outs.size(), 2u);
  EXPECT_EQ(outs[0].type, WLP_TYPE_OBJECT);
  EXPECT_EQ(outs[0].present, 0);
  EXPECT_EQ(outs[1].type, WLP_TYPE_ROWSET);
  EXPECT_EQ(outs[1].present, 0);

  ASSERT_EQ(call(proxy, "CfgRelease", "", {}, &response), ZOJNI_OK);
  ASSERT_NE(response, nullptr) << "a void method still gets a response to destroy";
  EXPECT_TRUE(outputs(response.get()).empty());
}

TEST_F(ScriptedBridgeTest, OutputsThatDoNotFitTheSignatureAreRefusedWithoutLeaks) {
  zojniProxy* proxy = create();
  bridge_.answerSequence(
      "M", {ScriptedAnswer::outputs({ScriptedValue::ofString("x")}),
            ScriptedAnswer::outputs({ScriptedValue::ofInt(1), ScriptedValue::ofInt(2)}),
            ScriptedAnswer::outputs({ScriptedValue::ofObject(1),
                                     ScriptedValue::ofStringRows({{"a", "b"}}, 3)}),
            ScriptedAnswer::outputs({ScriptedValue::none(),
                                     ScriptedValue::ofStringRows({{"a"}})})});
  ResponseOwner response;
  EXPECT_EQ(call(proxy, "M", "\x06", {}, &response), ZOJNI_ERR_OUTPUT_TYPE);
  EXPECT_EQ(call(proxy, "M", "\x06", {}, &response), ZOJNI_ERR_OUTPUT_TYPE);
  EXPECT_EQ(call(proxy, "M", "\x07\x0a", {}, &response), ZOJNI_ERR_OUTPUT_TYPE)
      << "a row wider than its row set";
  EXPECT_EQ(response, nullptr);
  ASSERT_EQ(call(proxy, "M", "\x07\x0a", {}, &response), ZOJNI_OK);
  std::vector<zowlpParameter> outs = outputs(response.get());
  EXPECT_EQ(outs[0].present, 0);
  EXPECT_EQ(zowlpRowSet_getRows(outs[1].value.rowSet), 1);
}

TEST_F(ScriptedBridgeTest, UnreadableResponsesAndFailingOutputRowSets) {
  zojniProxy* proxy = create();
  ScriptedValue rows = ScriptedValue::ofStringRows({{"a"}, {"b"}, {"c"}});
  rows.failingNextRowAt(1, WLP_ERR_MEMORY);
  bridge_.answerSequence("M", {ScriptedAnswer::unreadable(WLP_ERR_TYPE),
                               ScriptedAnswer::outputs({rows}), ScriptedAnswer::status(4)});
  ResponseOwner response;
  ASSERT_EQ(call(proxy, "M", "\x0a", {}, &response), ZOJNI_OK);
  int count = 0;
  zowlpParameter* records = nullptr;
  EXPECT_EQ(zowlpResponse_parameters(response.get(), &count, &records), WLP_ERR_TYPE);

  ASSERT_EQ(call(proxy, "M", "\x0a", {}, &response), ZOJNI_OK);
  const zowlpRowSet* out = outputs(response.get())[0].value.rowSet;
  zowlpParameter* row = nullptr;
  EXPECT_EQ(zowlpRowSet_nextRow(out, &row), WLP_OK);
  EXPECT_EQ(zowlpRowSet_nextRow(out, &row), WLP_ERR_MEMORY);

  EXPECT_EQ(call(proxy, "M", "", {}, &response), 4);
  EXPECT_EQ(response, nullptr);
}

// ---- Deep copies and checks of the inputs ------------------------------------------

TEST_F(ScriptedBridgeTest, InputsAreDeepCopiesAndRowSetCursorsStayPut) {
  zojniProxy* proxy = create();
  RowSetOwner rowSet(zojniProxyRowSetCreate(proxy, "\x0b\x06"));
  ASSERT_NE(rowSet, nullptr);
  char key[] = "key";
  zowlpParameter cells[2] = {stringRecord(key), record(WLP_TYPE_INT)};
  cells[1].value.integer = 5;
  ASSERT_EQ(zowlpRowSet_addRow(rowSet.get(), cells), WLP_OK);
  cells[0].present = 0;
  ASSERT_EQ(zowlpRowSet_addRow(rowSet.get(), cells), WLP_OK);

  char text[] = "abc";
  const char bytes[] = {'\0', 'x', '\0'};
  std::vector<zowlpParameter> inputs = {stringRecord(text), record(WLP_TYPE_BYTES),
                                        record(WLP_TYPE_BOOL), record(WLP_TYPE_ROWSET),
                                        record(WLP_TYPE_OBJECT)};
  inputs[1].value.bytes = bytes;
  inputs[1].length = 3;
  inputs[2].value.boolean = 7;
  inputs[3].value.rowSet = rowSet.get();
  inputs[4].present = 0;
  inputs[4].value.object = 99;
  ResponseOwner response;
  ASSERT_EQ(call(proxy, "M", "", inputs, &response), ZOJNI_OK);
  text[0] = 'X';

  const ScriptedCall recorded = *bridge_.lastCallTo("M");
  ASSERT_EQ(recorded.inputs.size(), 5u);
  EXPECT_EQ(recorded.inputs[0], ScriptedValue::ofString("abc"));
  EXPECT_EQ(recorded.inputs[0].length, 3);
  EXPECT_EQ(recorded.inputs[1], ScriptedValue::ofBytes(std::string(bytes, 3)));
  EXPECT_TRUE(recorded.inputs[2].boolean);
  EXPECT_EQ(recorded.inputs[2].rawBoolean, 7) << "the byte as sent, for checks of 0/1";
  EXPECT_EQ(recorded.inputs[3].rowSet, rowSet.get());
  EXPECT_EQ(recorded.inputs[3].columnTypes, "\x0b\x06");
  ASSERT_EQ(recorded.inputs[3].rows.size(), 2u);
  EXPECT_EQ(recorded.inputs[3].rows[0][1], ScriptedValue::ofInt(5));
  EXPECT_EQ(recorded.inputs[3].rows[1][0], ScriptedValue::ofNull(WLP_TYPE_STRING));
  EXPECT_EQ(recorded.inputs[4], ScriptedValue::ofNull(WLP_TYPE_OBJECT));

  zowlpParameter* first = nullptr;
  ASSERT_EQ(zowlpRowSet_nextRow(rowSet.get(), &first), WLP_OK);
  EXPECT_STREQ(first[0].value.string, "key") << "recording must not move the read cursor";
}

TEST_F(ScriptedBridgeTest, MalformedCallsAreRefusedButRecorded) {
  zojniProxy* proxy = create();
  zowlpParameter shortText = stringRecord("abc");
  shortText.length = 5;
  zowlpParameter unknown = record(42);
  zowlpParameter noRowSet = record(WLP_TYPE_ROWSET);
  zowlpParameter nullBytes = record(WLP_TYPE_BYTES);
  nullBytes.length = 2;
  ResponseOwner response;
  EXPECT_EQ(call(proxy, "M", "", {shortText}, &response), ZOJNI_ERR_ARGUMENT);
  EXPECT_EQ(call(proxy, "M", "", {unknown}, &response), ZOJNI_ERR_INPUT_TYPE);
  EXPECT_EQ(call(proxy, "M", "", {noRowSet}, &response), ZOJNI_ERR_ARGUMENT);
  EXPECT_EQ(call(proxy, "M", "", {nullBytes}, &response), ZOJNI_ERR_ARGUMENT);
  EXPECT_EQ(call(proxy, "M", "\x06\x09", {}, &response), ZOJNI_ERR_ARGUMENT);
  zojniProxy* gone = create();
  zojniProxyDestroy(gone);
  proxies_.pop_back();
  EXPECT_EQ(call(gone, "M", "", {}, &response), ZOJNI_ERR_ARGUMENT);
  EXPECT_EQ(call(nullptr, "M", "", {}, &response), ZOJNI_ERR_ARGUMENT);

  const std::vector<ScriptedCall> calls = bridge_.calls();
  ASSERT_EQ(calls.size(), 7u);
  EXPECT_EQ(calls[0].inputs[0].str, "abc");
  EXPECT_EQ(calls[0].inputs[0].length, 5);
  EXPECT_EQ(calls[5].proxyId, 0);
  for (const ScriptedCall& c : calls) EXPECT_NE(c.status, ZOJNI_OK);
}

// ---- Creation ------------------------------------------------------------------

TEST_F(ScriptedBridgeTest, DefaultCreationAsksDirectoryAndVersionAndRecordsAnswers) {
  zojniProxy* proxy = create();
  ASSERT_NE(proxy, nullptr);
  const ScriptedCreation creation = bridge_.creations().at(0);
  EXPECT_EQ(creation.status, ZOJNI_OK);
  EXPECT_EQ(creation.proxy, proxy);
  EXPECT_FALSE(creation.fromProxy);
  EXPECT_EQ(creation.optionDirectory, "hadoop");
  EXPECT_EQ(creation.options.instance, &answers_);
  EXPECT_EQ(creation.messages.errorText, &errorText_);
  ASSERT_EQ(creation.asks.size(), 2u);
  EXPECT_EQ(creation.asks[0].name, "JAVA_PROXY/DIRECTORY");
  EXPECT_EQ(creation.asks[1].value, "answer:JAVA_PROXY/HAS_GETVERSION");
  EXPECT_EQ(creation.asks[1].length, 32);
  EXPECT_TRUE(creation.asks[1].terminated);
  EXPECT_EQ(creation.asks[1].valuePointer, answers_.buffer.data());
}

TEST_F(ScriptedBridgeTest, CreationScriptsByOrdinalThenNameThenForAll) {
  bridge_.onCreate(ScriptedCreateScript::asking({"NONE"}));
  bridge_.onCreate("HadoopPigClient",
                   ScriptedCreateScript::failing(ZOJNI_ERR_CREATE, {{2, "e1"}, {0, "i"}}));
  bridge_.onCreateNth("HadoopPigClient", 2, ScriptedCreateScript::succeeding({{1, "w"}}));

  zojniProxy* main = create();
  ASSERT_NE(main, nullptr);
  zojniProxy* pig = reinterpret_cast<zojniProxy*>(0x10);
  EXPECT_EQ(zojniProxyCreateFromProxy(main, "p.jar", "HadoopPigClient", "P", &options_,
                                      &messages_, &pig),
            ZOJNI_ERR_CREATE);
  EXPECT_EQ(pig, nullptr);
  ASSERT_EQ(zojniProxyCreateFromProxy(main, "p.jar", "HadoopPigClient", "P", &options_,
                                      &messages_, &pig),
            ZOJNI_OK);
  proxies_.push_back(pig);

  const std::vector<ScriptedCreation> creations = bridge_.creations();
  ASSERT_EQ(creations.size(), 3u);
  ASSERT_EQ(creations[0].asks.size(), 1u);
  EXPECT_EQ(creations[0].asks[0].status, 1);
  EXPECT_EQ(creations[1].reports.size(), 2u);
  EXPECT_EQ(creations[1].reports[0].text, "e1");
  EXPECT_EQ(creations[1].reports[0].result, 102);
  EXPECT_EQ(creations[1].proxyId, 0);
  EXPECT_TRUE(creations[2].fromProxy);
  EXPECT_EQ(creations[2].baseId, creations[0].proxyId);
  EXPECT_EQ(creations[2].nth, 2);
  EXPECT_EQ(creations[2].asks.size(), 2u);
}

// ---- Row sets, polls, gates, records -------------------------------------------------

TEST_F(ScriptedBridgeTest, RowSetFailuresHitTheChosenRowSet) {
  zojniProxy* proxy = create();
  bridge_.failRowSetCreate(2);
  bridge_.failAddRowAt(3, 1, WLP_ERR_MEMORY);
  RowSetOwner first(zojniProxyRowSetCreate(proxy, "\x0b"));
  RowSetOwner second(zojniProxyRowSetCreate(proxy, "\x0b"));
  RowSetOwner third(zojniProxyRowSetCreate(proxy, "\x0b"));
  EXPECT_NE(first, nullptr);
  EXPECT_EQ(second, nullptr);
  ASSERT_NE(third, nullptr);
  zowlpParameter row = stringRecord("r");
  EXPECT_EQ(zowlpRowSet_addRow(first.get(), &row), WLP_OK);
  EXPECT_EQ(zowlpRowSet_addRow(first.get(), &row), WLP_OK);
  EXPECT_EQ(zowlpRowSet_addRow(third.get(), &row), WLP_OK);
  EXPECT_EQ(zowlpRowSet_addRow(third.get(), &row), WLP_ERR_MEMORY);
  EXPECT_EQ(zojniProxyRowSetCreate(nullptr, "\x0b"), nullptr);
}

TEST_F(ScriptedBridgeTest, ScriptedPollsNeedAPollRecordAndRecordTheAnswers) {
  zojniProxy* proxy = create();
  ScriptedAnswer answer = ScriptedAnswer::outputs({});
  answer.poll(1, 10, std::string("map")).poll(2, 10, std::nullopt);
  bridge_.answer("Run", answer);
  struct Seen {
    std::vector<std::string> phases;
  } seen;
  ZoJniPollRecord poll{33, 0, [](ZoJniPollRecord* rec, int64_t done, int64_t, const char* phase) {
                         static_cast<Seen*>(rec->instance)->phases.push_back(phase ? phase : "(null)");
                         return done == 1 ? 1 : 0;
                       }, &seen, nullptr};
  ResponseOwner response;
  ASSERT_EQ(call(proxy, "Run", "", {}, &response, &poll), ZOJNI_OK);
  ASSERT_EQ(call(proxy, "Run", "", {}, &response), ZOJNI_OK);
  EXPECT_THAT(seen.phases, ElementsAre("map", "(null)"));
  const std::vector<ScriptedCall> calls = bridge_.callsTo("Run");
  EXPECT_TRUE(calls[0].pollGiven);
  EXPECT_EQ(calls[0].pollValue, 33);
  ASSERT_EQ(calls[0].polls.size(), 2u);
  EXPECT_EQ(calls[0].polls[0].answer, 1);
  EXPECT_EQ(calls[0].polls[1].answer, 0);
  EXPECT_FALSE(calls[1].pollGiven);
  EXPECT_TRUE(calls[1].polls.empty());
}

TEST_F(ScriptedBridgeTest, GateHoldsCallsFromTwoThreadsAtOnce) {
  zojniProxy* proxy = create();
  std::shared_ptr<ScriptedGate> gate = bridge_.gate("Slow");
  auto slowCall = [&] {
    zowlpResponse* raw = nullptr;
    EXPECT_EQ(zojniProxyCall(proxy, nullptr, "HadoopClient", "Slow", "", 0, nullptr, &raw),
              ZOJNI_OK);
    zowlpResponse_destroy(raw);
  };
  std::thread first(slowCall);
  std::thread second(slowCall);
  EXPECT_TRUE(gate->waitInside(2, std::chrono::seconds(10)));
  EXPECT_EQ(bridge_.callCount("Slow"), 2);
  EXPECT_EQ(bridge_.calls()[0].status, -1) << "still running";
  gate->release();
  first.join();
  second.join();
  EXPECT_EQ(gate->inside(), 0);
  EXPECT_EQ(bridge_.calls()[1].status, ZOJNI_OK);
}

TEST_F(ScriptedBridgeTest, ResetReleasesAClosedGate) {
  zojniProxy* proxy = create();
  std::shared_ptr<ScriptedGate> gate = bridge_.gate("Slow");
  std::thread caller([&] {
    zowlpResponse* raw = nullptr;
    zojniProxyCall(proxy, nullptr, "HadoopClient", "Slow", "", 0, nullptr, &raw);
    zowlpResponse_destroy(raw);
  });
  ASSERT_TRUE(gate->waitInside(1, std::chrono::seconds(10)));
  bridge_.reset();
  caller.join();
  EXPECT_TRUE(bridge_.calls().empty()) << "a call from before reset() is not recorded after it";
}

TEST_F(ScriptedBridgeTest, EventLogKeepsTheOrderAndFlagsUnknownDestroys) {
  const int liveBefore = bridge_.liveProxies();
  zojniProxy* proxy = create();
  ResponseOwner response;
  call(proxy, "CreateConfig", "\x07", {}, &response);
  RowSetOwner rowSet(zojniProxyRowSetCreate(proxy, "\x0b\x0b"));
  EXPECT_EQ(bridge_.liveProxies(), liveBefore + 1);
  zojniProxyDestroy(proxy);
  proxies_.clear();
  zojniProxyDestroy(proxy);
  EXPECT_EQ(bridge_.liveProxies(), liveBefore);
  EXPECT_THAT(bridge_.eventLog(),
              ElementsAre("create HadoopClient", "call CreateConfig", "rowset 2",
                          "destroy HadoopClient", "destroy ?"));
  EXPECT_FALSE(bridge_.destructions()[1].wasLive);
}

}  // namespace

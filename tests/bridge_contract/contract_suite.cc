// The bridge contract: what the library relies on from whichever bridge hosts
// its Java proxies. Runs against the bridge the test program links.
#include "contract_suite.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "contract_harness.h"

namespace {

using contract::Inputs;
using contract::MessageLog;
using contract::OptionAnswers;
using contract::PollScript;
using contract::ProxyOwner;
using contract::ResponseOwner;
using contract::RowSetOwner;
using contract::Value;
using ::testing::ElementsAre;

const std::string kStrings = "\x0b\x0b";

// `wanted` appears in `all` in this order, possibly with others between.
bool inOrder(const std::vector<std::string>& all, const std::vector<std::string>& wanted) {
  std::size_t next = 0;
  for (const std::string& name : all) {
    if (next < wanted.size() && name == wanted[next]) ++next;
  }
  return next == wanted.size();
}

// Records the order in which the option callbacks of several creations run.
// The first callback of each creation waits a moment for the others, so that
// creations a bridge lets overlap do overlap.
struct CreationOrder {
  std::mutex mutex;
  std::condition_variable arrived;
  int creations = 0;
  int started = 0;
  std::vector<int> order;
};

// An option record that logs into a CreationOrder and then answers as the
// suite's OptionAnswers does. The record comes first, so the bridge's pointer
// to it leads back here.
struct OrderedOptions {
  ZoJniOptionRecord record;
  ZoJniOptionCallback answer;
  CreationOrder* log;
  int id;
  bool first = true;

  OrderedOptions(OptionAnswers* answers, CreationOrder* order, int creation)
      : record(*answers->record()), answer(record.callback), log(order), id(creation) {
    record.callback = &OrderedOptions::callback;
  }
  static int callback(ZoJniOptionRecord* record, const char* name, void* context,
                      char** value, int* length) {
    auto* self = reinterpret_cast<OrderedOptions*>(record);
    {
      std::unique_lock<std::mutex> lock(self->log->mutex);
      self->log->order.push_back(self->id);
      if (self->first) {
        self->first = false;
        ++self->log->started;
        self->log->arrived.notify_all();
        self->log->arrived.wait_for(lock, std::chrono::milliseconds(300), [self] {
          return self->log->started == self->log->creations;
        });
      }
    }
    return self->answer(record, name, context, value, length);
  }
};

class BridgeContract : public ::testing::Test {
 protected:
  void SetUp() override {
    bridge_ = makeContractBridge();
    bridge_->setUp();
    options_ = std::make_unique<OptionAnswers>(contract::kProxyName,
                                               bridge_->proxyDirectory());
  }

  void TearDown() override {
    proxy_.reset();
    bridge_->tearDown();
  }

  int create(zojniProxy** out, const char* className = contract::kClass) {
    return zojniProxyCreate(contract::kJar, contract::kProxyName, className,
                            options_->record(), messages_.record(), out);
  }

  // The test's contract proxy, created on first use.
  zojniProxy* proxy() {
    if (!proxy_) {
      zojniProxy* made = nullptr;
      const int status = create(&made);
      EXPECT_EQ(status, ZOJNI_OK) << "creating the contract proxy";
      proxy_.reset(made);
    }
    return proxy_.get();
  }

  int call(const char* method, const std::string& signature, Inputs& inputs,
           ResponseOwner* response, ZoJniPollRecord* poll = nullptr,
           zojniProxy* through = nullptr) {
    zowlpResponse* raw = nullptr;
    const int status = zojniProxyCall(through ? through : proxy(), poll,
                                      contract::kProxyName, method, signature.c_str(),
                                      inputs.count(), inputs.records(), &raw);
    response->reset(raw);
    return status;
  }

  // Echoes the inputs with their own types as the signature.
  std::vector<Value> echo(Inputs& inputs, zojniProxy* through = nullptr) {
    ResponseOwner response;
    const int status = call("Echo", inputs.signature(), inputs, &response, nullptr, through);
    EXPECT_EQ(status, ZOJNI_OK);
    if (status != ZOJNI_OK || !response) return {};
    return contract::readOutputs(response.get());
  }

  RowSetOwner stringRowSet(const std::vector<std::vector<std::optional<std::string>>>& rows,
                           const std::string& columns = kStrings) {
    RowSetOwner rowSet(zojniProxyRowSetCreate(proxy(), columns.c_str()));
    EXPECT_NE(rowSet, nullptr);
    if (rowSet) contract::addStringRows(rowSet.get(), rows);
    return rowSet;
  }

  std::unique_ptr<ContractBridge> bridge_;
  std::unique_ptr<OptionAnswers> options_;
  MessageLog messages_;
  ProxyOwner proxy_;
};

// ---- Creation ------------------------------------------------------------------

TEST_F(BridgeContract, CreationAsksOptionsAndReportsReady) {
  zojniProxy* made = nullptr;
  ASSERT_EQ(create(&made), ZOJNI_OK);
  ProxyOwner owner(made);
  ASSERT_NE(made, nullptr);

  EXPECT_TRUE(inOrder(options_->asked(), {"JAVA_PROXY/DIRECTORY", "JAVA_PROXY/HAS_GETVERSION",
                                         contract::kFailOption}))
      << ::testing::PrintToString(options_->asked());
  EXPECT_TRUE(options_->directoryGiven());
  bool ready = false;
  for (const contract::Message& message : messages_.messages()) {
    EXPECT_LT(message.type, 2) << "error message on success: " << message.text;
    if (message.type == 0 && message.text == contract::kReadyMessage) ready = true;
  }
  EXPECT_TRUE(ready);
}

TEST_F(BridgeContract, CreationFailsWithTheProxysMessage) {
  options_->set(contract::kFailOption, "disk \xc3\xbc on fire");
  zojniProxy* made = reinterpret_cast<zojniProxy*>(0x1);
  const int status = create(&made);
  EXPECT_NE(status, ZOJNI_OK);
  EXPECT_EQ(made, nullptr);
  bool reported = false;
  for (const contract::Message& message : messages_.messages()) {
    EXPECT_NE(message.text, contract::kReadyMessage);
    if (message.type == 2 && message.text.find("disk \xc3\xbc on fire") != std::string::npos) {
      reported = true;
    }
  }
  EXPECT_TRUE(reported);
}

TEST_F(BridgeContract, CreationOfAnUnknownClassFailsWithAnErrorMessage) {
  zojniProxy* made = nullptr;
  EXPECT_NE(create(&made, "com.zorvanta.proxy.test.NoSuchJPC"), ZOJNI_OK);
  EXPECT_EQ(made, nullptr);
  bool error = false;
  for (const contract::Message& message : messages_.messages()) {
    if (message.type >= 2) error = true;
  }
  EXPECT_TRUE(error) << "the messages say why creation failed";
}

TEST_F(BridgeContract, CreationRefusesNullArguments) {
  zojniProxy* made = nullptr;
  EXPECT_EQ(zojniProxyCreate(nullptr, contract::kProxyName, contract::kClass,
                             options_->record(), messages_.record(), &made),
            ZOJNI_ERR_ARGUMENT);
  EXPECT_EQ(zojniProxyCreate(contract::kJar, contract::kProxyName, nullptr,
                             options_->record(), messages_.record(), &made),
            ZOJNI_ERR_ARGUMENT);
  EXPECT_EQ(made, nullptr);
  EXPECT_EQ(zojniProxyCreate(contract::kJar, contract::kProxyName, contract::kClass,
                             options_->record(), messages_.record(), nullptr),
            ZOJNI_ERR_ARGUMENT);
}

TEST_F(BridgeContract, DerivedProxyAnswersAndCanBeDestroyedFirst) {
  zojniProxy* derived = nullptr;
  MessageLog derivedMessages;
  OptionAnswers derivedOptions(contract::kProxyName, bridge_->proxyDirectory());
  ASSERT_EQ(zojniProxyCreateFromProxy(proxy(), contract::kJar, contract::kProxyName,
                                      contract::kClass, derivedOptions.record(),
                                      derivedMessages.record(), &derived),
            ZOJNI_OK);
  ProxyOwner derivedOwner(derived);
  ASSERT_NE(derived, nullptr);
  EXPECT_NE(derived, proxy());
  EXPECT_TRUE(inOrder(derivedOptions.asked(), {"JAVA_PROXY/DIRECTORY"}));

  Inputs inputs;
  inputs.string("through the derived proxy");
  EXPECT_THAT(echo(inputs, derived), ElementsAre(contract::stringValue("through the derived proxy")));

  derivedOwner.reset();
  Inputs again;
  again.integer(7);
  EXPECT_THAT(echo(again), ElementsAre(contract::intValue(7)));
}

// ---- Echo ----------------------------------------------------------------------

TEST_F(BridgeContract, EchoReturnsEveryScalarTypeInOrder) {
  const std::string binary("\x00\x01\xff\x7f\x80 end", 9);
  Inputs inputs;
  inputs.bytes(binary).boolean(true).boolean(false).integer(INT32_MIN).integer(INT32_MAX)
      .integer(0).object(0x123456789ALL).object(-2).string("plain text");
  EXPECT_THAT(echo(inputs),
              ElementsAre(contract::bytesValue(binary), contract::boolValue(true),
                          contract::boolValue(false), contract::intValue(INT32_MIN),
                          contract::intValue(INT32_MAX), contract::intValue(0),
                          contract::objectValue(0x123456789ALL), contract::objectValue(-2),
                          contract::stringValue("plain text")));
}

TEST_F(BridgeContract, EchoKeepsStringsByteForByte) {
  const std::string latin = "Gr\xc3\xbc\xc3\x9f" "e, \xce\x95\xce\xbb\xce\xbb\xce\xac\xce\xb4\xce\xb1";
  // Characters outside the basic plane take four bytes in UTF-8 and a surrogate
  // pair on the Java side; they must come back as the same four bytes.
  const std::string astral = "\xf0\x9f\x98\x80 \xf0\x9d\x84\x9e \xf0\xa0\x9c\x8e";
  Inputs inputs;
  inputs.string(latin).string(astral).string("").null(WLP_TYPE_STRING);
  EXPECT_THAT(echo(inputs),
              ElementsAre(contract::stringValue(latin), contract::stringValue(astral),
                          contract::stringValue(""), contract::nullValue(WLP_TYPE_STRING)));
}

TEST_F(BridgeContract, EchoKeepsNullsAndEmptiesApart) {
  Inputs inputs;
  inputs.bytes("").null(WLP_TYPE_BYTES).null(WLP_TYPE_BOOL).null(WLP_TYPE_INT)
      .null(WLP_TYPE_OBJECT).null(WLP_TYPE_ROWSET);
  EXPECT_THAT(echo(inputs),
              ElementsAre(contract::bytesValue(""), contract::nullValue(WLP_TYPE_BYTES),
                          contract::nullValue(WLP_TYPE_BOOL), contract::nullValue(WLP_TYPE_INT),
                          contract::nullValue(WLP_TYPE_OBJECT),
                          contract::nullValue(WLP_TYPE_ROWSET)));
}

TEST_F(BridgeContract, EchoCopiesRowSetsRowByRow) {
  const std::vector<std::vector<std::optional<std::string>>> rows = {
      {"a", "1"}, {"\xc3\xbc\xf0\x9f\x98\x80", std::nullopt}, {"", "x"}};
  RowSetOwner input = stringRowSet(rows);
  ASSERT_NE(input, nullptr);
  RowSetOwner empty = stringRowSet({}, "\x0b");
  ASSERT_NE(empty, nullptr);

  Inputs inputs;
  inputs.rowSet(input.get()).rowSet(empty.get());
  EXPECT_THAT(echo(inputs),
              ElementsAre(contract::stringRowsValue(rows), contract::stringRowsValue({})));
  // The input row set is the caller's and is left as it was.
  EXPECT_EQ(zowlpRowSet_getRows(input.get()), 3);
  EXPECT_EQ(contract::stringRowsValue(rows).rows, contract::readRows(input.get()));
}

TEST_F(BridgeContract, OutputsAreCopiesThatOutliveTheInputs) {
  auto inputs = std::make_unique<Inputs>();
  inputs->string("kept by the response").bytes(std::string(4096, 'b'));
  ResponseOwner response;
  ASSERT_EQ(call("Echo", inputs->signature(), *inputs, &response), ZOJNI_OK);
  inputs.reset();
  EXPECT_THAT(contract::readOutputs(response.get()),
              ElementsAre(contract::stringValue("kept by the response"),
                          contract::bytesValue(std::string(4096, 'b'))));
}

TEST_F(BridgeContract, OutputOfTheWrongTypeIsRefused) {
  Inputs inputs;
  inputs.integer(5);
  ResponseOwner response;
  EXPECT_EQ(call("Echo", "\x0b", inputs, &response), ZOJNI_ERR_OUTPUT_TYPE);
  EXPECT_EQ(response, nullptr);
}

TEST_F(BridgeContract, InputOfAnUnknownTypeIsRefused) {
  Inputs inputs;
  inputs.integer(1).raw(99);
  ResponseOwner response;
  EXPECT_EQ(call("Echo", "\x06", inputs, &response), ZOJNI_ERR_INPUT_TYPE);
  EXPECT_EQ(response, nullptr);
}

// ---- Errors ----------------------------------------------------------------------

TEST_F(BridgeContract, JavaFailureCarriesCodeAndText) {
  Inputs inputs;
  inputs.string("boom \xe2\x82\xac");
  ResponseOwner response;
  ASSERT_EQ(call("Fail", "", inputs, &response), ZOJNI_ERR_JAVA);
  ASSERT_NE(response, nullptr);
  int code = 0;
  ASSERT_EQ(zowlpError_code(response.get(), &code), WLP_OK);
  EXPECT_EQ(code, contract::kFailCode);
  char* text = nullptr;
  int length = -1;
  ASSERT_EQ(zowlpError_text(response.get(), &text, &length), WLP_OK);
  ASSERT_NE(text, nullptr);
  const std::string expected = std::string(contract::kFailPrefix) + "boom \xe2\x82\xac";
  EXPECT_EQ(std::string(text, static_cast<std::size_t>(length)), expected);
  EXPECT_EQ(std::string(text), expected);
}

TEST_F(BridgeContract, UnknownMethodIsNoMethod) {
  Inputs inputs;
  ResponseOwner response;
  EXPECT_EQ(call("NoSuchMethod", "", inputs, &response), ZOJNI_ERR_NO_METHOD);
  EXPECT_EQ(response, nullptr);
}

TEST_F(BridgeContract, CallRefusesNullArguments) {
  Inputs inputs;
  inputs.integer(1);
  zowlpResponse* response = nullptr;
  EXPECT_EQ(zojniProxyCall(nullptr, nullptr, contract::kProxyName, "Echo", "\x06",
                           inputs.count(), inputs.records(), &response),
            ZOJNI_ERR_ARGUMENT);
  EXPECT_EQ(response, nullptr);
  EXPECT_EQ(zojniProxyCall(proxy(), nullptr, contract::kProxyName, nullptr, "\x06",
                           inputs.count(), inputs.records(), &response),
            ZOJNI_ERR_ARGUMENT);
  EXPECT_EQ(response, nullptr);
}

// ---- Polling -------------------------------------------------------------------

TEST_F(BridgeContract, PollCallsBackOnTheCallingThread) {
  PollScript poll;
  Inputs inputs;
  inputs.integer(4);
  ResponseOwner response;
  ASSERT_EQ(call("Poll", "\x06\x02", inputs, &response, poll.record()), ZOJNI_OK);
  EXPECT_THAT(contract::readOutputs(response.get()),
              ElementsAre(contract::intValue(4), contract::boolValue(false)));
  const std::vector<contract::PollSeen> seen = poll.seen();
  ASSERT_EQ(seen.size(), 4u);
  for (std::size_t i = 0; i < seen.size(); ++i) {
    EXPECT_EQ(seen[i].done, static_cast<int64_t>(i + 1));
    EXPECT_EQ(seen[i].total, 4);
    EXPECT_EQ(seen[i].phase, std::optional<std::string>(contract::kPollPhase));
  }
}

TEST_F(BridgeContract, PollAnsweredZeroStopsTheMethod) {
  PollScript poll(3);
  Inputs inputs;
  inputs.integer(10);
  ResponseOwner response;
  ASSERT_EQ(call("Poll", "\x06\x02", inputs, &response, poll.record()), ZOJNI_OK);
  EXPECT_THAT(contract::readOutputs(response.get()),
              ElementsAre(contract::intValue(3), contract::boolValue(true)));
  EXPECT_EQ(poll.seen().size(), 3u);
}

TEST_F(BridgeContract, WithoutPollRecordThereIsNoCallback) {
  Inputs inputs;
  inputs.integer(5);
  ResponseOwner response;
  ASSERT_EQ(call("Poll", "\x06\x02", inputs, &response), ZOJNI_OK);
  EXPECT_THAT(contract::readOutputs(response.get()),
              ElementsAre(contract::intValue(0), contract::boolValue(false)));
}

// ---- Row sets --------------------------------------------------------------------

TEST_F(BridgeContract, RowsComeBackWithTheirNullCells) {
  Inputs three;
  three.integer(3);
  ResponseOwner response;
  ASSERT_EQ(call("Rows", "\x0a", three, &response), ZOJNI_OK);
  EXPECT_THAT(contract::readOutputs(response.get()),
              ElementsAre(contract::stringRowsValue({{"key0", "value0"},
                                                     {"key1", std::nullopt},
                                                     {"key2", "value2"}})));
  Inputs none;
  none.integer(0);
  ASSERT_EQ(call("Rows", "\x0a", none, &response), ZOJNI_OK);
  EXPECT_THAT(contract::readOutputs(response.get()),
              ElementsAre(contract::stringRowsValue({})));
}

TEST_F(BridgeContract, RowSetCreationKeepsColumnTypes) {
  const std::string columns = "\x0b\x06\x02\x01\x07";
  RowSetOwner rowSet(zojniProxyRowSetCreate(proxy(), columns.c_str()));
  ASSERT_NE(rowSet, nullptr);
  EXPECT_EQ(zowlpRowSet_getColumns(rowSet.get()), 5);
  EXPECT_EQ(std::string(zowlpRowSet_columnTypes(rowSet.get())), columns);
  EXPECT_EQ(zowlpRowSet_getRows(rowSet.get()), 0);

  EXPECT_EQ(zojniProxyRowSetCreate(proxy(), "\x0b\x63"), nullptr)
      << "a column of an unknown type";
}

// ---- Life cycle and load ----------------------------------------------------------

TEST_F(BridgeContract, DestroyingOneProxyLeavesTheOthers) {
  zojniProxyDestroy(nullptr);
  zojniProxy* second = nullptr;
  ASSERT_EQ(create(&second), ZOJNI_OK);
  ASSERT_NE(proxy(), nullptr);
  zojniProxyDestroy(second);

  Inputs inputs;
  inputs.string("still here");
  EXPECT_THAT(echo(inputs), ElementsAre(contract::stringValue("still here")));
}

TEST_F(BridgeContract, ManyCallsInARowStayCorrect) {
  for (int i = 0; i < 300; ++i) {
    Inputs inputs;
    inputs.integer(i).bytes(std::string(8192, static_cast<char>(i))).string(std::to_string(i));
    std::vector<Value> outputs = echo(inputs);
    ASSERT_EQ(outputs.size(), 3u) << "call " << i;
    ASSERT_EQ(outputs[0], contract::intValue(i));
    ASSERT_EQ(outputs[1], contract::bytesValue(std::string(8192, static_cast<char>(i))));
    ASSERT_EQ(outputs[2], contract::stringValue(std::to_string(i)));
  }
}

TEST_F(BridgeContract, CallsFromSeveralThreadsOnOneProxy) {
  zojniProxy* shared = proxy();
  ASSERT_NE(shared, nullptr);
  constexpr int kThreads = 4;
  constexpr int kCalls = 50;
  std::vector<int> wrong(kThreads, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kCalls; ++i) {
        const std::string text = "thread " + std::to_string(t) + " call " + std::to_string(i);
        Inputs inputs;
        inputs.string(text).integer(t * 1000 + i);
        zowlpResponse* raw = nullptr;
        const int status = zojniProxyCall(shared, nullptr, contract::kProxyName, "Echo",
                                          inputs.signature().c_str(), inputs.count(),
                                          inputs.records(), &raw);
        ResponseOwner response(raw);
        int count = 0;
        zowlpParameter* records = nullptr;
        if (status != ZOJNI_OK ||
            zowlpResponse_parameters(response.get(), &count, &records) != WLP_OK ||
            count != 2 || text != records[0].value.string ||
            records[1].value.integer != t * 1000 + i) {
          ++wrong[t];
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(wrong, ::testing::Each(0));
}

// A caller may answer the options of all its creations from one buffer (the
// library does), so a bridge runs one creation at a time per process.
TEST_F(BridgeContract, CreationsFromSeveralThreadsNeverInterleaveTheirOptions) {
  constexpr int kCreations = 2;
  CreationOrder log;
  log.creations = kCreations;
  std::vector<std::unique_ptr<OptionAnswers>> answers;
  std::vector<std::unique_ptr<OrderedOptions>> records;
  for (int i = 0; i < kCreations; ++i) {
    answers.push_back(std::make_unique<OptionAnswers>(contract::kProxyName,
                                                      bridge_->proxyDirectory()));
    records.push_back(std::make_unique<OrderedOptions>(answers.back().get(), &log, i));
  }
  std::vector<ProxyOwner> made(kCreations);
  std::vector<int> status(kCreations, -1);
  std::vector<std::thread> threads;
  for (int i = 0; i < kCreations; ++i) {
    threads.emplace_back([&, i] {
      zojniProxy* proxy = nullptr;
      status[i] = zojniProxyCreate(contract::kJar, contract::kProxyName, contract::kClass,
                                   &records[i]->record, messages_.record(), &proxy);
      made[i].reset(proxy);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(status, ::testing::Each(ZOJNI_OK));
  int switches = 0;
  for (size_t i = 1; i < log.order.size(); ++i) switches += log.order[i] != log.order[i - 1];
  EXPECT_EQ(switches, kCreations - 1) << ::testing::PrintToString(log.order);
}

}  // namespace

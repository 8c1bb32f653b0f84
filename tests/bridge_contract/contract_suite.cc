// The bridge contract: what the library relies on from whichever bridge hosts
// its Java proxies. Runs against the bridge the test program links.
#include "contract_suite.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <climits>
#include <cstring>
#include <condition_variable>
#include <mutex>
#include <thread>

#include "contract_harness.h"

namespace {

using contract::PollScript;
using contract::ProxyOwner;
using contract::ResponseOwner;
using contract::RowSetOwner;
using ::testing::ElementsAre;

using V = ScriptedValue;
using Table = std::vector<std::vector<std::optional<std::string>>>;

// `wanted` appears in `all` in this order, possibly with others between.
bool inOrder(const std::vector<std::string>& all, const std::vector<std::string>& wanted) {
  std::size_t next = 0;
  for (const std::string& name : all) {
    if (next < wanted.size() && name == wanted[next]) ++next;
  }
  return next == wanted.size();
}

class BridgeContract : public ::testing::Test {
 protected:
  void SetUp() override {
    bridge_ = makeContractBridge();
    bridge_->setUp();
  }

  // A creation with the test's callbacks that leaves the outcome to the test.
  int createRaw(zojniProxy** out, const char* jar = contract::kJar,
                const char* className = contract::kClass) {
    return zojniProxyCreate(jar, contract::kProxyName, className, creation_.options.record(),
                            creation_.messages.record(), out);
  }

  // The test's contract proxy, created on first use.
  zojniProxy* proxy() {
    if (!creation_.proxy) {
      EXPECT_EQ(creation_.create(), ZOJNI_OK) << "creating the contract proxy";
    }
    return creation_.proxy.get();
  }

  int call(const char* method, const std::string& signature, WireRecords& inputs,
           ResponseOwner* response, ZoJniPollRecord* poll = nullptr,
           zojniProxy* through = nullptr) {
    return contract::call(through ? through : proxy(), method, signature, inputs, response, poll);
  }

  // Calls with these inputs; the outputs, or nothing when the call failed.
  std::vector<ScriptedValue> outputsOf(const char* method, const std::string& signature,
                                       std::vector<ScriptedValue> values,
                                       ZoJniPollRecord* poll = nullptr,
                                       zojniProxy* through = nullptr) {
    WireRecords inputs(std::move(values));
    ResponseOwner response;
    EXPECT_EQ(call(method, signature, inputs, &response, poll, through), ZOJNI_OK) << method;
    return response ? contract::readOutputs(response.get()) : std::vector<ScriptedValue>{};
  }

  // Echoes the inputs with their own types as the signature.
  std::vector<ScriptedValue> echo(std::vector<ScriptedValue> values,
                                  zojniProxy* through = nullptr) {
    std::string signature;
    for (const ScriptedValue& value : values) signature += static_cast<char>(value.type);
    return outputsOf("Echo", signature, std::move(values), nullptr, through);
  }

  std::unique_ptr<ContractBridge> bridge_;
  contract::Creation creation_;
};

// ---- Creation ------------------------------------------------------------------

TEST_F(BridgeContract, CreationAsksOptionsAndPassesMessagesOn) {
  creation_.options.set(contract::kWarnOption, "careful");
  ASSERT_EQ(creation_.create(), ZOJNI_OK);
  ASSERT_NE(creation_.proxy, nullptr);

  EXPECT_TRUE(inOrder(creation_.options.asked(),
                      {"JAVA_PROXY/DIRECTORY", "JAVA_PROXY/HAS_GETVERSION", contract::kFailOption}))
      << ::testing::PrintToString(creation_.options.asked());
  EXPECT_TRUE(creation_.options.directoryGiven());
  EXPECT_NE(creation_.messages.text(0).find(contract::kReadyMessage), std::string::npos);
  EXPECT_EQ(creation_.messages.text(1), "careful\n");
  EXPECT_EQ(creation_.messages.text(2), "");
}

TEST_F(BridgeContract, CreationFailuresSayWhy) {
  creation_.options.set(contract::kFailOption, "disk \xc3\xbc on fire");
  zojniProxy* made = reinterpret_cast<zojniProxy*>(0x1);
  EXPECT_NE(createRaw(&made), ZOJNI_OK);
  EXPECT_EQ(made, nullptr);
  EXPECT_NE(creation_.messages.text(2).find("disk \xc3\xbc on fire"), std::string::npos);
  EXPECT_EQ(creation_.messages.text(0).find(contract::kReadyMessage), std::string::npos);

  contract::Creation unknownClass;
  EXPECT_NE(unknownClass.create("com.zorvanta.proxy.test.NoSuchJPC"), ZOJNI_OK);
  EXPECT_EQ(unknownClass.proxy, nullptr);
  EXPECT_NE(unknownClass.messages.text(2), "") << "the messages say why creation failed";
}

TEST_F(BridgeContract, CreationAndCallRefuseNullArguments) {
  zojniProxy* made = nullptr;
  EXPECT_EQ(createRaw(&made, nullptr), ZOJNI_ERR_ARGUMENT);
  EXPECT_EQ(createRaw(&made, contract::kJar, nullptr), ZOJNI_ERR_ARGUMENT);
  EXPECT_EQ(made, nullptr);
  EXPECT_EQ(createRaw(nullptr), ZOJNI_ERR_ARGUMENT);
  WireRecords inputs({V::ofInt(1)});
  ResponseOwner owned;
  EXPECT_EQ(contract::call(nullptr, "Echo", "\x06", inputs, &owned), ZOJNI_ERR_ARGUMENT);
  EXPECT_EQ(contract::call(proxy(), nullptr, "\x06", inputs, &owned), ZOJNI_ERR_ARGUMENT);
  EXPECT_EQ(owned, nullptr);
  zowlpResponse* response = nullptr;
  EXPECT_EQ(zojniProxyCall(proxy(), nullptr, contract::kProxyName, "Echo", "\x06", 1, nullptr,
                           &response),
            ZOJNI_ERR_ARGUMENT);
  EXPECT_EQ(response, nullptr);
}

TEST_F(BridgeContract, DerivedProxyAnswersAndEitherCanBeDestroyedFirst) {
  zojniProxy* derived = nullptr;
  contract::Creation callbacks;
  ASSERT_EQ(zojniProxyCreateFromProxy(proxy(), contract::kJar, contract::kProxyName,
                                      contract::kClass, callbacks.options.record(),
                                      callbacks.messages.record(), &derived),
            ZOJNI_OK);
  ProxyOwner derivedOwner(derived);
  ASSERT_NE(derived, nullptr);
  EXPECT_NE(derived, proxy());
  EXPECT_TRUE(inOrder(callbacks.options.asked(), {"JAVA_PROXY/DIRECTORY"}));
  EXPECT_THAT(echo({V::ofString("through the derived proxy")}, derived),
              ElementsAre(V::ofString("through the derived proxy")));

  derivedOwner.reset();
  zojniProxyDestroy(nullptr);
  EXPECT_THAT(echo({V::ofInt(7)}), ElementsAre(V::ofInt(7)));
}

// ---- Values ------------------------------------------------------------------------

TEST_F(BridgeContract, EchoReturnsEveryTypeInOrderWithNullsAndEmptiesApart) {
  const std::vector<ScriptedValue> values = {
      V::ofBytes(std::string("\x00\x01\xff\x7f\x80 end", 9)), V::ofBool(true), V::ofBool(false),
      V::ofInt(INT32_MIN), V::ofInt(INT32_MAX), V::ofInt(0), V::ofObject(0x123456789ALL),
      V::ofObject(-2), V::ofString("plain text"), V::ofString(""), V::ofBytes(""),
      V::ofNull(WLP_TYPE_BYTES), V::ofNull(WLP_TYPE_BOOL), V::ofNull(WLP_TYPE_INT),
      V::ofNull(WLP_TYPE_OBJECT), V::ofNull(WLP_TYPE_STRING), V::ofNull(WLP_TYPE_ROWSET)};
  EXPECT_EQ(echo(values), values);
}

// Java holds text as UTF-16: characters outside the basic plane take four
// bytes in UTF-8 and a surrogate pair there, and must arrive as one character
// and come back as the same four bytes.
TEST_F(BridgeContract, TextCrossesAsUtf8BothWays) {
  const std::vector<std::pair<std::string, int>> texts = {
      {"Gr\xc3\xbc\xc3\x9f" "e, \xce\x95\xce\xbb\xce\xbb\xce\xac\xce\xb4\xce\xb1", 13},
      {"\xf0\x9f\x98\x80 \xf0\x9d\x84\x9e \xf0\xa0\x9c\x8e", 5},
      {"\xe4\xb8\xad\xe6\x96\x87", 2},
      {"", 0}};
  for (const auto& text : texts) {
    EXPECT_THAT(echo({V::ofString(text.first)}), ElementsAre(V::ofString(text.first)));
    EXPECT_THAT(outputsOf("CodePoints", "\x06", {V::ofString(text.first)}),
                ElementsAre(V::ofInt(text.second)))
        << text.first;
  }
}

TEST_F(BridgeContract, EchoCopiesRowSetsRowByRowAndLeavesTheInputAsItWas) {
  const Table rows = {{"a", "1"}, {"\xc3\xbc\xf0\x9f\x98\x80", std::nullopt}, {"", "x"}};
  const ScriptedValue typed = V::ofRows(
      "\x01\x02\x06\x07\x0b",
      {{V::ofBytes(std::string("b\0c", 3)), V::ofBool(true), V::ofInt(-7), V::ofObject(1LL << 40),
        V::ofString("s")},
       {V::ofNull(1), V::ofBool(false), V::ofInt(1 << 30), V::ofNull(7), V::ofNull(11)}});
  WireRecords inputs({V::ofStringRows(rows), V::ofStringRows({}, 1), typed});
  ResponseOwner response;
  ASSERT_EQ(call("Echo", inputs.signature(), inputs, &response), ZOJNI_OK);
  EXPECT_EQ(contract::readOutputs(response.get()), inputs.values());
  // The library reads nothing back from its inputs, but the cursor is the
  // caller's: a bridge reads rows without moving it.
  ScriptedValue input;
  ASSERT_EQ(copyRecord(inputs[0], &input, RowRead::kThroughCursor), ZOJNI_OK);
  EXPECT_EQ(input, V::ofStringRows(rows));
}

TEST_F(BridgeContract, OutputsAreCopiesThatOutliveTheInputs) {
  auto inputs = std::make_unique<WireRecords>(
      std::vector<ScriptedValue>{V::ofString("kept by the response"),
                                 V::ofBytes(std::string(4096, 'b'))});
  ResponseOwner response;
  ASSERT_EQ(call("Echo", inputs->signature(), *inputs, &response), ZOJNI_OK);
  inputs.reset();
  EXPECT_THAT(contract::readOutputs(response.get()),
              ElementsAre(V::ofString("kept by the response"), V::ofBytes(std::string(4096, 'b'))));
}

// ---- Refusals ------------------------------------------------------------------------

TEST_F(BridgeContract, MalformedInputRecordsAreRefusedBeforeTheMethodRuns) {
  const char text[] = "abc";
  struct Case {
    const char* what;
    ScriptedValue value;
    void (*spoil)(zowlpParameter*, const char*);
    int status;
  };
  const std::vector<Case> cases = {
      {"unknown type", V::ofNull(99), [](zowlpParameter* r, const char*) { r->present = 1; },
       ZOJNI_ERR_INPUT_TYPE},
      {"string without text", V::ofString(""),
       [](zowlpParameter* r, const char*) { r->value.string = nullptr; }, ZOJNI_ERR_ARGUMENT},
      {"string longer than said", V::ofString(""),
       [](zowlpParameter* r, const char* t) { r->value.string = t, r->length = 2; },
       ZOJNI_ERR_ARGUMENT},
      {"string shorter than said", V::ofString(""),
       [](zowlpParameter* r, const char* t) { r->value.string = t, r->length = 5; },
       ZOJNI_ERR_ARGUMENT},
      {"bytes without data", V::ofBytes(""),
       [](zowlpParameter* r, const char*) { r->value.bytes = nullptr, r->length = 3; },
       ZOJNI_ERR_ARGUMENT},
      {"bytes of negative length", V::ofBytes("x"),
       [](zowlpParameter* r, const char*) { r->length = -1; }, ZOJNI_ERR_ARGUMENT},
      {"row set without rows", V::ofNull(WLP_TYPE_ROWSET),
       [](zowlpParameter* r, const char*) { r->present = 1; }, ZOJNI_ERR_ARGUMENT},
  };
  for (const Case& c : cases) {
    WireRecords inputs({V::ofInt(1), c.value});
    c.spoil(&inputs[1], text);
    ResponseOwner response;
    EXPECT_EQ(call("Echo", "\x06", inputs, &response), c.status) << c.what;
    EXPECT_EQ(response, nullptr) << c.what;
  }
  EXPECT_THAT(echo({V::ofString("still answering")}), ElementsAre(V::ofString("still answering")));
}

TEST_F(BridgeContract, SignaturesOutputsAndMethodsThatDisagreeAreRefused) {
  WireRecords inputs({V::ofInt(5)});
  ResponseOwner response;
  EXPECT_EQ(call("Echo", "\x0b", inputs, &response), ZOJNI_ERR_OUTPUT_TYPE)
      << "the method gave an int where the caller wants a string";
  EXPECT_EQ(response, nullptr);
  EXPECT_EQ(call("Echo", "\x06\x63", inputs, &response), ZOJNI_ERR_ARGUMENT)
      << "a signature code that no bridge knows is the caller's fault";
  EXPECT_EQ(response, nullptr);
  EXPECT_EQ(call("NoSuchMethod", "", inputs, &response), ZOJNI_ERR_NO_METHOD);
  EXPECT_EQ(response, nullptr);
  zowlpResponse* none = reinterpret_cast<zowlpResponse*>(0x1);
  EXPECT_EQ(zojniProxyCall(proxy(), nullptr, contract::kProxyName, "Echo", "", inputs.count(),
                           inputs.data(), &none),
            ZOJNI_OK);
  EXPECT_EQ(none, nullptr) << "an empty signature gives no response, whatever the method returned";
}

// ---- Errors ----------------------------------------------------------------------

TEST_F(BridgeContract, JavaFailureCarriesCodeAndText) {
  WireRecords inputs({V::ofString("boom \xe2\x82\xac")});
  ResponseOwner response;
  ASSERT_EQ(call("Fail", "", inputs, &response), ZOJNI_ERR_JAVA);
  ASSERT_NE(response, nullptr);
  int code = 0;
  ASSERT_EQ(zowlpError_code(response.get(), &code), WLP_OK);
  EXPECT_EQ(code, contract::kFailCode);
  const std::string text = contract::errorText(response.get());
  EXPECT_EQ(text, std::string(contract::kFailPrefix) + "boom \xe2\x82\xac");
  EXPECT_EQ(text.size(), std::strlen(text.c_str())) << "NUL-terminated at its length";
}

// ---- Polling -------------------------------------------------------------------

// A poll answered zero stops the method; without a record there is no poll.
TEST_F(BridgeContract, PollCallsBackOnTheCallingThreadUntilToldToStop) {
  PollScript poll;
  EXPECT_THAT(outputsOf("Poll", "\x06\x02", {V::ofInt(4)}, poll.record()),
              ElementsAre(V::ofInt(4), V::ofBool(false)));
  EXPECT_THAT(poll.seen(),
              ElementsAre("1/4 contract", "2/4 contract", "3/4 contract", "4/4 contract"));
  PollScript stopping(3);
  EXPECT_THAT(outputsOf("Poll", "\x06\x02", {V::ofInt(10)}, stopping.record()),
              ElementsAre(V::ofInt(3), V::ofBool(true)));
  EXPECT_EQ(stopping.seen().size(), 3u);
  EXPECT_THAT(outputsOf("Poll", "\x06\x02", {V::ofInt(5)}),
              ElementsAre(V::ofInt(0), V::ofBool(false)));
}

// ---- Row sets --------------------------------------------------------------------

TEST_F(BridgeContract, RowsComeBackWithTheirNullCells) {
  EXPECT_THAT(outputsOf("Rows", "\x0a", {V::ofInt(3)}),
              ElementsAre(V::ofStringRows(
                  {{"key0", "value0"}, {"key1", std::nullopt}, {"key2", "value2"}})));
  EXPECT_THAT(outputsOf("Rows", "\x0a", {V::ofInt(0)}), ElementsAre(V::ofStringRows({}, 2)));
}

TEST_F(BridgeContract, RowSetCreationKeepsColumnTypes) {
  const std::string columns = "\x0b\x06\x02\x01\x07";
  RowSetOwner rowSet(zojniProxyRowSetCreate(proxy(), columns.c_str()));
  ASSERT_NE(rowSet, nullptr);
  EXPECT_EQ(zowlpRowSet_getColumns(rowSet.get()), 5);
  EXPECT_EQ(std::string(zowlpRowSet_columnTypes(rowSet.get())), columns);
  EXPECT_EQ(zowlpRowSet_getRows(rowSet.get()), 0);

  EXPECT_EQ(zojniProxyRowSetCreate(proxy(), "\x0b\x63"), nullptr) << "an unknown type";
  EXPECT_EQ(zojniProxyRowSetCreate(proxy(), "\x0b\x0a"), nullptr) << "a nested row set";
}

// ---- Life cycle and load ----------------------------------------------------------

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
        WireRecords inputs({V::ofString("thread " + std::to_string(t) + " call " + std::to_string(i)),
                            V::ofInt(t * 1000 + i)});
        ResponseOwner response;
        const int status = contract::call(shared, "Echo", inputs.signature(), inputs, &response);
        // Compared by hand: GoogleTest's assertions are not for other threads.
        int count = 0;
        zowlpParameter* records = nullptr;
        ScriptedValue text, number;
        if (status != ZOJNI_OK ||
            zowlpResponse_parameters(response.get(), &count, &records) != WLP_OK || count != 2 ||
            copyRecord(records[0], &text) != ZOJNI_OK || text != inputs.values()[0] ||
            copyRecord(records[1], &number) != ZOJNI_OK || number != inputs.values()[1]) {
          ++wrong[t];
        }
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(wrong, ::testing::Each(0));
}

// A caller may answer the options of all its creations from one buffer (the
// library does), so a bridge runs one creation at a time per process. Each
// creation's first question waits a moment for the others to start, so that
// creations a bridge lets overlap do overlap.
TEST_F(BridgeContract, CreationsFromSeveralThreadsNeverInterleaveTheirOptions) {
  constexpr int kCreations = 2;
  std::mutex mutex;
  std::condition_variable arrived;
  int started = 0;
  std::vector<int> order;
  std::vector<std::unique_ptr<contract::Creation>> creations;
  for (int i = 0; i < kCreations; ++i) {
    creations.push_back(std::make_unique<contract::Creation>());
    creations.back()->options.onAsk([&, i, first = true]() mutable {
      std::unique_lock<std::mutex> lock(mutex);
      order.push_back(i);
      if (std::exchange(first, false)) {
        ++started;
        arrived.notify_all();
        arrived.wait_for(lock, std::chrono::milliseconds(300),
                         [&] { return started == kCreations; });
      }
    });
  }
  std::vector<int> status(kCreations, -1);
  std::vector<std::thread> threads;
  for (int i = 0; i < kCreations; ++i) {
    threads.emplace_back([&, i] { status[i] = creations[i]->create(); });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_THAT(status, ::testing::Each(ZOJNI_OK));
  int switches = 0;
  for (size_t i = 1; i < order.size(); ++i) switches += order[i] != order[i - 1];
  EXPECT_EQ(switches, kCreations - 1) << ::testing::PrintToString(order);
}

}  // namespace

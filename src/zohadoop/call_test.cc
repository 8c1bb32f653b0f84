// The call path: error texts, response ownership, polling and calls that run
// beside each other. Text rows are joined as the job texts show.
#include <chrono>
#include <future>
#include <memory>
#include <thread>

#include "zohadoop/core_test_support.h"

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;

namespace {

using ResponseOwner = std::unique_ptr<zowlpResponse, ZowlpResponseDeleter>;

class CallTest : public LibraryTest {
 protected:
  bool call(const char* method, zowlpResponse** response, ZobString* err,
            HadoopPollStatus* poll = nullptr, const char* signature = JAVA_PROXY_EMPTY_SIG) {
    return hadoop_->callWrapper(poll, "HadoopClient", method, signature, 0, nullptr, response, err);
  }
};

class RecordingPoll : public HadoopPollStatus {
 public:
  int pollInterval() override { return 250; }
  bool poll(int64_t done, int64_t total, const char* phase) override {
    seen.push_back(std::to_string(done) + "/" + std::to_string(total) + " " +
                   (phase ? phase : "(null)"));
    return done < 10;
  }
  std::vector<std::string> seen;
};

// The first call acquires the proxy; a null proxy (what the Pig path would
// pass before its own exists) is refused by the bridge only after the main
// proxy was made.
TEST_F(CallTest, FirstCallAcquiresTheProxyAndReturnsTheOutputs) {
  bridge().answer("HDFSExists", ScriptedAnswer::outputs({V::ofBool(true)}));
  zowlpResponse* response = reinterpret_cast<zowlpResponse*>(0x1);
  ASSERT_TRUE(call("HDFSExists", &response, &err_, nullptr, HADOOP_HDFS_EXISTS_SIG_OUT));
  ResponseOwner owned(response);
  int count = 0;
  zowlpParameter* outputs = nullptr;
  ASSERT_EQ(zowlpResponse_parameters(response, &count, &outputs), 0);
  EXPECT_EQ(outputs[0].value.boolean, 1);
  EXPECT_FALSE(hadoop_->callWrapper(nullptr, nullptr, "HadoopPigClient", "Wait",
                                    JAVA_PROXY_EMPTY_SIG, 0, nullptr, &response, &err_));
  EXPECT_TRUE(isMessage(err_, 1726)) << err_.str();
  EXPECT_THAT(bridge().eventLog(),
              ElementsAre("create HadoopClient", "call HDFSExists", "call Wait"));
}

TEST_F(CallTest, FailedCallsBecomeCatalogueTexts) {
  bridge().answerSequence("Work", {ScriptedAnswer::javaError(42, "it broke"),
                                   ScriptedAnswer::status(ZOJNI_ERR_NO_METHOD),
                                   ScriptedAnswer::javaError(43, "kept")});
  zowlpResponse* response = nullptr;

  EXPECT_FALSE(call("Work", &response, &err_));
  EXPECT_EQ(response, nullptr);
  EXPECT_TRUE(isMessage(err_, 1725)) << err_.str();
  EXPECT_THAT(err_.str(), AllOf(HasSubstr("Work"), HasSubstr("42"), HasSubstr("it broke")));

  EXPECT_FALSE(call("Work", &response, &err_));
  EXPECT_TRUE(isMessage(err_, 1726)) << err_.str();
  EXPECT_THAT(err_.str(), AllOf(HasSubstr("Work"), HasSubstr("3")));

  // Without an error argument the response is the caller's to destroy.
  EXPECT_FALSE(call("Work", &response, nullptr));
  ASSERT_NE(response, nullptr);
  int code = 0;
  EXPECT_EQ(zowlpError_code(response, &code), 0);
  EXPECT_EQ(code, 43);
  zowlpResponse_destroy(response);
}

TEST_F(CallTest, PollStatusTravelsWithTheCallAndAnswersAsZeroOrOne) {
  std::vector<int> answers;
  bridge().handle("Run", [&answers](ScriptedCallContext& run) {
    answers = {run.poll(1, 100, "map"), run.poll(50, -1, nullptr)};
    return ScriptedAnswer::outputs({});
  });
  RecordingPoll poll;
  zowlpResponse* response = nullptr;
  ASSERT_TRUE(call("Run", &response, &err_, &poll));
  ResponseOwner owned(response);
  EXPECT_THAT(poll.seen, ElementsAre("1/100 map", "50/-1 (null)"));
  ScriptedCall made = bridge().lastCallTo("Run");
  EXPECT_TRUE(made.pollGiven);
  EXPECT_EQ(made.pollValue, 250);
  EXPECT_THAT(answers, ElementsAre(1, 0));

  // No poll status: no record, and no poll is made.
  ASSERT_TRUE(call("Run", &response, &err_));
  ResponseOwner second(response);
  made = bridge().lastCallTo("Run");
  EXPECT_FALSE(made.pollGiven);
  EXPECT_THAT(answers, ElementsAre(-1, -1));
}

// A call blocked inside the bridge must not hold the instance lock: another
// thread's call on the same instance completes meanwhile.
TEST_F(CallTest, CallHeldInTheBridgeDoesNotBlockAnotherCall) {
  std::shared_ptr<ScriptedGate> gate = bridge().gate("Slow");
  auto callOnce = [this](const char* method) {
    zowlpResponse* response = nullptr;
    ZobString err;
    const bool ok = call(method, &response, &err);
    if (response) zowlpResponse_destroy(response);
    return ok;
  };
  std::future<bool> slow = std::async(std::launch::async, callOnce, "Slow");
  const bool slowInside = gate->waitInside(1, std::chrono::seconds(10));
  EXPECT_TRUE(slowInside);

  // Waited for with a timeout, so that a call wrongly queued behind the slow one
  // fails the test instead of hanging it.
  std::future<bool> fast = std::async(std::launch::async, callOnce, "Fast");
  const bool fastFinished =
      slowInside && fast.wait_for(std::chrono::seconds(10)) == std::future_status::ready;
  EXPECT_TRUE(fastFinished) << "a call waited for another call on the same instance";
  if (fastFinished) {
    EXPECT_EQ(bridge().callsTo("Slow").at(0).status, -1);  // still inside the bridge
    EXPECT_EQ(bridge().lastCallTo("Fast").status, 0);
  }

  gate->release();
  EXPECT_TRUE(fast.get());
  EXPECT_TRUE(slow.get());
  EXPECT_EQ(bridge().creations().size(), 1u);
}

}  // namespace

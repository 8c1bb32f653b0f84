// The scripted bridge's own concurrency: what the contract suite and the
// library's tests take for granted when they hold calls at a gate. The rest of
// its behaviour is pinned by the contract suite, which runs against it.
#include "scripted_bridge.h"

#include <gtest/gtest.h>

#include <thread>

namespace {

class ScriptedBridgeTest : public ::testing::Test {
 protected:
  void SetUp() override {
    bridge_.reset();
    ASSERT_EQ(zojniProxyCreate("x.jar", "HadoopClient", "X", nullptr, nullptr, &proxy_), ZOJNI_OK);
  }
  void TearDown() override {
    zojniProxyDestroy(proxy_);
    EXPECT_EQ(zowlpTestLiveObjects(), 0) << "responses or row sets leaked";
  }

  void slowCall() {
    zowlpResponse* response = nullptr;
    EXPECT_EQ(zojniProxyCall(proxy_, nullptr, "HadoopClient", "Slow", "\x06", 0, nullptr,
                             &response),
              ZOJNI_OK);
    zowlpResponse_destroy(response);
  }

  ScriptedBridge& bridge_ = ScriptedBridge::instance();
  zojniProxy* proxy_ = nullptr;
};

TEST_F(ScriptedBridgeTest, GateHoldsCallsFromTwoThreadsAtOnce) {
  std::shared_ptr<ScriptedGate> gate = bridge_.gate("Slow");
  std::thread first([this] { slowCall(); });
  std::thread second([this] { slowCall(); });
  EXPECT_TRUE(gate->waitInside(2, std::chrono::seconds(10)));
  EXPECT_EQ(bridge_.callCount("Slow"), 2);
  EXPECT_EQ(bridge_.calls()[0].status, -1) << "still running";
  gate->release();
  first.join();
  second.join();
  for (const ScriptedCall& call : bridge_.calls()) EXPECT_EQ(call.status, ZOJNI_OK);
}

TEST_F(ScriptedBridgeTest, ResetReleasesAClosedGateAndForgetsTheCallsBeforeIt) {
  std::shared_ptr<ScriptedGate> gate = bridge_.gate("Slow");
  std::thread caller([this] { slowCall(); });
  ASSERT_TRUE(gate->waitInside(1, std::chrono::seconds(10)));
  bridge_.reset();
  caller.join();
  EXPECT_TRUE(bridge_.calls().empty());
}

}  // namespace

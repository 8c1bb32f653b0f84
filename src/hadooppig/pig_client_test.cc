// The life of a Pig client: its own proxy, stop, clear and the way it ends.
#include "ZOHadoopPig.h"
#include "hadoopmr/job_test_support.h"
#include "hadooppig/ZOHadoopPigImpl.h"

using ::testing::Contains;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;

namespace {

class PigClientTest : public JobTest {
 protected:
  void SetUp() override {
    JobTest::SetUp();
    bridge().answer("RunCommands",
                    ScriptedAnswer::outputs({ScriptedValue::ofObject(900)}));
    bridge().answer("Wait", waitAnswer(true, {}));
  }

  ZOHadoopPig* makePig(ZOHadoopCfg* cfg = nullptr, const char* directory = "") {
    ZobString err("untouched");
    ZOHadoopPig* pig = hadoop_->createPig(cfg, directory, &err);
    EXPECT_NE(pig, nullptr) << err.str();
    EXPECT_TRUE(err.isNull());
    return pig;
  }
};

TEST_F(PigClientTest, ProxyDirectoryComesFromArgumentThenPropertyThenDefault) {
  // Nothing here acquires the main proxy, and an instance without one drops its
  // children unended: each client is released by hand.
  makePig(nullptr, "")->release();
  ZobString err;
  ASSERT_TRUE(hadoop_->setProperty("pig_java_proxy_dir_name", "/from/property", &err));
  makePig(nullptr, "")->release();
  makePig(nullptr, "/again/argument")->release();

  std::vector<std::string> directories;
  for (const ScriptedCreation& creation : bridge().creations()) {
    EXPECT_EQ(creation.className, "com.zorvanta.proxy.pig.HadoopPigClientJPC");
    EXPECT_TRUE(creation.fromProxy);
    directories.push_back(creation.optionDirectory);
  }
  EXPECT_THAT(directories, ElementsAre("pig", "/from/property", "/again/argument"));

  // Once there is a main proxy, a client's hangs off it.
  ASSERT_TRUE(hadoop_->getProxy("", &err));
  makePig()->release();
  const std::vector<ScriptedCreation> made = bridge().creations();
  ASSERT_EQ(made.size(), 5u);
  EXPECT_EQ(made[4].baseId, made[3].proxyId);
}

TEST_F(PigClientTest, FailedProxyLeavesNoClientBehind) {
  bridge().onCreate("HadoopPigClient", ScriptedCreateScript::failing(
                                           ZOJNI_ERR_CREATE, {{2, "pig jar not found"}}));
  ZobString err;
  EXPECT_EQ(hadoop_->createPig(nullptr, "", &err), nullptr);
  EXPECT_THAT(err.str(), HasSubstr("pig jar not found"));
  EXPECT_THAT(bridge().calls(), IsEmpty());
  EXPECT_THAT(bridge().eventLog(), Not(Contains(StartsWith("destroy"))));
}

TEST_F(PigClientTest, ClearReleasesTheRunOnceAndForgetsIt) {
  ZOHadoopPig* pig = makePig();
  ZobString err;
  pig->clear();
  EXPECT_THAT(bridge().calls(), IsEmpty());
  // Stop asks the Java side even before any run, with no run handle.
  ASSERT_TRUE(pig->stop(nullptr, &err)) << err.str();
  EXPECT_EQ(bridge().lastCallTo("Stop")->proxyName, "HadoopPigClient");
  EXPECT_EQ(bridge().lastCallTo("Stop")->inputs.at(0), ScriptedValue::ofObject(0));

  pig->setParameter("p", "v", &err);
  pig->registerJar("udf.jar", &err);
  ASSERT_TRUE(pig->runCommands(nullptr, nullptr, "x", nullptr, &err)) << err.str();
  // A failed release still forgets the run.
  bridge().answer("Release", ScriptedAnswer::javaError(4, "run unknown"));
  pig->clear();
  EXPECT_EQ(bridge().lastCallTo("Release")->inputs.at(0), ScriptedValue::ofObject(900));

  pig->clear();
  EXPECT_EQ(bridge().callCount("Release"), 1);
  ASSERT_TRUE(pig->stop(nullptr, &err)) << err.str();
  EXPECT_EQ(bridge().lastCallTo("Stop")->inputs.at(0), ScriptedValue::ofObject(0));
  EXPECT_EQ(bridge().callCount("Stop"), 2);

  // Jars and parameters went with the clear.
  ASSERT_TRUE(pig->runCommands(nullptr, nullptr, "x", nullptr, &err)) << err.str();
  const ScriptedCall run = *bridge().lastCallTo("RunCommands");
  EXPECT_EQ(run.inputs.at(2), ScriptedValue::ofNull(WLP_TYPE_ROWSET));
  EXPECT_EQ(run.inputs.at(3), ScriptedValue::ofNull(WLP_TYPE_ROWSET));
}

TEST_F(PigClientTest, EndingReleasesTheRunThenItsOwnProxy) {
  ZOHadoopPig* before = makePig();
  ZOHadoopPig* after = makePig();
  before->release();
  ZobString err;
  ASSERT_TRUE(after->runCommands(nullptr, nullptr, "x", nullptr, &err)) << err.str();
  hadoop_.reset();

  EXPECT_THAT(bridge().eventLog(),
              ElementsAre("create HadoopPigClient", "create HadoopPigClient",
                          "destroy HadoopPigClient", "create HadoopClient",
                          "call RunCommands", "call Wait", "call Release",
                          "destroy HadoopPigClient", "destroy HadoopClient"));
}

}  // namespace

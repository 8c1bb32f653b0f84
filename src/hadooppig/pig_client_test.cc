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

  static std::optional<ScriptedCreation> pigCreation() {
    for (const ScriptedCreation& creation : bridge().creations()) {
      if (creation.proxyName == "HadoopPigClient") return creation;
    }
    return std::nullopt;
  }
};

TEST_F(PigClientTest, ProxyDirectoryComesFromArgumentThenPropertyThenDefault) {
  // Nothing here acquires the main proxy, and an instance without one drops its
  // children unended: each client is released by hand.
  makePig(nullptr, "/opt/pig-proxy")->release();
  ZobString err;
  ASSERT_TRUE(hadoop_->setProperty("pig_java_proxy_dir_name", "/from/property", &err));
  makePig(nullptr, "")->release();
  makePig(nullptr, "/again/argument")->release();

  std::vector<std::string> directories;
  for (const ScriptedCreation& creation : bridge().creations()) {
    EXPECT_EQ(creation.proxyName, "HadoopPigClient");
    EXPECT_EQ(creation.jar, "zox-proxy-pig.jar");
    EXPECT_EQ(creation.className, "com.zorvanta.proxy.pig.HadoopPigClientJPC");
    EXPECT_TRUE(creation.fromProxy);
    directories.push_back(creation.optionDirectory);
  }
  EXPECT_THAT(directories,
              ElementsAre("/opt/pig-proxy", "/from/property", "/again/argument"));

  // Without the property the last word is "pig".
  InstanceOwner other = makeInstance();
  bridge().reset();
  ZOHadoopPig* pig = other->createPig(nullptr, "", &err);
  ASSERT_NE(pig, nullptr) << err.str();
  EXPECT_EQ(pigCreation()->optionDirectory, "pig");
  pig->release();
}

TEST_F(PigClientTest, FailedProxyLeavesNoClientBehind) {
  bridge().onCreate("HadoopPigClient", ScriptedCreateScript::failing(
                                           ZOJNI_ERR_CREATE, {{2, "pig jar not found"}}));
  ZobString err;
  EXPECT_EQ(hadoop_->createPig(nullptr, "", &err), nullptr);
  EXPECT_THAT(err.str(), HasSubstr("pig jar not found"));
  std::vector<std::string> lines = log_.of("ZO.Hadoop.Pig");
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_THAT(lines[1], StartsWith("2 Destroying Hadoop Pig instance"));
  EXPECT_THAT(bridge().calls(), IsEmpty());
  EXPECT_THAT(bridge().eventLog(), Not(Contains(StartsWith("destroy"))));
}

TEST_F(PigClientTest, StopAsksTheProxyEvenBeforeAnyRun) {
  ZOHadoopPig* pig = makePig();
  FixedPoll poll;
  ZobString err;
  ASSERT_TRUE(pig->stop(&poll, &err)) << err.str();
  const ScriptedCall stop = *bridge().lastCallTo("Stop");
  EXPECT_EQ(stop.proxyName, "HadoopPigClient");
  EXPECT_EQ(stop.proxyId, pigCreation()->proxyId);
  ASSERT_EQ(stop.count, 1);
  EXPECT_EQ(stop.inputs[0], ScriptedValue::ofObject(0));
  EXPECT_TRUE(stop.inputs[0].present);
  EXPECT_EQ(stop.pollValue, 250);

  bridge().answer("Stop", ScriptedAnswer::javaError(2, "nothing runs"));
  EXPECT_FALSE(pig->stop(nullptr, &err));
  EXPECT_THAT(err.str(), HasSubstr("nothing runs"));
}

TEST_F(PigClientTest, ClearReleasesTheRunOnceAndForgetsIt) {
  ZOHadoopPig* pig = makePig();
  ZobString err;
  pig->clear();
  EXPECT_THAT(bridge().calls(), IsEmpty());

  pig->setParameter("p", "v", &err);
  pig->registerJar("udf.jar", &err);
  ASSERT_TRUE(pig->runCommands(nullptr, nullptr, "x", nullptr, &err)) << err.str();
  pig->clear();
  const ScriptedCall release = *bridge().lastCallTo("Release");
  EXPECT_EQ(release.inputs.at(0), ScriptedValue::ofObject(900));
  EXPECT_FALSE(release.pollGiven);

  pig->clear();
  EXPECT_EQ(bridge().callCount("Release"), 1);
  ASSERT_TRUE(pig->stop(nullptr, &err)) << err.str();
  EXPECT_EQ(bridge().lastCallTo("Stop")->inputs.at(0), ScriptedValue::ofObject(0));

  // Jars and parameters went with the clear.
  ASSERT_TRUE(pig->runCommands(nullptr, nullptr, "x", nullptr, &err)) << err.str();
  const ScriptedCall run = *bridge().lastCallTo("RunCommands");
  EXPECT_EQ(run.inputs.at(2), ScriptedValue::ofNull(WLP_TYPE_ROWSET));
  EXPECT_EQ(run.inputs.at(3), ScriptedValue::ofNull(WLP_TYPE_ROWSET));

  // A failed release is logged and the clear goes on.
  bridge().answer("Release", ScriptedAnswer::javaError(4, "run unknown"));
  pig->registerJar("udf.jar", &err);
  log_.clear();
  pig->clear();
  EXPECT_THAT(log_.of("ZO.Hadoop.Pig"), ElementsAre(StartsWith("3 [Hadoop Client 1725]")));
  ASSERT_TRUE(pig->runCommands(nullptr, nullptr, "x", nullptr, &err)) << err.str();
  EXPECT_EQ(bridge().lastCallTo("RunCommands")->inputs.at(3),
            ScriptedValue::ofNull(WLP_TYPE_ROWSET));
}

TEST_F(PigClientTest, EndingReleasesTheRunThenItsOwnProxy) {
  ZOHadoopPig* before = makePig();
  ZOHadoopPig* after = makePig();
  const std::string id = static_cast<ZOHadoopPigImpl*>(before)->id().str();
  before->release();
  ZobString err;
  ASSERT_TRUE(after->runCommands(nullptr, nullptr, "x", nullptr, &err)) << err.str();
  hadoop_.reset();

  EXPECT_THAT(bridge().eventLog(),
              ElementsAre("create HadoopPigClient", "create HadoopPigClient",
                          "destroy HadoopPigClient", "create HadoopClient",
                          "call RunCommands", "call Wait", "call Release",
                          "destroy HadoopPigClient", "destroy HadoopClient"));
  std::vector<std::string> lines = log_.of("ZO.Hadoop.Pig");
  EXPECT_THAT(lines, testing::Contains("2 Completed destruction of Hadoop Pig instance " +
                                       id + "."));
  EXPECT_THAT(lines, testing::Contains(
                         StartsWith("2 Pig instance " + id + " acquired proxy 0x")));
}

}  // namespace

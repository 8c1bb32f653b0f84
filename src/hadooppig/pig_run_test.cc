// A Pig client: its own proxy, what a run sends and how it reads the answers of
// "RunCommands" and "Wait", stop, clear and the way it ends.
#include <memory>

#include "ZOHadoopPig.h"
#include "hadooppig/ZOHadoopPigImpl.h"
#include "zob_options.h"
#include "zohadoop/core_test_support.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

constexpr int64_t kRun = 900;

using OptionsOwner = std::unique_ptr<ZobConfigOptions, ReleaseDeleter<ZobConfigOptions>>;

class PigTest : public JobTest {
 protected:
  void SetUp() override {
    JobTest::SetUp();
    bridge().answer("RunCommands", started(kRun, {"run started"}));
    bridge().answer("Wait", waitAnswer(true, {"Success!"}));
  }

  static ScriptedAnswer started(int64_t run, const std::vector<std::string>& lines) {
    return ScriptedAnswer::outputs({V::ofObject(run), rows(lines)});
  }

  ZOHadoopPig* makePig(ZOHadoopCfg* cfg = nullptr, const char* directory = "") {
    ZobString err("untouched");
    ZOHadoopPig* pig = hadoop_->createPig(cfg, directory, &err);
    EXPECT_NE(pig, nullptr) << err.str();
    EXPECT_TRUE(err.isNull());
    return pig;
  }

  static ScriptedCall lastRun() { return bridge().lastCallTo("RunCommands"); }
  static StringTable parametersSent() { return lastRun().inputs.at(2).stringTable(); }
};

TEST_F(PigTest, NothingToSendTravelsAsNullsAndTheConfigurationAndCommandsGoFirst) {
  ZOHadoopPig* pig = makePig();
  ASSERT_TRUE(pig->runCommands(nullptr, nullptr, "", nullptr, &err_)) << err_.str();

  const ScriptedCall run = lastRun();
  EXPECT_EQ(run.proxyName, "HadoopPigClient");
  EXPECT_THAT(run.inputs, ElementsAre(V::ofNull(WLP_TYPE_OBJECT), V::ofNull(WLP_TYPE_STRING),
                                      V::ofNull(WLP_TYPE_ROWSET), V::ofNull(WLP_TYPE_ROWSET)));
  EXPECT_THAT(bridge().eventLog(), ElementsAre("create HadoopPigClient", "create HadoopClient",
                                               "call RunCommands", "call Wait"));
  const ScriptedCall wait = bridge().lastCallTo("Wait");
  EXPECT_THAT(wait.inputs, ElementsAre(V::ofObject(kRun)));
  EXPECT_EQ(wait.proxyId, run.proxyId);

  ZOHadoopPig* withCfg = makePig(makeConfiguration(17));
  const std::string script = "A = LOAD 'in' AS (x:int);\nDUMP A;";
  ASSERT_TRUE(withCfg->runCommands(nullptr, nullptr, script.c_str(), nullptr, &err_)) << err_.str();
  EXPECT_EQ(lastRun().inputs.at(0), V::ofObject(17));
  EXPECT_EQ(lastRun().inputs.at(1), V::ofString(script));
}

TEST_F(PigTest, ParametersMatchWithoutCaseAndEmptyValuesGoAsNull) {
  ZOHadoopPig* pig = makePig();
  ZobString err("untouched");
  EXPECT_TRUE(pig->setParameter("Name", "a", &err));
  EXPECT_TRUE(pig->setParameter("NAME", "b", &err));
  EXPECT_TRUE(pig->setParameter("empty", "", &err));
  EXPECT_TRUE(pig->setParameter("Alpha", "1", &err));
  EXPECT_TRUE(pig->registerJar("z.jar", &err));
  EXPECT_TRUE(pig->registerJar("a.jar", &err));
  EXPECT_TRUE(pig->registerJar("z.jar", &err));
  EXPECT_EQ(err.str(), "untouched");
  ASSERT_TRUE(pig->runCommands(nullptr, nullptr, "x", nullptr, &err)) << err.str();

  const ScriptedCall run = lastRun();
  EXPECT_EQ(run.inputs.at(2).stringTable(),
            (StringTable{{"Alpha", "1"}, {"empty", std::nullopt}, {"Name", "b"}}));
  EXPECT_EQ(run.inputs.at(3).stringTable(),
            (StringTable{{"z.jar"}, {"a.jar"}, {"z.jar"}}));
  // Both row sets belong to the client's own proxy, not the main one.
  EXPECT_THAT(bridge().eventLog(), ElementsAre("create HadoopPigClient", "rowset HadoopPigClient",
                                               "rowset HadoopPigClient", "create HadoopClient",
                                               "call RunCommands", "call Wait"));
}

// Options override parameters and stay for later runs, even when the run they
// came with failed before anything was sent.
TEST_F(PigTest, OptionsOverrideParametersAndStayForLaterRuns) {
  ZOHadoopPig* pig = makePig();
  pig->setParameter("input", "/from/parameter", &err_);
  pig->setParameter("keep", "k", &err_);
  OptionsOwner options(zobCreateConfigOptions());
  ASSERT_NE(options, nullptr);
  options->setOption("INPUT", "/from/option");
  options->setOption("extra", "e");

  bridge().failAddRowAt(1, 1, WLP_ERR_MEMORY);
  EXPECT_FALSE(pig->runCommands(nullptr, nullptr, "x", options.get(), &err_));
  EXPECT_TRUE(isMessage(err_, 768)) << err_.str();
  EXPECT_EQ(bridge().callCount("RunCommands"), 0);
  options.reset();
  ASSERT_TRUE(pig->runCommands(nullptr, nullptr, "x", nullptr, &err_)) << err_.str();
  EXPECT_EQ(parametersSent(),
            (StringTable{{"extra", "e"}, {"input", "/from/option"}, {"keep", "k"}}));
}

TEST_F(PigTest, RunHandleAndTextsFlowThroughStartAndWait) {
  bridge().answer("RunCommands", started(kRun, {"job_7 started", "2 stages"}));
  bridge().answer("Wait", waitAnswer(true, {"Success!", "2 files written"}));
  ZOHadoopPig* pig = makePig();
  ASSERT_TRUE(pig->runCommands(&poll_, &text_, "x", nullptr, &err_)) << err_.str();
  EXPECT_THAT(text_.texts,
              ElementsAre("start: job_7 started\n2 stages", "final: Success!\n2 files written"));
  EXPECT_EQ(bridge().lastCallTo("RunCommands").pollValue, 250);
  EXPECT_EQ(bridge().lastCallTo("Wait").pollValue, 250);

  // A later run replaces the handle that stop and wait use.
  bridge().answer("RunCommands", started(901, {}));
  ASSERT_TRUE(pig->runCommands(nullptr, nullptr, "y", nullptr, &err_)) << err_.str();
  ASSERT_TRUE(pig->stop(nullptr, &err_)) << err_.str();
  EXPECT_EQ(bridge().lastCallTo("Wait").inputs.at(0), V::ofObject(901));
  EXPECT_EQ(bridge().lastCallTo("Stop").inputs.at(0), V::ofObject(901));
}

// A start text that cannot be read shows whether it was built. (An unreadable
// start answer fails the run: the fault sweep holds every run to that.)
TEST_F(PigTest, StartTextIsBuiltOnlyForASink) {
  ScriptedValue broken = rows({"started"});
  broken.failingNextRowAt(0, WLP_ERR_MEMORY);
  bridge().answer("RunCommands", ScriptedAnswer::outputs({V::ofObject(kRun), broken}));
  ZOHadoopPig* pig = makePig();
  EXPECT_TRUE(pig->runCommands(nullptr, nullptr, "x", nullptr, &err_)) << err_.str();
  EXPECT_EQ(static_cast<ZOHadoopPigImpl*>(pig)->runObject(), kRun);
  EXPECT_FALSE(pig->runCommands(nullptr, &text_, "x", nullptr, &err_));
  EXPECT_TRUE(isMessage(err_, 1354)) << err_.str();
  EXPECT_EQ(bridge().callCount("Wait"), 1);
}

TEST_F(PigTest, StartAnswersDecideWhatIsWaitedFor) {
  ZOHadoopPig* pig = makePig();
  ASSERT_TRUE(pig->runCommands(nullptr, nullptr, "x", nullptr, &err_)) << err_.str();

  // No response: the previous run's handle stays and is waited on.
  bridge().answer("RunCommands", ScriptedAnswer::noResponse());
  ASSERT_TRUE(pig->runCommands(nullptr, &text_, "x", nullptr, &err_)) << err_.str();
  EXPECT_EQ(bridge().lastCallTo("Wait").inputs.at(0), V::ofObject(kRun));
  EXPECT_THAT(text_.texts, ElementsAre("final: Success!"));
}

// The wait is the job's: no readable answer counts as success, a failed call does not.
TEST_F(PigTest, WaitWithoutReadableAnswerCountsAsSuccess) {
  bridge().answerSequence("Wait",
                          {ScriptedAnswer::noResponse(), ScriptedAnswer::unreadable(),
                           ScriptedAnswer::status(ZOJNI_ERR_JVM)});
  ZOHadoopPig* pig = makePig();
  EXPECT_TRUE(pig->runCommands(nullptr, &text_, "x", nullptr, &err_)) << err_.str();
  EXPECT_TRUE(pig->runCommands(nullptr, &text_, "x", nullptr, &err_)) << err_.str();
  EXPECT_THAT(text_.texts, ElementsAre("start: run started", "start: run started"));
  EXPECT_FALSE(pig->runCommands(nullptr, &text_, "x", nullptr, &err_));
  EXPECT_TRUE(isMessage(err_, 1726)) << err_.str();
}

TEST_F(PigTest, ProxyDirectoryComesFromArgumentThenPropertyThenDefault) {
  // Nothing here acquires the main proxy, and an instance without one drops its
  // children unended: each client is released by hand.
  makePig(nullptr, "")->release();
  ASSERT_TRUE(hadoop_->setProperty("pig_java_proxy_dir_name", "/from/property", &err_));
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
  ASSERT_TRUE(hadoop_->getProxy("", &err_));
  makePig()->release();
  const std::vector<ScriptedCreation> made = bridge().creations();
  ASSERT_EQ(made.size(), 5u);
  EXPECT_EQ(made[4].baseId, made[3].proxyId);
}

TEST_F(PigTest, ClearReleasesTheRunOnceAndForgetsIt) {
  ZOHadoopPig* pig = makePig();
  pig->clear();
  EXPECT_THAT(bridge().calls(), IsEmpty());
  // Stop asks the Java side even before any run, with no run handle.
  ASSERT_TRUE(pig->stop(nullptr, &err_)) << err_.str();
  EXPECT_EQ(bridge().lastCallTo("Stop").proxyName, "HadoopPigClient");
  EXPECT_EQ(bridge().lastCallTo("Stop").inputs.at(0), V::ofObject(0));

  pig->setParameter("p", "v", &err_);
  pig->registerJar("udf.jar", &err_);
  ASSERT_TRUE(pig->runCommands(nullptr, nullptr, "x", nullptr, &err_)) << err_.str();
  // A failed release still forgets the run.
  bridge().answer("Release", ScriptedAnswer::javaError(4, "run unknown"));
  pig->clear();
  EXPECT_EQ(bridge().lastCallTo("Release").inputs.at(0), V::ofObject(900));

  pig->clear();
  EXPECT_EQ(bridge().callCount("Release"), 1);
  ASSERT_TRUE(pig->stop(nullptr, &err_)) << err_.str();
  EXPECT_EQ(bridge().lastCallTo("Stop").inputs.at(0), V::ofObject(0));
  EXPECT_EQ(bridge().callCount("Stop"), 2);

  // Jars and parameters went with the clear.
  ASSERT_TRUE(pig->runCommands(nullptr, nullptr, "x", nullptr, &err_)) << err_.str();
  const ScriptedCall run = bridge().lastCallTo("RunCommands");
  EXPECT_EQ(run.inputs.at(2), V::ofNull(WLP_TYPE_ROWSET));
  EXPECT_EQ(run.inputs.at(3), V::ofNull(WLP_TYPE_ROWSET));
}

TEST_F(PigTest, EndingReleasesTheRunThenItsOwnProxy) {
  ZOHadoopPig* before = makePig();
  ZOHadoopPig* after = makePig();
  before->release();
  ASSERT_TRUE(after->runCommands(nullptr, nullptr, "x", nullptr, &err_)) << err_.str();
  hadoop_.reset();

  EXPECT_THAT(bridge().eventLog(),
              ElementsAre("create HadoopPigClient", "create HadoopPigClient",
                          "destroy HadoopPigClient", "create HadoopClient",
                          "call RunCommands", "call Wait", "call Release",
                          "destroy HadoopPigClient", "destroy HadoopClient"));
}

}  // namespace

// The configuration object: what its operations send and how it ends.
#include <gmock/gmock.h>

#include "hadoopcfg/ZOHadoopCfgImpl.h"
#include "zohadoop/core_test_support.h"

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;
using Table = std::vector<std::vector<std::optional<std::string>>>;

namespace {

class CfgTest : public LibraryTest {
 protected:
  void SetUp() override {
    LibraryTest::SetUp();
    cfg_ = static_cast<ZOHadoopCfgImpl*>(makeConfiguration(77));
    ASSERT_EQ(cfg_->getObject(), 77);
  }

  ZOHadoopCfgImpl* cfg_ = nullptr;
};

TEST_F(CfgTest, UserRecordSendsAnEmptyPasswordAsNull) {
  ZobString err("stale");
  ASSERT_TRUE(cfg_->setUserPass("", "", &err));
  EXPECT_TRUE(err.isNull());
  ScriptedCall sent = *bridge().lastCallTo("CfgSetUser");
  EXPECT_THAT(sent.inputs, ElementsAre(ScriptedValue::ofObject(77), ScriptedValue::ofString(""),
                                       ScriptedValue::ofNull(WLP_TYPE_STRING)));

  ASSERT_TRUE(cfg_->setUserPass("alice", "s3cret", &err));
  sent = *bridge().lastCallTo("CfgSetUser");
  EXPECT_THAT(sent.inputs,
              ElementsAre(ScriptedValue::ofObject(77), ScriptedValue::ofString("alice"),
                          ScriptedValue::ofString("s3cret")));
}

TEST_F(CfgTest, KeyValuesAndResourceFilesGoAsOneRowSetEach) {
  // A count of zero sends nothing and leaves the error alone.
  ZobString err("left alone");
  EXPECT_TRUE(cfg_->setKeyValues(0, nullptr, nullptr, &err));
  EXPECT_TRUE(cfg_->addResourceFiles(0, nullptr, &err));
  EXPECT_EQ(err.str(), "left alone");
  EXPECT_TRUE(bridge().rowSetCreations().empty());
  EXPECT_EQ(bridge().methodsCalled(), std::vector<std::string>{"CreateConfig"});

  err = ZobString("stale");
  ZobString keys[] = {"dfs.replication", "empty.value"};
  ZobString values[] = {"2", ""};
  ASSERT_TRUE(cfg_->setKeyValues(2, keys, values, &err));
  EXPECT_TRUE(err.isNull());
  ScriptedCall sent = *bridge().lastCallTo("CfgSetKeyValues");
  ASSERT_EQ(sent.inputs.size(), 2u);
  EXPECT_EQ(sent.inputs[0], ScriptedValue::ofObject(77));
  EXPECT_EQ(sent.inputs[1].stringTable(),
            (Table{{"dfs.replication", "2"}, {"empty.value", ""}}));

  // The single forms, and the files, go the same way; a real Java side reads
  // them in the end-to-end configuration case.
  ZobString files[] = {"core-site.xml", "hdfs-site.xml"};
  ASSERT_TRUE(cfg_->addResourceFiles(2, files, &err));
  EXPECT_EQ(bridge().lastCallTo("CfgAddResourceFiles")->inputs[1].stringTable(),
            (Table{{"core-site.xml"}, {"hdfs-site.xml"}}));
}

// The release path every object shares: the Java object is given back once; a
// failed Java release is logged at level 3 under the object's logger and
// destruction goes on.
TEST_F(CfgTest, ReleaseGivesBackTheJavaObjectOnceEvenWhenThatFails) {
  bridge().answer("CfgRelease", ScriptedAnswer::javaError(9, "already gone"));
  const std::string id = cfg_->id().str();
  log_.clear();
  cfg_->release();
  EXPECT_THAT(log_.of("ZO.Hadoop.Configuration"),
              ElementsAre("2 Destroying Hadoop instance " + id + ".",
                          AllOf(StartsWith("3 [Hadoop Client 1725]"), HasSubstr("already gone")),
                          "2 Completed destruction of Hadoop instance " + id + "."));
  cfg_ = nullptr;
  EXPECT_THAT(bridge().lastCallTo("CfgRelease")->inputs,
              ElementsAre(ScriptedValue::ofObject(77)));
  // Released by its caller, so the instance has nothing left to end.
  hadoop_.reset();
  EXPECT_EQ(bridge().callCount("CfgRelease"), 1);
}

}  // namespace

// The instance: factory, properties, the child registry, refused allocations
// and the order in which an instance ends.
#include <new>

#include "ZOHadoopCfg.h"
#include "hadoopcfg/ZOHadoopCfgImpl.h"
#include "zob_lock.h"
#include "zohadoop/core_test_support.h"

using ::testing::ElementsAre;

namespace {
// Armed by a test for the next non-throwing allocation on its own thread only;
// the library's containers use the throwing form and are not affected.
thread_local bool failNextNothrowNew = false;
}  // namespace

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  if (failNextNothrowNew) {
    failNextNothrowNew = false;
    return nullptr;
  }
  try {
    return ::operator new(size);
  } catch (...) {
    return nullptr;
  }
}

namespace {

class InstanceTest : public CoreTest {};

TEST_F(InstanceTest, FactoryReportsLockFailureAndLogsTheHalfMadeInstanceEnd) {
  zoLockTestFailCreate(1);
  EXPECT_EQ(zoHadoopCreate(&err_), nullptr);
  EXPECT_TRUE(isMessage(err_, 29)) << err_.str();
  EXPECT_NE(err_.str().find("(Hadoop lock)"), std::string::npos) << err_.str();
  EXPECT_THAT(log_.of("ZO.Hadoop"),
              ElementsAre("2 Destroying Hadoop instance.",
                          "2 Completed destruction of Hadoop instance."));
  EXPECT_TRUE(bridge().eventLog().empty());
}

TEST_F(InstanceTest, PropertiesMatchWithoutCaseAndCloseOnceTheProxyIsHeld) {
  InstanceOwner hadoop = makeInstance();
  ZobString err("stale");
  ASSERT_TRUE(hadoop->setProperty("my.setting", "first", &err));
  EXPECT_TRUE(err.isNull());
  ASSERT_TRUE(hadoop->setProperty("MY.Setting", "second", &err));

  ZobString value;
  ASSERT_TRUE(hadoop->getProperty("MY.SETTING", &value));
  EXPECT_EQ(value.str(), "second");
  value = ZobString("stale");
  EXPECT_FALSE(hadoop->getProperty("other", &value));
  EXPECT_TRUE(value.isNull());

  ZOHadoopCfg* cfg = hadoop->createConfiguration(&err);
  ASSERT_NE(cfg, nullptr) << err.str();
  EXPECT_FALSE(hadoop->setProperty("my.setting", "third", &err));
  EXPECT_EQ(err.str(),
            "Failed to set property 'my.setting' due to the proxy already being held.");
  ASSERT_TRUE(hadoop->getProperty("my.setting", &value));
  EXPECT_EQ(value.str(), "second");
  EXPECT_FALSE(hadoop->setProperty("new.one", "x", &err));
  EXPECT_FALSE(hadoop->getProperty("new.one", &value));
}

// Children still need the proxy while they end, so they go first, newest first,
// and a child released by its caller is not ended a second time.
TEST_F(InstanceTest, ReleaseEndsRemainingChildrenNewestFirstBeforeTheProxy) {
  bridge().answerSequence(
      "CreateConfig",
      {ScriptedAnswer::outputs({V::ofObject(101)}), ScriptedAnswer::outputs({V::ofObject(102)}),
       ScriptedAnswer::outputs({V::ofObject(103)}), ScriptedAnswer::outputs({V::ofObject(104)})});
  InstanceOwner hadoop = makeInstance();
  ZOHadoopCfg* first = hadoop->createConfiguration(&err_);
  ZOHadoopCfg* second = hadoop->createConfiguration(&err_);
  ZOHadoopCfg* third = hadoop->createConfiguration(&err_);
  ZOHadoopCfg* fourth = hadoop->createConfiguration(&err_);
  ASSERT_TRUE(first && second && third && fourth);

  second->release();
  hadoop.reset();

  std::vector<int64_t> released;
  for (const ScriptedCall& call : bridge().callsTo("CfgRelease")) {
    released.push_back(call.inputs.at(0).object);
  }
  EXPECT_THAT(released, ElementsAre(102, 104, 103, 101));
  EXPECT_EQ(bridge().eventLog().back(), "destroy HadoopClient");
}

TEST_F(InstanceTest, ChildWhoseInitFailsIsDeletedAndNeverRegistered) {
  bridge().answerSequence("CreateConfig",
                          {ScriptedAnswer::javaError(12, "no configuration today"),
                           ScriptedAnswer::unreadable()});
  InstanceOwner hadoop = makeInstance();
  EXPECT_EQ(hadoop->createConfiguration(&err_), nullptr);
  EXPECT_EQ(hadoop->createConfiguration(&err_), nullptr);
  EXPECT_NE(err_.str().find("(Config Object)"), std::string::npos);
  // Both half-made configurations ended already: the instance ends none.
  const size_t lines = log_.of("ZO.Hadoop.Configuration").size();
  hadoop.reset();
  EXPECT_EQ(bridge().callCount("CfgRelease"), 0);
  EXPECT_EQ(log_.of("ZO.Hadoop.Configuration").size(), lines);
}

TEST_F(InstanceTest, FailedProxyAcquisitionMakesNoChildAndIsRetried) {
  bridge().onCreate("HadoopClient",
                    ScriptedCreateScript::failing(ZOJNI_ERR_CREATE, {{2, "no JVM"}}));
  InstanceOwner hadoop = makeInstance();
  EXPECT_EQ(hadoop->createConfiguration(&err_), nullptr);
  EXPECT_EQ(err_.str(), "no JVM");
  EXPECT_EQ(bridge().callCount("CreateConfig"), 0);
  EXPECT_EQ(hadoop->mainProxy(), nullptr);
  // Properties stay writable while no proxy is held.
  EXPECT_TRUE(hadoop->setProperty("a", "b", &err_));

  bridge().onCreate("HadoopClient", ScriptedCreateScript::asking({"JAVA_PROXY/DIRECTORY"}));
  ZOHadoopCfg* cfg = hadoop->createConfiguration(&err_);
  ASSERT_NE(cfg, nullptr) << err_.str();
  EXPECT_TRUE(err_.isNull());
  EXPECT_EQ(bridge().creations().size(), 2u);
}

// Objects are allocated without throwing; a refused allocation becomes message
// 444 and no half-made object is left behind.
TEST_F(InstanceTest, RefusedAllocationsBecomeMessage444) {
  failNextNothrowNew = true;
  EXPECT_EQ(zoHadoopCreate(&err_), nullptr);
  EXPECT_TRUE(isMessage(err_, 444)) << err_.str();
  // Nothing was constructed, so nothing was logged.
  EXPECT_TRUE(log_.of("ZO.Hadoop").empty());

  InstanceOwner hadoop = makeInstance();
  failNextNothrowNew = true;
  EXPECT_EQ(hadoop->createConfiguration(&err_), nullptr);
  EXPECT_TRUE(isMessage(err_, 444)) << err_.str();
  // The proxy is acquired before the allocation (every child kind shares it);
  // no configuration was asked for, and the next one is made.
  EXPECT_THAT(bridge().eventLog(), ElementsAre("create HadoopClient"));
  EXPECT_TRUE(log_.of("ZO.Hadoop.Configuration").empty());
  EXPECT_NE(hadoop->createConfiguration(&err_), nullptr) << err_.str();
}

}  // namespace

// The life of a MapReduce job object: creation, stop, and the two ways it ends.
#include "ZOHadoopMapReduce.h"
#include "hadoopmr/ZOHadoopMRImpl.h"
#include "hadoopmr/job_test_support.h"

using ::testing::ElementsAre;

namespace {

constexpr int64_t kJob = 77;

class MapReduceJobTest : public JobTest {
 protected:
  void SetUp() override {
    JobTest::SetUp();
    bridge().answer("CreateMapReduce",
                    ScriptedAnswer::outputs({ScriptedValue::ofObject(kJob)}));
    bridge().answer("MapReduceWait", waitAnswer(true, {}));
  }
  ZOHadoopMapReduce* ranJob() {
    ZobString err;
    ZOHadoopMapReduce* job = hadoop_->createMapReduce(nullptr, &err);
    EXPECT_TRUE(job->run(nullptr, nullptr, false, &err)) << err.str();
    return job;
  }
};

TEST_F(MapReduceJobTest, StopSendsTheJobOnlyOnceOneExists) {
  ZobString err("untouched");
  ZOHadoopMapReduce* idle = hadoop_->createMapReduce(nullptr, &err);
  ASSERT_NE(idle, nullptr);
  EXPECT_TRUE(err.isNull());
  EXPECT_TRUE(idle->stop(nullptr, &err));
  idle->release();
  EXPECT_TRUE(bridge().eventLog().empty());

  ZOHadoopMapReduce* job = ranJob();
  bridge().answerSequence("MapReduceStop",
                          {ScriptedAnswer::outputs({}),
                           ScriptedAnswer::javaError(9, "job already finished")});
  ASSERT_TRUE(job->stop(nullptr, &err)) << err.str();
  const ScriptedCall stop = *bridge().lastCallTo("MapReduceStop");
  EXPECT_THAT(stop.inputs, ElementsAre(ScriptedValue::ofObject(kJob)));
  EXPECT_EQ(stop.signature, JAVA_PROXY_EMPTY_SIG);
  EXPECT_FALSE(job->stop(nullptr, &err));
  EXPECT_TRUE(isMessage(err, 1725)) << err.str();
}

// Released by its caller, the job is gone from the registry and not ended again.
TEST_F(MapReduceJobTest, ReleaseEndsTheJavaJobAndLogsItsLife) {
  ZOHadoopMapReduce* job = ranJob();
  const std::string id = static_cast<ZOHadoopMRImpl*>(job)->id().str();
  ASSERT_FALSE(id.empty());
  job->release();
  const ScriptedCall release = *bridge().lastCallTo("MapReduceRelease");
  EXPECT_THAT(release.inputs, ElementsAre(ScriptedValue::ofObject(kJob)));
  EXPECT_FALSE(release.pollGiven);
  EXPECT_THAT(log_.of("ZO.Hadoop.MapReduce"),
              ElementsAre("2 Created Hadoop MapReduce instance " + id + ".",
                          "2 Destroying Hadoop MapReduce instance " + id + ".",
                          "2 Completed destruction of Hadoop MapReduce instance " + id + "."));
  hadoop_.reset();
  EXPECT_EQ(bridge().callCount("MapReduceRelease"), 1);
}

TEST_F(MapReduceJobTest, InstanceEndsTheJobsItStillHoldsNewestFirst) {
  bridge().answerSequence("CreateMapReduce",
                          {ScriptedAnswer::outputs({ScriptedValue::ofObject(501)}),
                           ScriptedAnswer::outputs({ScriptedValue::ofObject(502)})});
  ranJob();
  ranJob();
  hadoop_.reset();
  std::vector<int64_t> released;
  for (const ScriptedCall& call : bridge().callsTo("MapReduceRelease")) {
    released.push_back(call.inputs.at(0).object);
  }
  EXPECT_THAT(released, ElementsAre(502, 501));
  EXPECT_EQ(bridge().eventLog().back(), "destroy HadoopClient");
}

}  // namespace

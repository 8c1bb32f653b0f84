// The life of a MapReduce job object: creation, stop, and the two ways it ends.
#include "ZOHadoopMapReduce.h"
#include "hadoopmr/ZOHadoopMRImpl.h"
#include "hadoopmr/job_test_support.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

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
};

TEST_F(MapReduceJobTest, StopAndReleaseBeforeAnyRunMakeNoCall) {
  ZobString err("untouched");
  ZOHadoopMapReduce* job = hadoop_->createMapReduce(nullptr, &err);
  ASSERT_NE(job, nullptr);
  EXPECT_TRUE(err.isNull());
  EXPECT_TRUE(job->stop(nullptr, &err));
  job->release();
  EXPECT_THAT(bridge().eventLog(), IsEmpty());
}

TEST_F(MapReduceJobTest, StopSendsTheJobAndReportsTheCall) {
  ZobString err;
  ZOHadoopMapReduce* job = hadoop_->createMapReduce(nullptr, &err);
  ASSERT_TRUE(job->run(nullptr, nullptr, false, &err)) << err.str();
  bridge().answerSequence("MapReduceStop",
                          {ScriptedAnswer::outputs({}),
                           ScriptedAnswer::javaError(9, "job already finished")});
  ASSERT_TRUE(job->stop(nullptr, &err)) << err.str();
  const ScriptedCall stop = *bridge().lastCallTo("MapReduceStop");
  ASSERT_EQ(stop.count, 1);
  EXPECT_EQ(stop.inputs[0], ScriptedValue::ofObject(kJob));
  EXPECT_EQ(stop.signature, JAVA_PROXY_EMPTY_SIG);

  EXPECT_FALSE(job->stop(nullptr, &err));
  EXPECT_TRUE(isMessage(err, 1725)) << err.str();
  EXPECT_EQ(wireObjectsLeft(), 0);
}

TEST_F(MapReduceJobTest, ReleaseEndsTheJavaJobAndLogsItsLife) {
  ZobString err;
  ZOHadoopMapReduce* job = hadoop_->createMapReduce(nullptr, &err);
  const std::string id = static_cast<ZOHadoopMRImpl*>(job)->id().str();
  ASSERT_FALSE(id.empty());
  ASSERT_TRUE(job->run(nullptr, nullptr, false, &err)) << err.str();
  job->release();

  const ScriptedCall release = *bridge().lastCallTo("MapReduceRelease");
  EXPECT_EQ(release.inputs.at(0), ScriptedValue::ofObject(kJob));
  EXPECT_FALSE(release.pollGiven);
  EXPECT_THAT(
      log_.of("ZO.Hadoop.MapReduce"),
      ElementsAre("2 Created Hadoop MapReduce instance " + id + ".",
                  "2 Destroying Hadoop MapReduce instance " + id + ".",
                  "2 Completed destruction of Hadoop MapReduce instance " + id + "."));

  // Released by its caller, the job is gone from the registry: the instance
  // does not end it a second time.
  hadoop_.reset();
  EXPECT_EQ(bridge().callCount("MapReduceRelease"), 1);
}

TEST_F(MapReduceJobTest, FailedJavaReleaseIsLoggedAndTheJobStillEnds) {
  bridge().answer("MapReduceRelease", ScriptedAnswer::javaError(5, "job vanished"));
  ZobString err;
  ZOHadoopMapReduce* job = hadoop_->createMapReduce(nullptr, &err);
  ASSERT_TRUE(job->run(nullptr, nullptr, false, &err)) << err.str();
  log_.clear();
  job->release();

  std::vector<std::string> lines = log_.of("ZO.Hadoop.MapReduce");
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_THAT(lines[1], StartsWith("3 [Hadoop Client 1725]"));
  EXPECT_THAT(lines[2], StartsWith("2 Completed destruction"));
  EXPECT_EQ(wireObjectsLeft(), 0);
}

TEST_F(MapReduceJobTest, InstanceEndsTheJobsItStillHolds) {
  bridge().answerSequence("CreateMapReduce",
                          {ScriptedAnswer::outputs({ScriptedValue::ofObject(501)}),
                           ScriptedAnswer::outputs({ScriptedValue::ofObject(502)})});
  ZobString err;
  ZOHadoopMapReduce* first = hadoop_->createMapReduce(nullptr, &err);
  ZOHadoopMapReduce* second = hadoop_->createMapReduce(nullptr, &err);
  ASSERT_TRUE(first->run(nullptr, nullptr, false, &err)) << err.str();
  ASSERT_TRUE(second->run(nullptr, nullptr, false, &err)) << err.str();
  hadoop_.reset();

  std::vector<int64_t> released;
  for (const ScriptedCall& call : bridge().callsTo("MapReduceRelease")) {
    released.push_back(call.inputs.at(0).object);
  }
  EXPECT_THAT(released, ElementsAre(502, 501));
  EXPECT_EQ(bridge().eventLog().back(), "destroy HadoopClient");
}

}  // namespace

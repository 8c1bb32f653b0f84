// Jobs on the test cluster's YARN, sent there because the configuration says
// so, with their input and output on the cluster's HDFS: a word count, and a
// job and a Pig run whose cluster goes away while the library waits for them
// (the waits end with a text in bounded time instead of hanging the caller's
// thread). The latter runs last on the YARN fixture (it stops YARN), so only
// when ZOH_YARN_MAY_STOP says so.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>
#include <thread>
#include <tuple>

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopHDFS.h"
#include "ZOHadoopMapReduce.h"
#include "ZOHadoopPig.h"
#include "cluster_access.h"
#include "end_to_end.h"

namespace {

// An instance, a configuration that reads the YARN cluster's client file, and
// its HDFS service.
class Yarn : public ::testing::Test {
 protected:
  void SetUp() override {
    keys_ = clustertest::readyKeys("ZOH_TEST_YARN");
    ASSERT_FALSE(keys_["yarn"].empty()) << "ZOH_TEST_YARN names no YARN cluster";
    ZobString err;
    hadoop_.reset(zoHadoopCreate(&err));
    ASSERT_NE(nullptr, hadoop_) << err.str();
    cfg_.reset(hadoop_->createConfiguration(&err));
    ASSERT_NE(nullptr, cfg_) << err.str();
    ASSERT_TRUE(cfg_->addResourceFile(ZobString(keys_["yarn"].c_str()), &err)) << err.str();
    hdfs_.reset(hadoop_->createHDFS(cfg_.get(), &err));
    ASSERT_NE(nullptr, hdfs_) << err.str();
  }

  std::map<std::string, std::string> keys_;
  e2e::Owned<ZOHadoop> hadoop_;
  e2e::Owned<ZOHadoopCfg> cfg_;
  e2e::Owned<ZOHadoopHDFS> hdfs_;
};
using YarnLost = Yarn;

TEST_F(Yarn, WordCountRunsOnTheClusterAndWritesToHdfs) {
  const e2e::ScratchDir dir("/tmp/zoh-yarn-XXXXXX");
  e2e::writeLocal(dir / "in.txt", "red green red\nblue red green\n");
  ZobString err;
  const std::string base = "/zoh-yarn-" + std::to_string(getpid());
  ASSERT_TRUE(hdfs_->copyFromLocal(nullptr, ZobString((dir / "in.txt").c_str()), false,
                                   ZobString((base + "/in.txt").c_str()), false, &err))
      << err.str();

  ZOHadoopMapReduce* job = hadoop_->createMapReduce(cfg_.get(), &err);
  ASSERT_NE(nullptr, job) << err.str();
  const std::pair<const char*, std::string> properties[] = {
      {"HADOOP_MAPREDUCE_CLASS_MAP", "org.apache.hadoop.examples.WordCount$TokenizerMapper"},
      {"HADOOP_MAPREDUCE_CLASS_REDUCER", "org.apache.hadoop.examples.WordCount$IntSumReducer"},
      {"HADOOP_MAPREDUCE_CLASS_OUTPUTKEY", "org.apache.hadoop.io.Text"},
      {"HADOOP_MAPREDUCE_CLASS_OUTPUTVALUE", "org.apache.hadoop.io.IntWritable"},
      {"HADOOP_MAPREDUCE_NUM_REDUCERS", "1"},
      {"HADOOP_MAPREDUCE_PATH_OUTPUT", base + "/out"},
  };
  for (const auto& [key, value] : properties)
    job->setProperty(ZobString(key), ZobString(value.c_str()), &err);
  job->addInputPath(ZobString((base + "/in.txt").c_str()), &err);
  job->addJar(ZobString(ZOH_TEST_JOBS "/hadoop-mapreduce-examples.jar"), &err);
  e2e::Texts texts;
  const bool ok = job->run(nullptr, &texts, true, &err);
  EXPECT_TRUE(ok) << err.str();
  EXPECT_NE(std::string::npos, texts.start_.find("(yarn)")) << texts.start_;
  EXPECT_NE(std::string::npos, texts.start_.find("Tracking URL")) << texts.start_;
  EXPECT_NE(std::string::npos, texts.final_.find("SUCCEEDED")) << texts.final_;
  job->release();

  if (ok) {
    EXPECT_EQ((std::map<std::string, int>{{"blue", 1}, {"green", 2}, {"red", 3}}),
              e2e::wordCounts(e2e::readHdfs(hdfs_.get(), base + "/out/part-r-00000")));
  }
  hdfs_->deleteFile(nullptr, ZobString(base.c_str()), &err);
}

using Clock = std::chrono::steady_clock;

// Once both a job and a Pig run are under way, YARN stops; either poll may be
// the one to see it, and neither wait may outlast the bound.
struct LostCluster {
  std::string port, answer;
  std::atomic<bool> jobRunning{false}, pigRunning{false}, stopping{false};
  Clock::time_point stopped;
  void running(std::atomic<bool>* which) {
    *which = true;
    if (jobRunning && pigRunning && !stopping.exchange(true)) {
      answer = clustertest::control(port, "stop-yarn");
      stopped = Clock::now();
    }
  }
};

struct StopWhenRunning : HadoopPollStatus {
  StopWhenRunning(LostCluster* c, std::atomic<bool>* w) : cluster(c), which(w) {}
  int pollInterval() override { return 200; }
  bool poll(int64_t done, int64_t, const char*) override {
    if (done > 0 && !*which) {
      std::printf("%s under way\n", which == &cluster->jobRunning ? "job" : "Pig run");
      cluster->running(which);
    }
    return true;
  }
  LostCluster* cluster;
  std::atomic<bool>* which;
};

TEST_F(YarnLost, WaitsEndWithATextWhenTheClusterGoesAway) {
  if (std::getenv("ZOH_YARN_MAY_STOP") == nullptr) GTEST_SKIP() << "it would stop the fixture's YARN";
  ASSERT_FALSE(keys_["control"].empty()) << "the YARN cluster has no control port";
  ZobString err;
  std::string lines;
  // Far more work than the test waits for: the stop cuts both short.
  for (int i = 0; i < 2000; ++i) lines += "record " + std::to_string(i) + "\n";
  ASSERT_TRUE(e2e::writeHdfs(hdfs_.get(), "/zoh-yarn-lost/in.txt", lines, &err)) << err.str();

  ZOHadoopMapReduce* job = hadoop_->createMapReduce(cfg_.get(), &err);
  ASSERT_NE(nullptr, job) << err.str();
  const std::pair<const char*, const char*> properties[] = {
      {"HADOOP_MAPREDUCE_CLASS_MAP", "com.zorvanta.testjobs.SlowMapper"},
      {"HADOOP_MAPREDUCE_NUM_REDUCERS", "0"},
      {"HADOOP_MAPREDUCE_PATH_OUTPUT", "/zoh-yarn-lost/out"},
      {"zox.test.slow.ms", "500"},
  };
  for (const auto& [key, value] : properties)
    ASSERT_TRUE(job->setProperty(ZobString(key), ZobString(value), &err)) << err.str();
  job->addInputPath(ZobString("/zoh-yarn-lost/in.txt"), &err);
  job->addJar(ZobString(ZOH_TEST_JOBS "/zox-testjobs.jar"), &err);

  ZOHadoopPig* pig = hadoop_->createPig(cfg_.get(), ZobString(""), &err);
  ASSERT_NE(nullptr, pig) << err.str();
  pig->registerJar(ZobString(ZOH_TEST_JOBS "/zox-testjobs.jar"), &err);
  const char script[] =
      "DEFINE UP com.zorvanta.testjobs.Upper('500');\n"
      "lines = LOAD '/zoh-yarn-lost/in.txt' AS (w:chararray);\n"
      "upper = FOREACH lines GENERATE UP(w);\n"
      "STORE upper INTO '/zoh-yarn-lost/pig-out';\n";

  LostCluster cluster;
  cluster.port = keys_["control"];
  StopWhenRunning jobPoll(&cluster, &cluster.jobRunning), pigPoll(&cluster, &cluster.pigRunning);
  ZobString jobErr, pigErr;
  Clock::time_point pigEnded;
  std::thread pigRun([&] {
    EXPECT_FALSE(pig->runCommands(&pigPoll, nullptr, ZobString(script), nullptr, &pigErr));
    pigEnded = Clock::now();
  });
  EXPECT_FALSE(job->run(&jobPoll, nullptr, true, &jobErr));
  const Clock::time_point jobEnded = Clock::now();
  pigRun.join();
  ASSERT_EQ("ok", cluster.answer) << "YARN was never stopped under both: job " << jobErr.str()
                                  << "; Pig " << pigErr.str();
  for (const auto& [what, ended, text, expected] :
       {std::tuple{"job", jobEnded, jobErr.str(), "Cannot follow the job"},
        std::tuple{"Pig run", pigEnded, pigErr.str(), "Cannot follow the Pig run"}}) {
    const auto waited = std::chrono::duration_cast<std::chrono::seconds>(ended - cluster.stopped);
    EXPECT_LT(waited, std::chrono::seconds(120)) << what;
    EXPECT_NE(std::string::npos, text.find(expected)) << text;
    std::printf("the %s's wait ended %lld s after YARN stopped: %s\n", what,
                static_cast<long long>(waited.count()), text.c_str());
  }
  pig->release();
  job->release();
}

}  // namespace

// A job and a Pig run whose cluster goes away while the library waits for them: the waits end
// with a text in bounded time instead of hanging the caller's thread. Runs
// last on the YARN fixture (it stops YARN), so only when ZOH_YARN_MAY_STOP says so.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
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

namespace {

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

TEST(YarnLost, WaitsEndWithATextWhenTheClusterGoesAway) {
  if (std::getenv("ZOH_YARN_MAY_STOP") == nullptr) GTEST_SKIP() << "it would stop the fixture's YARN";
  std::map<std::string, std::string> keys = clustertest::readyKeys("ZOH_TEST_YARN");
  ASSERT_FALSE(keys["control"].empty()) << "the YARN cluster has no control port";
  ZobString err;
  ZOHadoop* hadoop = zoHadoopCreate(&err);
  ASSERT_NE(nullptr, hadoop) << err.str();
  ZOHadoopCfg* cfg = hadoop->createConfiguration(&err);
  ASSERT_NE(nullptr, cfg) << err.str();
  ASSERT_TRUE(cfg->addResourceFile(ZobString(keys["yarn"].c_str()), &err)) << err.str();
  ZOHadoopHDFS* hdfs = hadoop->createHDFS(cfg, &err);
  ASSERT_NE(nullptr, hdfs) << err.str();
  ZOHadoopFile* in = hdfs->openFile(nullptr, ZobString("/zoh-yarn-lost/in.txt"),
                                    ZOB_TXTFILE_WRITE, 0, 0, &err);
  ASSERT_NE(nullptr, in) << err.str();
  std::string lines;
  // Far more work than the test waits for: the stop cuts both short.
  for (int i = 0; i < 2000; ++i) lines += "record " + std::to_string(i) + "\n";
  ASSERT_TRUE(in->write(nullptr, lines.data(), static_cast<int>(lines.size()), &err));
  ASSERT_TRUE(in->close(&err)) << err.str();
  in->release();

  ZOHadoopMapReduce* job = hadoop->createMapReduce(cfg, &err);
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

  ZOHadoopPig* pig = hadoop->createPig(cfg, ZobString(""), &err);
  ASSERT_NE(nullptr, pig) << err.str();
  pig->registerJar(ZobString(ZOH_TEST_JOBS "/zox-testjobs.jar"), &err);
  const char script[] =
      "DEFINE UP com.zorvanta.testjobs.Upper('500');\n"
      "lines = LOAD '/zoh-yarn-lost/in.txt' AS (w:chararray);\n"
      "upper = FOREACH lines GENERATE UP(w);\n"
      "STORE upper INTO '/zoh-yarn-lost/pig-out';\n";

  LostCluster cluster;
  cluster.port = keys["control"];
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
  hdfs->release();
  cfg->release();
  hadoop->release();
}

}  // namespace

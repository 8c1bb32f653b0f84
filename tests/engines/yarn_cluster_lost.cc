// A job whose cluster goes away while the library waits for it: the wait ends
// with a text in bounded time instead of hanging the caller's thread. Runs
// last on the YARN fixture (it stops YARN), so only when ZOH_YARN_MAY_STOP says so.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopHDFS.h"
#include "ZOHadoopMapReduce.h"
#include "cluster_access.h"

namespace {

using Clock = std::chrono::steady_clock;

TEST(YarnLost, AWaitEndsWithATextWhenTheClusterGoesAway) {
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
  for (int i = 0; i < 400; ++i) lines += "record " + std::to_string(i) + "\n";
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

  // Once the maps run, YARN goes away under the wait.
  struct StopWhenRunning : HadoopPollStatus {
    int pollInterval() override { return 200; }
    bool poll(int64_t done, int64_t, const char*) override {
      if (done > 0 && answer.empty()) {
        answer = clustertest::control(port, "stop-yarn");
        stopped = Clock::now();
      }
      return true;
    }
    std::string port, answer;
    Clock::time_point stopped;
  } poll;
  poll.port = keys["control"];
  ZobString runErr;
  EXPECT_FALSE(job->run(&poll, nullptr, true, &runErr));
  ASSERT_EQ("ok", poll.answer) << "the job never ran: " << runErr.str();
  const auto waited = Clock::now() - poll.stopped;
  EXPECT_LT(waited, std::chrono::seconds(120));
  EXPECT_NE(std::string::npos, runErr.str().find("Cannot follow the job")) << runErr.str();
  std::printf("the wait ended %lld s after YARN stopped: %s\n",
              static_cast<long long>(std::chrono::duration_cast<std::chrono::seconds>(waited).count()),
              runErr.str().c_str());
  job->release();
  hdfs->release();
  cfg->release();
  hadoop->release();
}

}  // namespace

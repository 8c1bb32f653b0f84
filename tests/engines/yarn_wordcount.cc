// Word count on the test cluster's YARN: the job goes there because the
// configuration says so, with its input and output on the cluster's HDFS.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <map>
#include <sstream>
#include <string>

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopHDFS.h"
#include "ZOHadoopMapReduce.h"
#include "cluster_access.h"

namespace {

TEST(Yarn, WordCountRunsOnTheClusterAndWritesToHdfs) {
  std::map<std::string, std::string> env = clustertest::readyKeys("ZOH_TEST_YARN");
  ASSERT_FALSE(env["yarn"].empty()) << "ZOH_TEST_YARN names no YARN cluster";
  char local[] = "/tmp/zoh-yarn-XXXXXX";
  ASSERT_NE(nullptr, mkdtemp(local));
  const std::string dir = local;
  std::ofstream(dir + "/in.txt") << "red green red\nblue red green\n";

  ZobString err;
  ZOHadoop* hadoop = zoHadoopCreate(&err);
  ASSERT_NE(nullptr, hadoop) << err.str();
  ZOHadoopCfg* cfg = hadoop->createConfiguration(&err);
  ASSERT_NE(nullptr, cfg) << err.str();
  ASSERT_TRUE(cfg->addResourceFile(ZobString(env["yarn"].c_str()), &err)) << err.str();
  ZOHadoopHDFS* hdfs = hadoop->createHDFS(cfg, &err);
  ASSERT_NE(nullptr, hdfs) << err.str();
  const std::string base = "/zoh-yarn-" + std::to_string(getpid());
  ASSERT_TRUE(hdfs->copyFromLocal(nullptr, ZobString((dir + "/in.txt").c_str()), false,
                                  ZobString((base + "/in.txt").c_str()), false, &err))
      << err.str();

  ZOHadoopMapReduce* job = hadoop->createMapReduce(cfg, &err);
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
  struct : HadoopTextStatus {
    void setFinalText(const ZobString& text) override { final = text.str(); }
    void setStartText(const ZobString& text) override { start = text.str(); }
    std::string start, final;
  } texts;
  const bool ok = job->run(nullptr, &texts, true, &err);
  EXPECT_TRUE(ok) << err.str();
  EXPECT_NE(std::string::npos, texts.start.find("(yarn)")) << texts.start;
  EXPECT_NE(std::string::npos, texts.start.find("Tracking URL")) << texts.start;
  EXPECT_NE(std::string::npos, texts.final.find("SUCCEEDED")) << texts.final;
  job->release();

  if (ok) {
    ASSERT_TRUE(hdfs->copyToLocal(nullptr, ZobString((base + "/out/part-r-00000").c_str()), false,
                                  ZobString((dir + "/counts.txt").c_str()), false, &err))
        << err.str();
    std::ifstream in(dir + "/counts.txt");
    std::map<std::string, int> counts;
    std::string word;
    int n;
    while (in >> word >> n) counts[word] = n;
    EXPECT_EQ((std::map<std::string, int>{{"blue", 1}, {"green", 2}, {"red", 3}}), counts);
  }
  hdfs->deleteFile(nullptr, ZobString(base.c_str()), &err);
  hdfs->release();
  cfg->release();
  hadoop->release();
  std::system(("rm -rf '" + dir + "'").c_str());
}

}  // namespace

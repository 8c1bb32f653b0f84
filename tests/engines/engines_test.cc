// MapReduce jobs and Pig runs through the library's public objects, the JVM
// bridge and the real engines in local mode.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopMapReduce.h"
#include "ZOHadoopPig.h"
#include "end_to_end.h"

namespace {

const std::string kJobs = ZOH_TEST_JOBS;
const std::string kExamples = kJobs + "/hadoop-mapreduce-examples.jar";
const std::string kTestJobs = kJobs + "/zox-testjobs.jar";

using e2e::contains;

// Notes whether progress ever went back; answers false once `stopAfter` polls
// saw work done. Polls come from the call's own thread, the stop's waits from another.
class Poll : public HadoopPollStatus {
 public:
  explicit Poll(int stopAfter = 0) : stopAfter(stopAfter) {}
  int pollInterval() override { return 10; }
  bool poll(int64_t done, int64_t total, const char*) override {
    wentBack = wentBack || done < last;
    last = done;
    this->total = total;
    if (done > 0) ++working;
    return stopAfter == 0 || working < stopAfter;
  }
  const int stopAfter;
  std::atomic<int64_t> last{-1}, total{0};
  std::atomic<int> working{0};
  std::atomic<bool> wentBack{false};
};

using e2e::readLocal;
using e2e::writeLocal;

class Engines : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_FALSE(dir_.empty());
    hadoop_.reset(zoHadoopCreate(&err_));
    ASSERT_NE(nullptr, hadoop_) << err_.str();
    cfg_.reset(hadoop_->createConfiguration(&err_));
    ASSERT_NE(nullptr, cfg_) << err_.str();
  }

  // A job of `mapper` from `jar` on in.txt, writing Text keys to out.
  e2e::Owned<ZOHadoopMapReduce> newJob(const std::string& mapper, const std::string& jar) {
    e2e::Owned<ZOHadoopMapReduce> job(hadoop_->createMapReduce(cfg_.get(), &err_));
    if (job == nullptr) return nullptr;
    set(job, "HADOOP_MAPREDUCE_CLASS_MAP", mapper);
    set(job, "HADOOP_MAPREDUCE_CLASS_OUTPUTKEY", "org.apache.hadoop.io.Text");
    set(job, "HADOOP_MAPREDUCE_PATH_OUTPUT", dir_ + "/out");
    job->addInputPath(ZobString((dir_ + "/in.txt").c_str()), &err_);
    job->addJar(ZobString(jar.c_str()), &err_);
    return job;
  }
  static void set(const e2e::Owned<ZOHadoopMapReduce>& job, const std::string& key,
                  const std::string& value) {
    ZobString err;
    job->setProperty(ZobString(key.c_str()), ZobString(value.c_str()), &err);
  }

  const e2e::ScratchDir scratch_{::testing::TempDir() + "zoh-engines-XXXXXX"};
  const std::string dir_ = scratch_.path();
  ZobString err_;
  e2e::Owned<ZOHadoop> hadoop_;
  e2e::Owned<ZOHadoopCfg> cfg_;
};

TEST_F(Engines, WordCountWithHadoopsExampleClassesReportsProgressAndCounters) {
  writeLocal(dir_ + "/in.txt", "to be or not to be\nthat is the question\nto be\n");
  mkdir((dir_ + "/out").c_str(), 0755);  // a stale output that delete-output must clear
  auto job = newJob("org.apache.hadoop.examples.WordCount$TokenizerMapper", kExamples);
  ASSERT_NE(nullptr, job) << err_.str();
  set(job, "hadoop_mapreduce_class_combiner", "org.apache.hadoop.examples.WordCount$IntSumReducer");
  set(job, "HADOOP_MAPREDUCE_CLASS_REDUCER", "org.apache.hadoop.examples.WordCount$IntSumReducer");
  set(job, "HADOOP_MAPREDUCE_CLASS_OUTPUTVALUE", "org.apache.hadoop.io.IntWritable");
  set(job, "HADOOP_MAPREDUCE_NUM_REDUCERS", "1");
  set(job, "mapreduce.job.name", "engine test word count");
  e2e::Texts texts;
  Poll poll;
  ASSERT_TRUE(job->run(&poll, &texts, true, &err_)) << err_.str();
  EXPECT_NE(std::string::npos, texts.start_.find("job_")) << texts.start_;
  EXPECT_NE(std::string::npos, texts.final_.find("SUCCEEDED")) << texts.final_;
  EXPECT_NE(std::string::npos, texts.final_.find("Map input records: 3")) << texts.final_;
  EXPECT_NE(std::string::npos, texts.final_.find("Reduce output records: 8")) << texts.final_;
  const std::map<std::string, int> expected = {{"be", 3}, {"is", 1},  {"not", 1}, {"or", 1},
                                               {"question", 1}, {"that", 1}, {"the", 1},
                                               {"to", 3}};
  std::map<std::string, int> got = e2e::wordCounts(readLocal(dir_ + "/out/part-r-00000"));
  EXPECT_EQ(expected, got);
  EXPECT_GE(poll.last.load(), 0) << "no poll";
  EXPECT_FALSE(poll.wentBack);
  EXPECT_EQ(200, poll.total.load());

  // A second run without delete-output meets the output it left.
  EXPECT_FALSE(job->run(nullptr, nullptr, false, &err_));
  EXPECT_TRUE(contains(err_, "already exists")) << err_.str();
}

TEST_F(Engines, FailingMapperAndMissingClassesExplainThemselves) {
  writeLocal(dir_ + "/in.txt", "one line\n");
  auto job = newJob("com.zorvanta.testjobs.FailingMapper", kTestJobs);
  ASSERT_NE(nullptr, job) << err_.str();
  e2e::Texts texts;
  EXPECT_FALSE(job->run(nullptr, &texts, false, &err_));
  EXPECT_TRUE(contains(err_, "FAILED")) << err_.str();
  EXPECT_TRUE(contains(err_, "FailingMapper refuses record at offset 0")) << err_.str();
  EXPECT_EQ("", texts.final_);

  job = newJob("com.zorvanta.testjobs.NoSuchMapper", kTestJobs);
  ASSERT_NE(nullptr, job) << err_.str();
  EXPECT_FALSE(job->run(nullptr, nullptr, true, &err_));
  EXPECT_TRUE(contains(err_, "com.zorvanta.testjobs.NoSuchMapper")) << err_.str();
  EXPECT_TRUE(contains(err_, "zox-testjobs.jar")) << err_.str();
}

// A slow job: 400 records at 50 ms each, far longer than the test waits.
TEST_F(Engines, SlowJobsStopFromAnotherThreadAndFromThePoll) {
  std::string lines;
  for (int i = 0; i < 400; ++i) lines += "record " + std::to_string(i) + "\n";
  writeLocal(dir_ + "/in.txt", lines);
  for (bool byPoll : {false, true}) {
    SCOPED_TRACE(byPoll ? "stopped by the poll" : "stopped from another thread");
    auto job = newJob("com.zorvanta.testjobs.SlowMapper", kTestJobs);
    ASSERT_NE(nullptr, job) << err_.str();
    set(job, "zox.test.slow.ms", "50");
    set(job, "HADOOP_MAPREDUCE_NUM_REDUCERS", "0");
    Poll poll(byPoll ? 2 : 0);
    ZobString runErr;
    std::atomic<bool> ok{true};
    const auto started = std::chrono::steady_clock::now();
    std::thread runner([&] { ok = job->run(&poll, nullptr, true, &runErr); });
    if (!byPoll) {
      while (poll.working == 0 && std::chrono::steady_clock::now() - started < std::chrono::seconds(60)) {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
      }
      EXPECT_GT(poll.working.load(), 0) << "no progress seen before the stop";
      ZobString stopErr;
      EXPECT_TRUE(job->stop(nullptr, &stopErr)) << stopErr.str();
    }
    runner.join();
    EXPECT_FALSE(ok);
    EXPECT_TRUE(contains(runErr, "stopped at the caller's request")) << runErr.str();
    EXPECT_TRUE(contains(runErr, "KILLED")) << runErr.str();
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(20));
  }
}

class Pig : public Engines {
 protected:
  void SetUp() override {
    Engines::SetUp();
    pig_.reset(hadoop_->createPig(cfg_.get(), ZobString(""), &err_));
    ASSERT_NE(nullptr, pig_) << err_.str();
  }
  // The count script's UDF and parameters, each word taking `delay` ms.
  void prepareCount(const char* delay) {
    pig_->registerJar(ZobString(kTestJobs.c_str()), &err_);
    pig_->setParameter(ZobString("input"), ZobString((dir_ + "/words.txt").c_str()), &err_);
    pig_->setParameter(ZobString("output"), ZobString((dir_ + "/counts").c_str()), &err_);
    pig_->setParameter(ZobString("delay"), ZobString(delay), &err_);
  }
  e2e::Owned<ZOHadoopPig> pig_;
};

const char kCountScript[] =
    "DEFINE UP com.zorvanta.testjobs.Upper('$delay');\n"
    "words = LOAD '$input' AS (w:chararray);\n"
    "grouped = GROUP words BY UP(w);\n"
    "counts = FOREACH grouped GENERATE group, COUNT(words);\n"
    "STORE counts INTO '$output';\n";

TEST_F(Pig, LoadGroupStoreWithParametersAndARegisteredUdf) {
  writeLocal(dir_ + "/words.txt", "b\na\nb\nc\nb\na\n");
  prepareCount("0");
  e2e::Texts texts;
  ASSERT_TRUE(pig_->runCommands(nullptr, &texts, ZobString(kCountScript), nullptr, &err_))
      << err_.str();
  EXPECT_NE(std::string::npos, texts.start_.find("local")) << texts.start_;
  EXPECT_NE(std::string::npos, texts.final_.find("3 records")) << texts.final_;
  const std::map<std::string, int> expected = {{"A", 2}, {"B", 3}, {"C", 1}};
  EXPECT_EQ(expected, e2e::wordCounts(readLocal(dir_ + "/counts/part-r-00000")));
}

TEST_F(Pig, SyntaxErrorAnswersPigsErrorCode) {
  EXPECT_FALSE(pig_->runCommands(nullptr, nullptr, ZobString("words = LOAD 'x';\ncounts = GROUP words BY;\n"),
                                 nullptr, &err_));
  EXPECT_TRUE(contains(err_, "Pig error 1200")) << err_.str();
  EXPECT_TRUE(contains(err_, "line 2")) << err_.str();
}

TEST_F(Pig, StoppedRunEnds) {
  std::string words;
  for (int i = 0; i < 2000; ++i) words += "w" + std::to_string(i % 7) + "\n";
  writeLocal(dir_ + "/words.txt", words);
  prepareCount("50");
  ZobString runErr;
  std::atomic<bool> ok{true};
  const auto started = std::chrono::steady_clock::now();
  std::thread runner([&] {
    ok = pig_->runCommands(nullptr, nullptr, ZobString(kCountScript), nullptr, &runErr);
  });
  std::this_thread::sleep_for(std::chrono::seconds(4));
  ZobString stopErr;
  EXPECT_TRUE(pig_->stop(nullptr, &stopErr)) << stopErr.str();
  runner.join();
  EXPECT_FALSE(ok);
  EXPECT_TRUE(contains(runErr, "stopped at the caller's request")) << runErr.str();
  EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(40));
}

}  // namespace

// A MapReduce job: what it sends when it runs, how it reads the answers, how
// stop and release reach the Java job, and its fixed property list.
#include "ZOHadoopMapReduce.h"
#include "zohadoop/core_test_support.h"

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

namespace {

constexpr int64_t kJob = 41;

using CursorOwner = std::unique_ptr<ZobStringCursor, ReleaseDeleter<ZobStringCursor>>;

class MapReduceRunTest : public JobTest {
 protected:
  void SetUp() override {
    JobTest::SetUp();
    bridge().answer("CreateMapReduce", ScriptedAnswer::outputs({V::ofObject(kJob)}));
    bridge().answer("MapReduceWait", waitAnswer(true, {"job done"}));
  }

  ZOHadoopMapReduce* makeJob(ZOHadoopCfg* cfg = nullptr) {
    ZobString err;
    ZOHadoopMapReduce* job = hadoop_->createMapReduce(cfg, &err);
    EXPECT_NE(job, nullptr) << err.str();
    return job;
  }

  // The property row set of the last "MapReduceRun".
  static ScriptedValue lastDescription() {
    return bridge().lastCallTo("MapReduceRun").inputs.at(1);
  }
};

TEST_F(MapReduceRunTest, EmptyJobSendsANullRowSetAndDeleteOutputAloneIsOneRow) {
  ZOHadoopMapReduce* job = makeJob();
  ASSERT_TRUE(job->run(nullptr, nullptr, false, &err_)) << err_.str();
  EXPECT_THAT(bridge().eventLog(), ElementsAre("create HadoopClient", "call CreateMapReduce",
                                               "call MapReduceRun", "call MapReduceWait"));
  EXPECT_THAT(bridge().lastCallTo("CreateMapReduce").inputs,
              ElementsAre(V::ofNull(WLP_TYPE_OBJECT)));
  EXPECT_THAT(bridge().lastCallTo("MapReduceRun").inputs,
              ElementsAre(V::ofObject(kJob), V::ofNull(WLP_TYPE_ROWSET)));
  EXPECT_THAT(bridge().lastCallTo("MapReduceWait").inputs, ElementsAre(V::ofObject(kJob)));

  ASSERT_TRUE(job->run(nullptr, nullptr, true, &err_)) << err_.str();
  EXPECT_EQ(lastDescription().stringTable(),
            (StringTable{{"HADOOP_MAPREDUCE_DELETE_OUTPUT", std::nullopt}}));
}

// Properties go first in key order whatever the call order, then the delete-output
// row, then paths and jars as added, duplicates included.
TEST_F(MapReduceRunTest, DescriptionRowsComeInTheirFourGroups) {
  ZOHadoopMapReduce* job = makeJob();
  ZobString err("stale");
  job->addJar("lib/second.jar", &err);
  job->addInputPath("/in/a", &err);
  ASSERT_TRUE(job->setProperty("HADOOP_MAPREDUCE_PATH_OUTPUT", "/out", &err));
  EXPECT_TRUE(err.isNull());
  job->addInputPath("/in/a", &err);
  job->setProperty("hadoop_mapreduce_class_map", "org.example.FirstMapper", &err);
  job->setProperty("HADOOP_MAPREDUCE_NUM_REDUCERS", "", &err);
  job->setProperty("HADOOP_MAPREDUCE_CLASS_MAP", "org.example.Mapper", &err);
  job->addJar("lib/first.jar", &err);
  job->setProperty("HADOOP_MAPREDUCE_CLASS_COMBINER", "org.example.Combiner", &err);
  ASSERT_TRUE(job->run(nullptr, nullptr, true, &err)) << err.str();

  const ScriptedValue rows = lastDescription();
  EXPECT_EQ(rows.stringTable(),
            (StringTable{
                {"HADOOP_MAPREDUCE_CLASS_COMBINER", "org.example.Combiner"},
                {"hadoop_mapreduce_class_map", "org.example.Mapper"},
                {"HADOOP_MAPREDUCE_NUM_REDUCERS", std::nullopt},
                {"HADOOP_MAPREDUCE_PATH_OUTPUT", "/out"},
                {"HADOOP_MAPREDUCE_DELETE_OUTPUT", std::nullopt},
                {"HADOOP_MAPREDUCE_PATH_INPUT", "/in/a"},
                {"HADOOP_MAPREDUCE_PATH_INPUT", "/in/a"},
                {"HADOOP_MAPREDUCE_JAR", "lib/second.jar"},
                {"HADOOP_MAPREDUCE_JAR", "lib/first.jar"},
            }));
}

TEST_F(MapReduceRunTest, JobObjectIsMadeFromTheConfigurationOnlyOnce) {
  ZOHadoopCfg* cfg = makeConfiguration(17);
  ZOHadoopMapReduce* job = makeJob(cfg);
  EXPECT_EQ(bridge().callCount("CreateMapReduce"), 0);
  job->addInputPath("/in/one", &err_);
  ASSERT_TRUE(job->run(nullptr, nullptr, false, &err_)) << err_.str();
  job->addJar("extra.jar", &err_);
  ASSERT_TRUE(job->run(nullptr, nullptr, false, &err_)) << err_.str();

  EXPECT_EQ(bridge().callCount("CreateMapReduce"), 1);
  EXPECT_EQ(bridge().lastCallTo("CreateMapReduce").inputs.at(0), V::ofObject(17));
  // The second run sends the whole description again with what was added since.
  EXPECT_EQ(lastDescription().stringTable(),
            (StringTable{{"HADOOP_MAPREDUCE_PATH_INPUT", "/in/one"},
                         {"HADOOP_MAPREDUCE_JAR", "extra.jar"}}));
}

// The start text is read only for a sink (an unreadable one shows whether it
// was touched); a failed job's text goes into the error with or without one.
TEST_F(MapReduceRunTest, TextsReachTheSinkOrTheError) {
  ZOHadoopMapReduce* job = makeJob();
  bridge().answer("MapReduceRun", textRows({"job_1 submitted", "tracking url"}));
  bridge().answer("MapReduceWait", waitAnswer(true, {"map 100%", "reduce 100%"}));
  ASSERT_TRUE(job->run(nullptr, &text_, false, &err_)) << err_.str();
  EXPECT_THAT(text_.texts,
              ElementsAre("start: job_1 submitted\ntracking url", "final: map 100%\nreduce 100%"));

  text_.texts.clear();
  bridge().answer("MapReduceRun", ScriptedAnswer::unreadable());
  bridge().answer("MapReduceWait", waitAnswer(false, {"Job failed", "task 3 lost"}));
  EXPECT_FALSE(job->run(nullptr, &text_, false, &err_));
  EXPECT_EQ(err_.str(), "Job failed\ntask 3 lost");
  EXPECT_FALSE(job->run(nullptr, nullptr, false, &err_));
  EXPECT_EQ(err_.str(), "Job failed\ntask 3 lost");
  EXPECT_THAT(text_.texts, IsEmpty());

  bridge().answer("MapReduceRun", textRows({}));
  EXPECT_FALSE(job->run(nullptr, &text_, false, &err_));
  EXPECT_THAT(text_.texts, ElementsAre("start: "));

  // A text row set whose column is not a string is refused, not read as one.
  bridge().answer("MapReduceWait",
                  ScriptedAnswer::outputs({V::ofBool(false), V::ofRows("\x06", {{V::ofInt(5)}})}));
  EXPECT_FALSE(job->run(nullptr, nullptr, false, &err_));
  EXPECT_TRUE(isMessage(err_, 1354)) << err_.str();

  ScriptedValue broken = rows({"started"});
  broken.failingNextRowAt(0, WLP_ERR_MEMORY);
  bridge().answer("MapReduceRun", ScriptedAnswer::outputs({broken}));
  bridge().answer("MapReduceWait", waitAnswer(true, {}));
  const int waits = bridge().callCount("MapReduceWait");
  EXPECT_TRUE(job->run(nullptr, nullptr, false, &err_)) << err_.str();
  EXPECT_FALSE(job->run(nullptr, &text_, false, &err_));
  EXPECT_TRUE(isMessage(err_, 1354)) << err_.str();
  EXPECT_EQ(bridge().callCount("MapReduceWait"), waits + 1);
}

TEST_F(MapReduceRunTest, FailedJobCreationIsRetriedByTheNextRun) {
  bridge().answerSequence("CreateMapReduce", {ScriptedAnswer::javaError(7, "no such cluster"),
                                              ScriptedAnswer::unreadable(),
                                              ScriptedAnswer::outputs({V::ofObject(kJob)})});
  ZOHadoopMapReduce* job = makeJob();
  EXPECT_FALSE(job->run(nullptr, nullptr, false, &err_));
  EXPECT_THAT(err_.str(), HasSubstr("no such cluster"));
  EXPECT_FALSE(job->run(nullptr, nullptr, false, &err_));
  EXPECT_THAT(err_.str(), HasSubstr("(MapReduce Object)"));
  EXPECT_EQ(bridge().callCount("MapReduceRun"), 0);
  EXPECT_TRUE(job->run(nullptr, nullptr, false, &err_)) << err_.str();
  EXPECT_EQ(bridge().callCount("CreateMapReduce"), 3);
}

TEST_F(MapReduceRunTest, PollStatusGoesWithRunWaitAndStopOnly) {
  ZOHadoopMapReduce* job = makeJob();
  ASSERT_TRUE(job->run(&poll_, nullptr, false, &err_)) << err_.str();
  ASSERT_TRUE(job->stop(&poll_, &err_)) << err_.str();
  job->release();
  std::vector<std::string> polled;
  for (const ScriptedCall& call : bridge().calls()) {
    polled.push_back(call.method + (call.pollGiven ? " " + std::to_string(call.pollValue) : " -"));
  }
  EXPECT_THAT(polled,
              ElementsAre("CreateMapReduce -", "MapReduceRun 250", "MapReduceWait 250",
                          "MapReduceStop 250", "MapReduceRelease -"));
}

// The list is fixed: it needs no proxy, ignores what the job holds, outlives
// its job, and every cursor starts whole.
TEST_F(MapReduceRunTest, CursorWalksTheFixedListOutlivesItsJobAndRewinds) {
  ZobString err("untouched");
  ZOHadoopMapReduce* job = hadoop_->createMapReduce(nullptr, &err);
  job->setProperty("HADOOP_MAPREDUCE_CLASS_MAP", "M", &err);
  err = ZobString("untouched");
  CursorOwner first(job->getPropertyList(&err));
  CursorOwner cursor(job->getPropertyList(&err));
  ASSERT_TRUE(first && cursor);
  EXPECT_EQ(err.str(), "untouched");
  ASSERT_TRUE(first->next());
  job->release();
  EXPECT_TRUE(bridge().eventLog().empty());

  EXPECT_EQ(cursor->getColumns(), 2);
  long count = 0;
  EXPECT_TRUE(cursor->getRows(&count));
  EXPECT_EQ(count, 13);
  EXPECT_EQ(first->getColumnValue(0).str(), "HADOOP_MAPREDUCE_CLASS_COMBINER");

  EXPECT_EQ(cursor->getColumnValue(0).str(), "");
  for (int i = 0; i < 13; ++i) ASSERT_TRUE(cursor->next()) << "row " << i;
  EXPECT_EQ(cursor->getColumnValue(0).str(), "HADOOP_MAPREDUCE_WORKING_DIRECTORY");
  // Past the end the cursor stays put rather than starting over.
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(cursor->next()) << "call " << i;
  EXPECT_EQ(cursor->getColumnValue(0).str(), "");
  EXPECT_FALSE(cursor->getColumnValue(0).isNull());

  EXPECT_TRUE(cursor->top());
  EXPECT_EQ(cursor->getColumnValue(1).str(), "");
  ASSERT_TRUE(cursor->next());
  EXPECT_EQ(cursor->getColumnValue(0).str(), "HADOOP_MAPREDUCE_CLASS_COMBINER");
  for (int column : {2, -1}) {
    EXPECT_EQ(cursor->getColumnValue(column).str(), "") << column;
    EXPECT_EQ(cursor->getColumnName(column).str(), "") << column;
  }
}

}  // namespace

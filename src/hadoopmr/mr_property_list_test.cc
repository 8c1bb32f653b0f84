// The list of job properties handed out as a string cursor.
#include "ZOHadoopMapReduce.h"
#include "hadoopmr/ZOHadoopMRProps.h"
#include "hadoopmr/job_test_support.h"

using ::testing::IsEmpty;

namespace {

struct CursorReleaser {
  void operator()(ZobStringCursor* cursor) const { cursor->release(); }
};
using CursorOwner = std::unique_ptr<ZobStringCursor, CursorReleaser>;

class PropertyListTest : public JobTest {
 protected:
  CursorOwner listOf(ZOHadoopMapReduce* job) {
    ZobString err("untouched");
    CursorOwner cursor(job->getPropertyList(&err));
    EXPECT_NE(cursor, nullptr);
    EXPECT_EQ(err.str(), "untouched");
    return cursor;
  }
  // Released by the fixture: an instance that never acquired its main proxy
  // drops its children without ending them.
  ZOHadoopMapReduce* makeJob() {
    ZobString err;
    job_ = hadoop_->createMapReduce(nullptr, &err);
    return job_;
  }
  void TearDown() override {
    if (job_ != nullptr) job_->release();
    JobTest::TearDown();
  }

  ZOHadoopMapReduce* job_ = nullptr;
};

TEST_F(PropertyListTest, ListsTheThirteenSettableKeysInOrder) {
  CursorOwner cursor = listOf(makeJob());
  EXPECT_EQ(cursor->getColumns(), 2);
  EXPECT_EQ(cursor->getColumnName(0).str(), "MapReduce Property Name");
  EXPECT_EQ(cursor->getColumnName(1).str(), "MapReduce Property Description");
  long count = 0;
  EXPECT_TRUE(cursor->getRows(&count));
  EXPECT_EQ(count, 13);
  EXPECT_TRUE(cursor->cacheAll());
  EXPECT_EQ(cursor->getErrorMessage().str(), "");

  StringTable table;
  while (cursor->next()) {
    table.push_back({cursor->getColumnValue(0).str(), cursor->getColumnValue(1).str()});
  }
  EXPECT_EQ(table,
            (StringTable{
                {"HADOOP_MAPREDUCE_CLASS_COMBINER", "Combiner class name"},
                {"HADOOP_MAPREDUCE_CLASS_GROUPING", "Grouping comparator class name"},
                {"HADOOP_MAPREDUCE_CLASS_INPUTFORMAT", "Input format class name"},
                {"HADOOP_MAPREDUCE_CLASS_MAP", "Map class name"},
                {"HADOOP_MAPREDUCE_CLASS_OUTPUTFORMAT", "Output format class name"},
                {"HADOOP_MAPREDUCE_CLASS_OUTPUTKEY", "Output key name"},
                {"HADOOP_MAPREDUCE_CLASS_OUTPUTVALUE", "Output value class name"},
                {"HADOOP_MAPREDUCE_CLASS_PARTITIONER", "Partitioner class name"},
                {"HADOOP_MAPREDUCE_CLASS_REDUCER", "Reducer class name"},
                {"HADOOP_MAPREDUCE_CLASS_SORT", "Sort comparator class name"},
                {"HADOOP_MAPREDUCE_NUM_REDUCERS", "Number of reduce tasks"},
                {"HADOOP_MAPREDUCE_PATH_OUTPUT", "Output path"},
                {"HADOOP_MAPREDUCE_WORKING_DIRECTORY", "Working directory"},
            }));
  // The list is fixed: it needs no proxy and ignores what the job holds.
  EXPECT_THAT(bridge().eventLog(), IsEmpty());
}

TEST_F(PropertyListTest, CursorStaysPastTheEndAndRewinds) {
  CursorOwner cursor = listOf(makeJob());
  EXPECT_EQ(cursor->getColumnValue(0).str(), "");
  for (int i = 0; i < 13; ++i) EXPECT_TRUE(cursor->next()) << "row " << i;
  EXPECT_EQ(cursor->getColumnValue(0).str(), "HADOOP_MAPREDUCE_WORKING_DIRECTORY");
  // Past the end the cursor stays put rather than starting over.
  for (int i = 0; i < 3; ++i) EXPECT_FALSE(cursor->next()) << "call " << i;
  EXPECT_EQ(cursor->getColumnValue(0).str(), "");
  EXPECT_FALSE(cursor->getColumnValue(0).isNull());

  EXPECT_TRUE(cursor->top());
  EXPECT_EQ(cursor->getColumnValue(1).str(), "");
  ASSERT_TRUE(cursor->next());
  EXPECT_EQ(cursor->getColumnValue(0).str(), "HADOOP_MAPREDUCE_CLASS_COMBINER");
  EXPECT_EQ(cursor->getColumnValue(2).str(), "");
  EXPECT_EQ(cursor->getColumnValue(-1).str(), "");
  EXPECT_EQ(cursor->getColumnName(2).str(), "");
  EXPECT_EQ(cursor->getColumnName(-1).str(), "");
}

TEST_F(PropertyListTest, CursorOutlivesItsJobAndEveryCursorIsWhole) {
  ZOHadoopMapReduce* job = makeJob();
  ZobString err;
  job->setProperty("HADOOP_MAPREDUCE_CLASS_MAP", "M", &err);
  CursorOwner first = listOf(job);
  ASSERT_TRUE(first->next());
  CursorOwner second = listOf(job);
  job->release();
  job_ = nullptr;

  long count = 0;
  second->getRows(&count);
  EXPECT_EQ(count, 13);
  EXPECT_EQ(first->getColumnValue(0).str(), "HADOOP_MAPREDUCE_CLASS_COMBINER");
  for (int i = 0; i < 6; ++i) ASSERT_TRUE(second->next());
  EXPECT_EQ(second->getColumnValue(1).str(), "Output key name");
}

// Rows narrower than the columns, and writes aimed past the rows, as a cursor
// of other contents would meet them.
TEST(MapReduceCursorTest, NarrowRowsReadEmptyAndStrayWritesAreIgnored) {
  ZobString err;
  ZOHadoopMRProps* raw = new ZOHadoopMRProps();
  CursorOwner cursor(raw);
  raw->addColumn("a");
  raw->addColumn("b");
  raw->addColumn("c");
  EXPECT_EQ(raw->addRow(), 0);
  EXPECT_EQ(raw->addRow(), 1);
  raw->setValue(0, 2, "far");
  raw->setValue(1, 0, "near");
  raw->setValue(2, 0, "nowhere");
  raw->setValue(-1, 0, "nowhere");

  long count = 0;
  raw->getRows(&count);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(raw->getColumns(), 3);
  EXPECT_EQ(raw->getColumnName(2).str(), "c");
  ASSERT_TRUE(raw->next());
  EXPECT_EQ(raw->getColumnValue(0).str(), "");
  EXPECT_FALSE(raw->getColumnValue(0).isNull());
  EXPECT_EQ(raw->getColumnValue(2).str(), "far");
  ASSERT_TRUE(raw->next());
  EXPECT_EQ(raw->getColumnValue(0).str(), "near");
  EXPECT_EQ(raw->getColumnValue(1).str(), "");
  EXPECT_FALSE(raw->next());
}

}  // namespace

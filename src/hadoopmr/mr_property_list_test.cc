// The list of job properties handed out as a string cursor.
#include "ZOHadoopMapReduce.h"
#include "hadoopmr/job_test_support.h"

namespace {

struct CursorReleaser {
  void operator()(ZobStringCursor* cursor) const { cursor->release(); }
};
using CursorOwner = std::unique_ptr<ZobStringCursor, CursorReleaser>;

class PropertyListTest : public JobTest {};

// The list is fixed: it needs no proxy, ignores what the job holds, outlives
// its job, and every cursor starts whole.
TEST_F(PropertyListTest, CursorWalksTheFixedListOutlivesItsJobAndRewinds) {
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

// An open HDFS file: reads that hand out the response's own bytes, writes that
// grow the size, and a close that happens once, by hand or at destruction.
#include "hadoophdfs/ZOHadoopFileImpl.h"

#include <cstring>

#include "hadoophdfs/hdfs_test_support.h"

using ::testing::ElementsAre;

namespace {

class FileTest : public HdfsTest {
 protected:
  static constexpr int64_t kFileObject = 321;

  void SetUp() override {
    HdfsTest::SetUp();
    hdfs_ = makeService();
    answerOpen(kFileObject, entryStats("f.txt", {{"Size", "100"}}));
    file_ = openFile(hdfs_);
    log_.clear();
  }
  void TearDown() override {
    file_.reset();
    HdfsTest::TearDown();
  }

  ZOHadoopHDFS* hdfs_ = nullptr;
  FileOwner file_;
};

TEST_F(FileTest, ReadHandsOutTheResponseBytesUntilTheNextRead) {
  bridge().answerSequence("HDFSFileRead",
                          {ScriptedAnswer::outputs({ScriptedValue::ofBytes("hello")}),
                           ScriptedAnswer::outputs({ScriptedValue::ofBytes("")})});
  FixedPoll poll;
  const char* data = nullptr;
  ZobString err("stale");
  ASSERT_EQ(file_->read(&poll, &data, 64, &err), 5);
  EXPECT_TRUE(err.isNull());
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(std::string(data, 5), "hello");
  ScriptedCall call = *bridge().lastCallTo("HDFSFileRead");
  EXPECT_TRUE(call.pollGiven);
  EXPECT_THAT(call.inputs,
              ElementsAre(ScriptedValue::ofObject(kFileObject), ScriptedValue::ofInt(64)));
  // One response is held for the bytes; the next read lets it go.
  EXPECT_EQ(wireObjectsLeft(), 1);

  EXPECT_EQ(file_->read(nullptr, &data, 64, &err), 0);
  EXPECT_FALSE(bridge().lastCallTo("HDFSFileRead")->pollGiven);
  EXPECT_EQ(wireObjectsLeft(), 1);
}

TEST_F(FileTest, FailedAndUnreadableReadsReturnMinusOne) {
  bridge().answerSequence("HDFSFileRead",
                          {ScriptedAnswer::javaError(4, "broken pipe"),
                           ScriptedAnswer::unreadable(WLP_ERR_MEMORY,
                                                      {ScriptedValue::ofBytes("xy")})});
  const char* data = "untouched";
  ZobString err;
  EXPECT_EQ(file_->read(nullptr, &data, 8, &err), -1);
  EXPECT_EQ(data, nullptr);
  EXPECT_TRUE(isMessage(err, 1725)) << err.str();

  data = "untouched";
  EXPECT_EQ(file_->read(nullptr, &data, 8, &err), -1);
  EXPECT_STREQ(data, "untouched");
  EXPECT_TRUE(isMessage(err, 1354)) << err.str();
}

TEST_F(FileTest, WritesSendTheCallersBytesAndGrowTheSizeOnlyWhenTheyWork) {
  bridge().answerSequence("HDFSFileWrite", {ScriptedAnswer::outputs({}),
                                            ScriptedAnswer::outputs({}),
                                            ScriptedAnswer::javaError(1, "quota")});
  bridge().answer("HDFSFileRead", ScriptedAnswer::outputs({ScriptedValue::ofBytes("keep")}));
  FixedPoll poll;
  ZobString err;
  const char* data = nullptr;
  ASSERT_EQ(file_->read(nullptr, &data, 4, &err), 4);
  const std::string ten(10, 'a'), twenty(20, 'b');
  ASSERT_TRUE(file_->write(&poll, ten.data(), 10, &err));
  ASSERT_TRUE(file_->write(nullptr, twenty.data(), 20, &err));
  EXPECT_EQ(file_->getSize(), 130);
  EXPECT_FALSE(file_->write(nullptr, ten.data(), 10, &err));
  EXPECT_TRUE(isMessage(err, 1725));
  EXPECT_EQ(file_->getSize(), 130);

  EXPECT_TRUE(bridge().callsTo("HDFSFileWrite").at(0).pollGiven);
  EXPECT_THAT(bridge().callsTo("HDFSFileWrite").at(1).inputs,
              ElementsAre(ScriptedValue::ofObject(kFileObject), ScriptedValue::ofBytes(twenty)));
  // A write leaves the bytes of the last read valid.
  EXPECT_EQ(std::string(data, 4), "keep");
}

TEST_F(FileTest, CloseHappensOnceAndForgetsTheFileEvenWhenItFails) {
  bridge().answer("HDFSFileClose", ScriptedAnswer::javaError(8, "lease lost"));
  ZobString err;
  EXPECT_FALSE(file_->close(&err));
  EXPECT_TRUE(isMessage(err, 1725));
  EXPECT_THAT(bridge().lastCallTo("HDFSFileClose")->inputs,
              ElementsAre(ScriptedValue::ofObject(kFileObject)));

  err = ZobString("stale");
  EXPECT_TRUE(file_->close(&err));
  EXPECT_TRUE(err.isNull());
  EXPECT_EQ(bridge().callCount("HDFSFileClose"), 1);

  // A closed file still calls through, with no Java object.
  const char* data = nullptr;
  file_->read(nullptr, &data, 1, &err);
  EXPECT_EQ(bridge().lastCallTo("HDFSFileRead")->inputs[0], ScriptedValue::ofObject(0));
  file_.reset();
  EXPECT_EQ(bridge().callCount("HDFSFileClose"), 1);
}

// A file outlives the service that opened it, and destroying it while open
// closes it first.
TEST_F(FileTest, AFileOutlivesItsServiceAndClosesWhenDestroyed) {
  hdfs_->release();
  bridge().answer("HDFSFileRead", ScriptedAnswer::outputs({ScriptedValue::ofBytes("late")}));
  const char* data = nullptr;
  ZobString err;
  ASSERT_EQ(file_->read(nullptr, &data, 4, &err), 4) << err.str();
  EXPECT_EQ(std::string(data, 4), "late");
  file_.reset();
  EXPECT_EQ(bridge().callCount("HDFSFileClose"), 1);
}

}  // namespace

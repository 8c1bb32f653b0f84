// The raw stream over an HDFS file: buffer sizing, zero-copy and gathered reads,
// whole-buffer writes, skipping, closing and what a stream gives back at its end.
#include "hadoopbaseio/ZobIOHadoop.h"

#include <cstring>

#include "zohadoop/core_test_support.h"

using ::testing::ElementsAre;

namespace {

class RawIOTest : public AdapterTest {
 protected:
  void SetUp() override {
    AdapterTest::SetUp();
    fs_.files["/data/f.txt"] = content_;
    fs_.directories.insert("/data");
  }
  void TearDown() override {
    raw_.reset();
    uri_.reset();
    AdapterTest::TearDown();
  }

  // A stream on `text`, opened with `mode` and `bufferSize` (0: default).
  bool open(const std::string& text, ZobTxtFileOpenMode mode, int bufferSize = 0,
            int* chosen = nullptr) {
    uri_ = uri(text);
    ZobString err("stale");
    raw_.reset(createRawIO(uri_.get(), &err));
    EXPECT_NE(raw_, nullptr);
    int size = bufferSize;
    int reserved = -3;
    const bool opened = raw_->open(mode, 0, &size, &reserved);
    if (opened) {
      EXPECT_EQ(reserved, 0);
    }
    if (chosen) *chosen = size;
    return opened;
  }
  std::vector<int> readCounts() const {
    std::vector<int> counts;
    for (const ScriptedCall& call : bridge().callsTo("HDFSFileRead")) {
      counts.push_back(call.inputs[1].integer);
    }
    return counts;
  }

  std::string content_ = std::string(150, 'a') + std::string(150, 'b');
  UriOwner uri_;
  RawOwner raw_;
};

TEST_F(RawIOTest, BufferSizeComesFromTheCallerElseTheUriElseTheDefault) {
  int size = 0;
  ASSERT_TRUE(open("hdfs://nn:8020/data/f.txt", ZOB_TXTFILE_READ, 0, &size));
  EXPECT_EQ(size, 16384);
  EXPECT_EQ(bridge().lastCallTo("HDFSOpenFile").inputs[4], V::ofInt(16384));
  EXPECT_EQ(raw_->getURI().str(), "/data/f.txt");

  ASSERT_TRUE(open("hdfs://nn:8020/data/f.txt?buffer-size=100", ZOB_TXTFILE_READ, 0, &size));
  EXPECT_EQ(size, 100);
  ASSERT_TRUE(open("hdfs://nn:8020/data/f.txt?buffer-size=100", ZOB_TXTFILE_READ, 77, &size));
  EXPECT_EQ(size, 77);
  EXPECT_EQ(bridge().lastCallTo("HDFSOpenFile").inputs[4], V::ofInt(77));

  // The URI's path shows only once open; a non-negative fourth argument is left alone.
  raw_.reset(createRawIO(uri_.get(), nullptr));
  EXPECT_EQ(raw_->getURI().str(), "");
  int reserved = 5;
  ASSERT_TRUE(raw_->open(ZOB_TXTFILE_READ, 0, &size, &reserved));
  EXPECT_EQ(reserved, 5);
  EXPECT_EQ(raw_->size(), 300);
}

// Without a URI the configuration refuses (the adapter adds no text of its
// own); without a place for the size the stream takes its usual one.
TEST_F(RawIOTest, AStreamWithoutUriFailsToOpenWithATextAndOneWithoutSizeOpens) {
  raw_.reset(createRawIO(nullptr, &err_));
  ASSERT_NE(raw_, nullptr);
  int size = 0;
  EXPECT_FALSE(raw_->open(ZOB_TXTFILE_READ, 0, &size, nullptr));
  EXPECT_TRUE(isMessage(raw_->getErrorMessage(), 29)) << raw_->getErrorMessage().str();
  EXPECT_EQ(bridge().callCount("CreateConfig"), 0);
  uri_ = uri("hdfs://nn:8020/data/f.txt");
  raw_.reset(createRawIO(uri_.get(), &err_));
  EXPECT_TRUE(raw_->open(ZOB_TXTFILE_READ, 0, nullptr, nullptr)) << raw_->getErrorMessage().str();
  EXPECT_EQ(bridge().lastCallTo("HDFSOpenFile").inputs[4], V::ofInt(16384));
  EXPECT_EQ(raw_->getBytes(nullptr, 1, 10), -1);
  EXPECT_EQ(raw_->putBytes(nullptr, 10), -1);
}

TEST_F(RawIOTest, OneReadThatBringsTheMinimumIsHandedOutWithoutCopy) {
  ASSERT_TRUE(open("hdfs://nn:8020/data/f.txt", ZOB_TXTFILE_READ));
  fs_.readLimits = {60, 50};
  const char* gathered = nullptr;
  ASSERT_EQ(raw_->getBytes(&gathered, 100, 200), 110);
  EXPECT_EQ(std::string(gathered, 110), content_.substr(0, 110));
  EXPECT_EQ(gathered[110], '\0');
  EXPECT_THAT(readCounts(), ElementsAre(200, 140));

  const char* direct = nullptr;
  ASSERT_EQ(raw_->getBytes(&direct, 0, 30), 30);
  EXPECT_EQ(std::string(direct, 30), content_.substr(110, 30));
  EXPECT_EQ(readCounts().size(), 3u);
  // Not the adapter's buffer: the bytes came straight from the read.
  EXPECT_TRUE(direct < gathered || direct > gathered + 200);
}

// Once gathering has begun every later read is copied too; gathering stops as
// soon as it holds the minimum, or at the end of the file even below it.
TEST_F(RawIOTest, GatheredReadsEndAtTheMinimumOrAtTheEndOfTheFile) {
  struct Case {
    std::vector<int> limits;
    int minimum, maximum, got;
    std::vector<int> reads;
  };
  const Case cases[] = {{{60, 120, 40}, 100, 200, 180, {200, 140}},
                        {{40}, 80, 100, 80, {100, 60}},
                        {{120}, 350, 1000, 40, {1000, 960}}};
  ASSERT_TRUE(open("hdfs://nn:8020/data/f.txt", ZOB_TXTFILE_READ));
  size_t at = 0, calls = 0;
  for (const Case& c : cases) {
    fs_.readLimits = c.limits;
    const char* data = nullptr;
    ASSERT_EQ(raw_->getBytes(&data, c.minimum, c.maximum), c.got);
    EXPECT_EQ(std::string(data, c.got), content_.substr(at, c.got));
    EXPECT_EQ(data[c.got], '\0');
    const std::vector<int> counts = readCounts();
    EXPECT_EQ(std::vector<int>(counts.begin() + calls, counts.end()), c.reads);
    at += c.got;
    calls = counts.size();
  }
  const char* data = nullptr;
  EXPECT_EQ(raw_->getBytes(&data, 1, 10), 0);
}

TEST_F(RawIOTest, SkipMovesInBufferSizedStepsAndReturnsZeroPastTheEnd) {
  ASSERT_TRUE(open("hdfs://nn:8020/data/f.txt", ZOB_TXTFILE_READ, 64));
  EXPECT_EQ(raw_->skipBytes(0), 0);
  EXPECT_EQ(raw_->skipBytes(-4), 0);
  EXPECT_TRUE(readCounts().empty());
  EXPECT_EQ(raw_->skipBytes(150), 150);
  EXPECT_THAT(readCounts(), ElementsAre(64, 64, 22));
  const char* data = nullptr;
  ASSERT_EQ(raw_->getBytes(&data, 5, 5), 5);
  EXPECT_EQ(std::string(data, 5), "bbbbb");
  EXPECT_EQ(raw_->skipBytes(1000), 0);
  // A failed read fails the skip, with its text.
  bridge().answer("HDFSFileRead", ScriptedAnswer::javaError(5, "checksum"));
  EXPECT_LT(raw_->skipBytes(5), 0);
  EXPECT_TRUE(isMessage(raw_->getErrorMessage(), 1725)) << raw_->getErrorMessage().str();
}

TEST_F(RawIOTest, WritesReachHdfsInWholeBuffersAndTheRestAtClose) {
  int size = 0;
  ASSERT_TRUE(open("hdfs://nn:8020/data/out.bin", ZOB_TXTFILE_WRITE, 8, &size));
  EXPECT_EQ(bridge().lastCallTo("HDFSOpenFile").inputs[2], V::ofInt(1));
  const std::string data = "0123456789abcdefX";
  EXPECT_EQ(raw_->putBytes(data.data(), 17), 17);
  EXPECT_THAT(fs_.writes, ElementsAre(8, 8));
  EXPECT_EQ(raw_->putBytes(data.data(), 0), 0);
  EXPECT_EQ(raw_->putBytes("yz", 2), 2);
  EXPECT_EQ(raw_->size(), 16);
  EXPECT_TRUE(raw_->close());
  EXPECT_THAT(fs_.writes, ElementsAre(8, 8, 3));
  EXPECT_EQ(fs_.files["/data/out.bin"], data + "yz");
  EXPECT_TRUE(fs_.open.empty());
  EXPECT_EQ(bridge().methodsCalled().back(), "HDFSFileClose");
}

TEST_F(RawIOTest, AFailedWriteKeepsItsTextAndTheHeldBytesAreNotSentAtClose) {
  ASSERT_TRUE(open("hdfs://nn:8020/data/out.bin", ZOB_TXTFILE_WRITE, 4));
  bridge().answerNth("HDFSFileWrite", 1, ScriptedAnswer::javaError(7, "disk full"));
  EXPECT_EQ(raw_->putBytes("abcdef", 6), -1);
  const ZobString error = raw_->getErrorMessage();
  EXPECT_TRUE(isMessage(error, 1725)) << error.str();
  EXPECT_TRUE(raw_->close());
  EXPECT_EQ(bridge().callCount("HDFSFileWrite"), 1);
  EXPECT_EQ(bridge().callCount("HDFSFileClose"), 1);
}

TEST_F(RawIOTest, AFailedFinalWriteStillClosesAndReportsTheWrite) {
  ASSERT_TRUE(open("hdfs://nn:8020/data/out.bin", ZOB_TXTFILE_WRITE, 4));
  EXPECT_EQ(raw_->putBytes("ab", 2), 2);
  bridge().answer("HDFSFileWrite", ScriptedAnswer::javaError(7, "disk full"));
  bridge().answer("HDFSFileClose", ScriptedAnswer::javaError(8, "close failed"));
  EXPECT_FALSE(raw_->close());
  const std::string error = raw_->getErrorMessage().str();
  EXPECT_NE(error.find("disk full"), std::string::npos) << error;
  EXPECT_EQ(bridge().callCount("HDFSFileClose"), 1);
}

// Closing a read stream only closes the file; the release ends file, service,
// configuration and instance in that order. A stream never opened calls nothing.
TEST_F(RawIOTest, CloseAndReleaseEndWhatTheStreamMadeInOrder) {
  uri_ = uri("hdfs://nn:8020/data/f.txt");
  raw_.reset(createRawIO(uri_.get(), nullptr));
  EXPECT_TRUE(raw_->close());
  raw_.reset();
  EXPECT_TRUE(bridge().eventLog().empty());

  ASSERT_TRUE(open("hdfs://nn:8020/data/f.txt", ZOB_TXTFILE_READ));
  size_t before = bridge().eventLog().size();
  EXPECT_TRUE(raw_->close());
  EXPECT_THAT(bridge().eventLog(before), ElementsAre("call HDFSFileClose"));

  ASSERT_TRUE(open("hdfs://nn:8020/data/f.txt", ZOB_TXTFILE_READ));
  before = bridge().eventLog().size();
  raw_.reset();
  EXPECT_THAT(bridge().eventLog(before), ElementsAre("call HDFSFileClose", "call HDFSRelease",
                                                     "call CfgRelease", "destroy HadoopClient"));
}

TEST_F(RawIOTest, AFailedOpenKeepsItsObjectsUntilRelease) {
  EXPECT_FALSE(open("hdfs://nn:8020/data/missing", ZOB_TXTFILE_READ));
  EXPECT_TRUE(isMessage(raw_->getErrorMessage(), 1725));
  EXPECT_NE(raw_->getErrorMessage().str().find("/data/missing"), std::string::npos);
  EXPECT_EQ(bridge().callCount("HDFSRelease"), 0);
  raw_.reset();
  EXPECT_EQ(bridge().callCount("HDFSRelease"), 1);
  EXPECT_EQ(bridge().callCount("CfgRelease"), 1);

  // A service that cannot be made leaves nothing behind.
  bridge().answer("CreateHDFS", ScriptedAnswer::javaError(3, "no file system"));
  EXPECT_FALSE(open("hdfs://nn:8020/data/f.txt", ZOB_TXTFILE_READ));
  EXPECT_NE(raw_->getErrorMessage().str().find("no file system"), std::string::npos);
  EXPECT_EQ(bridge().callCount("CfgRelease"), 2);
  EXPECT_EQ(bridge().callCount("HDFSOpenFile"), 1);
}

}  // namespace

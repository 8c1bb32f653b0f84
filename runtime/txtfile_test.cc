#include "zob_txtfile.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "zob_framework.h"
#include "zob_uri.h"

namespace {

struct TxtFileReleaser {
  void operator()(ZobTxtFile* f) const {
    if (f) f->release();
  }
};
using TxtFilePtr = std::unique_ptr<ZobTxtFile, TxtFileReleaser>;

std::vector<std::string> readAll(ZobTxtFile* file) {
  std::vector<std::string> lines;
  ZobString line;
  while (file->readLine(&line)) lines.push_back(line.str());
  EXPECT_EQ(0, file->getErrorMessage().length()) << file->getErrorMessage().str();
  return lines;
}

// ---- Local files -------------------------------------------------------------

class LocalTxtFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    char dir[] = "/tmp/txtfile_testXXXXXX";
    ASSERT_NE(nullptr, mkdtemp(dir));
    dir_ = dir;
  }
  void TearDown() override { ASSERT_EQ(0, std::system(("rm -rf '" + dir_ + "'").c_str())); }
  std::string file(const std::string& name) { return dir_ + "/" + name; }

  std::string dir_;
};

TEST_F(LocalTxtFileTest, WrittenLinesReadBack) {
  std::string path = file("lines.txt");
  ZobString err("stale");
  TxtFilePtr out(zobTxtFileOpen(path.c_str(), ZOB_TXTFILE_WRITE, 0, 0, &err));
  ASSERT_TRUE(out) << err.str();
  EXPECT_TRUE(err.isNull());
  EXPECT_TRUE(out->writeLine(ZobString("first")));
  EXPECT_TRUE(out->writeLine(ZobString("")));
  EXPECT_TRUE(out->writeLine(ZobString("d\xC3\xA9j\xC3\xA0")));
  ZobString line;
  EXPECT_FALSE(out->readLine(&line));
  EXPECT_NE(0, out->getErrorMessage().length());
  EXPECT_TRUE(out->close());
  out.reset(zobTxtFileOpen(path.c_str(), ZOB_TXTFILE_APPEND, 0, 64, &err));
  ASSERT_TRUE(out);
  EXPECT_TRUE(out->writeLine(ZobString("appended")));
  out.reset();  // release closes
  std::ifstream raw(path, std::ios::binary);
  EXPECT_EQ("first\n\nd\xC3\xA9j\xC3\xA0\nappended\n",
            std::string(std::istreambuf_iterator<char>(raw), {}));

  TxtFilePtr in(zobTxtFileOpen(path.c_str(), ZOB_TXTFILE_READ, 0, 0, &err));
  ASSERT_TRUE(in);
  EXPECT_EQ((std::vector<std::string>{"first", "", "d\xC3\xA9j\xC3\xA0", "appended"}),
            readAll(in.get()));
  EXPECT_FALSE(in->writeLine(ZobString("no")));
  EXPECT_NE(0, in->getErrorMessage().length());
}

TEST_F(LocalTxtFileTest, CrLfEndingsAndAnUnterminatedLastLine) {
  std::string path = file("crlf name.txt");
  std::ofstream(path, std::ios::binary) << "a\r\nb\r\n\r\nlone\rcr\nlast\r";
  TxtFilePtr in(zobTxtFileOpen(path.c_str(), ZOB_TXTFILE_READ, 0, 0, nullptr));
  ASSERT_TRUE(in);
  EXPECT_EQ((std::vector<std::string>{"a", "b", "", "lone\rcr", "last\r"}), readAll(in.get()));

  // The same file named by a file URI, with its space percent-encoded.
  std::string uri = "file://" + dir_ + "/crlf%20name.txt";
  in.reset(zobTxtFileOpen(uri.c_str(), ZOB_TXTFILE_READ, 0, 0, nullptr));
  ASSERT_TRUE(in);
  EXPECT_EQ(5u, readAll(in.get()).size());
}

TEST_F(LocalTxtFileTest, OpenFailuresSayWhy) {
  ZobString err;
  EXPECT_EQ(nullptr, zobTxtFileOpen((dir_ + "/missing.txt").c_str(), ZOB_TXTFILE_READ, 0, 0,
                                    &err));
  EXPECT_NE(std::string::npos, err.str().find("missing.txt")) << err.str();
  EXPECT_EQ(nullptr, zobTxtFileOpen(nullptr, ZOB_TXTFILE_READ, 0, 0, &err));
  EXPECT_EQ(nullptr, zobTxtFileOpen("file:///tmp/bad%zz", ZOB_TXTFILE_READ, 0, 0, &err));
  EXPECT_EQ(nullptr, zobTxtFileOpen("/tmp/x", static_cast<ZobTxtFileOpenMode>(9), 0, 0, nullptr));
  // A directory (a listing's directory entry, say) is no text file to read.
  EXPECT_EQ(nullptr, zobTxtFileOpen(dir_.c_str(), ZOB_TXTFILE_READ, 0, 0, &err));
  EXPECT_NE(std::string::npos, err.str().find("Is a directory")) << err.str();
}

// ---- Raw streams ---------------------------------------------------------------

// Files of the fake file system, by path, and what the streams were asked.
struct FakeFs {
  std::map<std::string, std::string> files;
  int lastFlags = -1;
  int lastBufferSize = -1;
  int lastMaxBytes = -1;
  int released = 0;
  int closed = 0;
  bool failOpen = false;
  int failReadAfter = -1;  // bytes after which getBytes fails
};
FakeFs* g_fs = nullptr;

// Hands out at most three bytes per call so that lines cross chunk borders.
class FakeRaw final : public ZobIORaw {
 public:
  explicit FakeRaw(ZoHadoopURI* uri) : uri_(uri) {}
  bool close() override {
    ++g_fs->closed;
    if (mode_ != ZOB_TXTFILE_READ) g_fs->files[uri_->getPath().str()] = data_;
    return true;
  }
  int getBytes(const char** data, int minBytes, int maxBytes) override {
    g_fs->lastMaxBytes = maxBytes;
    if (g_fs->failReadAfter >= 0 && static_cast<int>(pos_) >= g_fs->failReadAfter) {
      error_ = "fake read failure";
      return -1;
    }
    size_t n = std::min<size_t>({3, static_cast<size_t>(maxBytes), data_.size() - pos_});
    *data = data_.data() + pos_;
    pos_ += n;
    return static_cast<int>(n);
  }
  ZobString getErrorMessage() override { return ZobString(error_.c_str()); }
  ZobString getURI() override { return uri_->getPath(); }
  bool open(ZobTxtFileOpenMode mode, int openFlags, int* bufferSize, int*) override {
    g_fs->lastFlags = openFlags;
    g_fs->lastBufferSize = *bufferSize;
    if (*bufferSize == 0) *bufferSize = 5;
    if (g_fs->failOpen) {
      error_ = "fake open failure";
      return false;
    }
    mode_ = mode;
    if (mode == ZOB_TXTFILE_READ) data_ = g_fs->files.at(uri_->getPath().str());
    if (mode == ZOB_TXTFILE_APPEND) data_ = g_fs->files[uri_->getPath().str()];
    return true;
  }
  int putBytes(const char* data, int length) override {
    data_.append(data, static_cast<size_t>(length));
    return length;
  }
  void release() override {
    // The URI must still be alive here; the sanitizer build catches it if not.
    EXPECT_FALSE(uri_->getScheme().str().empty());
    ++g_fs->released;
    delete this;
  }
  long size() override { return static_cast<long>(data_.size()); }
  long skipBytes(long) override { return -1; }

 private:
  ~FakeRaw() = default;
  ZoHadoopURI* uri_;
  ZobTxtFileOpenMode mode_ = ZOB_TXTFILE_READ;
  std::string data_;
  size_t pos_ = 0;
  std::string error_;
};

ZobIORaw* fakeFactory(ZoHadoopURI* uri, ZobString*) { return new FakeRaw(uri); }
ZobIORaw* refusingFactory(ZoHadoopURI*, ZobString* err) {
  err->assign("no cluster for this URI");
  return nullptr;
}

class RawTxtFileTest : public ::testing::Test {
 protected:
  void SetUp() override {
    g_fs = &fs_;
    zobTxtFileSetRawIOFactory(fakeFactory);
  }
  void TearDown() override {
    zobTxtFileSetRawIOFactory(nullptr);
    g_fs = nullptr;
  }
  FakeFs fs_;
};

TEST_F(RawTxtFileTest, LinesGoThroughTheStream) {
  ZobString err;
  TxtFilePtr out(zobTxtFileOpen("hdfs://nn:8020/t/a.txt?k=v", ZOB_TXTFILE_WRITE, 7, 0, &err));
  ASSERT_TRUE(out) << err.str();
  EXPECT_EQ(7, fs_.lastFlags);
  EXPECT_EQ(0, fs_.lastBufferSize);
  EXPECT_TRUE(out->writeLine(ZobString("alpha beta")));
  EXPECT_TRUE(out->writeLine(ZobString("")));
  EXPECT_TRUE(out->close());
  EXPECT_EQ("alpha beta\n\n", fs_.files["/t/a.txt"]);
  out.reset();
  EXPECT_EQ(1, fs_.closed);  // release after close does not close twice
  EXPECT_EQ(1, fs_.released);

  fs_.files["/t/b.txt"] = "one\r\ntwo-is-longer\n\nlast";
  TxtFilePtr in(zobTxtFileOpen("hdfs://nn:8020/t/b.txt", ZOB_TXTFILE_READ, 0, 4096, &err));
  ASSERT_TRUE(in);
  EXPECT_EQ(4096, fs_.lastBufferSize);
  EXPECT_EQ((std::vector<std::string>{"one", "two-is-longer", "", "last"}), readAll(in.get()));
  EXPECT_EQ(4096, fs_.lastMaxBytes);
  in.reset();
  EXPECT_EQ(2, fs_.closed);  // release closes a stream still open
  EXPECT_EQ(2, fs_.released);
}

TEST_F(RawTxtFileTest, StreamDefaultBufferSizeBoundsEachRead) {
  fs_.files["/big.txt"] = std::string(40, 'x') + "\r\n";
  TxtFilePtr in(zobTxtFileOpen("webhdfs://nn/big.txt", ZOB_TXTFILE_READ, 0, 0, nullptr));
  ASSERT_TRUE(in);
  ZobString line;
  ASSERT_TRUE(in->readLine(&line));
  EXPECT_EQ(std::string(40, 'x'), line.str());
  EXPECT_EQ(5, fs_.lastMaxBytes);
  EXPECT_FALSE(in->readLine(&line));
}

TEST_F(RawTxtFileTest, StreamFailuresReachTheCaller) {
  fs_.files["/f.txt"] = "abcdef\nrest";
  fs_.failReadAfter = 6;
  TxtFilePtr in(zobTxtFileOpen("hdfs://nn/f.txt", ZOB_TXTFILE_READ, 0, 0, nullptr));
  ASSERT_TRUE(in);
  ZobString line;
  EXPECT_FALSE(in->readLine(&line));
  EXPECT_EQ("fake read failure", in->getErrorMessage().str());

  ZobString err;
  fs_.failOpen = true;
  EXPECT_EQ(nullptr, zobTxtFileOpen("hdfs://nn/f.txt", ZOB_TXTFILE_READ, 0, 0, &err));
  EXPECT_EQ("fake open failure", err.str());
  EXPECT_EQ(1, fs_.released);  // the failed open; the reader above is still alive

  zobTxtFileSetRawIOFactory(refusingFactory);
  EXPECT_EQ(nullptr, zobTxtFileOpen("hdfs://nn/f.txt", ZOB_TXTFILE_READ, 0, 0, &err));
  EXPECT_EQ("no cluster for this URI", err.str());

  // With no factory set (this program has no Hadoop client library), nothing
  // can open the scheme.
  zobTxtFileSetRawIOFactory(nullptr);
  err.setNull(false);
  EXPECT_EQ(nullptr, zobTxtFileOpen("hdfs://nn/f.txt", ZOB_TXTFILE_READ, 0, 0, &err));
  EXPECT_NE(0, err.length());
  EXPECT_EQ(nullptr, zobTxtFileOpen("hdfs://nn:x/f.txt", ZOB_TXTFILE_READ, 0, 0, &err));
}

}  // namespace

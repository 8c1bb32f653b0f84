// Multi-megabyte streams through the file framework's raw I/O entry point,
// the way the host platform reads and writes Hadoop files.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "ZOHadoopIO.h"
#include "local_hdfs_fixture.h"

namespace {

using jvmtest::LocalHdfs;

struct RawIODeleter {
  void operator()(ZobIORaw* io) const { io->release(); }
};
using RawIO = std::unique_ptr<ZobIORaw, RawIODeleter>;
using Uri = std::unique_ptr<ZoHadoopURI, ZoHadoopURIDeleter>;

std::string pattern(size_t size, unsigned seed) {
  std::string data(size, '\0');
  unsigned x = seed;
  for (size_t i = 0; i < size; ++i) {
    x = x * 1103515245u + 12345u;
    data[i] = static_cast<char>(x >> 16);
  }
  return data;
}

class RawStreams : public LocalHdfs {
 protected:
  RawIO open(const std::string& path, int bufferSize, ZobTxtFileOpenMode mode) {
    std::string text = "file://" + path +
                       (bufferSize > 0 ? "?buffer-size=" + std::to_string(bufferSize) : "");
    uri_.reset(getURIFromURIString(ZobString(text.c_str())));
    EXPECT_NE(nullptr, uri_) << text;
    if (!uri_) return nullptr;
    ZobString err;
    RawIO io(createRawIO(uri_.get(), &err));
    EXPECT_NE(nullptr, io) << err.str();
    if (!io) return nullptr;
    int size = 0;
    EXPECT_TRUE(io->open(mode, 0, &size, nullptr)) << io->getErrorMessage().str();
    return io;
  }

  Uri uri_;
};

TEST_F(RawStreams, MegabytesRoundTripWithSeveralBufferSizes) {
  const std::string data = pattern((6 << 20) + 12345, 7);
  for (int bufferSize : {0, 4096, 65536, 1 << 20}) {
    const std::string path = at("round-" + std::to_string(bufferSize) + ".bin");
    {
      RawIO out = open(path, bufferSize, ZOB_TXTFILE_WRITE);
      ASSERT_NE(nullptr, out);
      // Odd piece sizes, so that writes straddle the adapter's buffer.
      for (size_t at = 0; at < data.size();) {
        int piece = static_cast<int>(std::min<size_t>(data.size() - at, 77777));
        ASSERT_EQ(piece, out->putBytes(data.data() + at, piece)) << out->getErrorMessage().str();
        at += piece;
      }
      ASSERT_TRUE(out->close()) << out->getErrorMessage().str();
    }
    EXPECT_TRUE(readLocal(path) == data) << bufferSize;

    RawIO in = open(path, bufferSize, ZOB_TXTFILE_READ);
    ASSERT_NE(nullptr, in);
    EXPECT_EQ(static_cast<long>(data.size()), in->size());
    std::string back;
    for (;;) {
      const char* bytes = nullptr;
      int n = in->getBytes(&bytes, 1, 1 << 20);
      ASSERT_GE(n, 0) << in->getErrorMessage().str();
      if (n == 0) break;
      back.append(bytes, static_cast<size_t>(n));
    }
    EXPECT_TRUE(back == data) << bufferSize << ": " << back.size() << " bytes back";
    in->close();
  }
}

TEST_F(RawStreams, MinimumCountsGatherAcrossReads) {
  const std::string data = pattern(300000, 3);
  writeLocal(at("gather.bin"), data);
  RawIO in = open(at("gather.bin"), 4096, ZOB_TXTFILE_READ);
  ASSERT_NE(nullptr, in);
  const char* bytes = nullptr;
  ASSERT_EQ(100000, in->getBytes(&bytes, 100000, 100000)) << in->getErrorMessage().str();
  EXPECT_EQ(0, data.compare(0, 100000, bytes, 100000));
  ASSERT_EQ(200000, in->getBytes(&bytes, 250000, 250000));  // fewer only at the end
  EXPECT_EQ(0, data.compare(100000, 200000, bytes, 200000));
  EXPECT_EQ(0, in->getBytes(&bytes, 1, 10));
}

TEST_F(RawStreams, OpeningAMissingFileReportsItsPath) {
  std::string text = "file://" + at("absent.bin");
  Uri uri(getURIFromURIString(ZobString(text.c_str())));
  ZobString err;
  RawIO io(createRawIO(uri.get(), &err));
  ASSERT_NE(nullptr, io);
  int size = 0;
  EXPECT_FALSE(io->open(ZOB_TXTFILE_READ, 0, &size, nullptr));
  EXPECT_NE(std::string::npos, io->getErrorMessage().str().find(at("absent.bin") +
                                                                 "': no such file"))
      << io->getErrorMessage().str();
}

}  // namespace

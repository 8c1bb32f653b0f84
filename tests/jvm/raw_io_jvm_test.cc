// Multi-megabyte streams through the file framework's raw I/O entry point,
// the way the host platform reads and writes Hadoop files.
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "ZOHadoopIO.h"
#include "fs_fixture.h"

namespace {

using jvmtest::HadoopFs;

struct RawIODeleter {
  void operator()(ZobIORaw* io) const { io->release(); }
};
using RawIO = std::unique_ptr<ZobIORaw, RawIODeleter>;
using Uri = std::unique_ptr<ZoHadoopURI, ZoHadoopURIDeleter>;

class RawStreams : public HadoopFs {
 protected:
  RawIO open(const std::string& path, int bufferSize, ZobTxtFileOpenMode mode) {
    std::string text = uriOf(path) +
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

  std::string uriOf(const std::string& path) const {
    return isLocal() ? "file://" + path : path;
  }

  Uri uri_;
};
ZOH_ON_EVERY_FILE_SYSTEM(RawStreams);

TEST_P(RawStreams, MegabytesRoundTripWithSeveralBufferSizes) {
  const std::string data = jvmtest::patternBytes((6 << 20) + 12345, 7);
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

TEST_P(RawStreams, MinimumCountsGatherAcrossReads) {
  const std::string data = jvmtest::patternBytes(300000, 3);
  ASSERT_TRUE(writeHdfs(at("gather.bin"), data, ZOB_TXTFILE_WRITE));
  RawIO in = open(at("gather.bin"), 4096, ZOB_TXTFILE_READ);
  ASSERT_NE(nullptr, in);
  const char* bytes = nullptr;
  ASSERT_EQ(100000, in->getBytes(&bytes, 100000, 100000)) << in->getErrorMessage().str();
  EXPECT_EQ(0, data.compare(0, 100000, bytes, 100000));
  ASSERT_EQ(200000, in->getBytes(&bytes, 250000, 250000));  // fewer only at the end
  EXPECT_EQ(0, data.compare(100000, 200000, bytes, 200000));
  EXPECT_EQ(0, in->getBytes(&bytes, 1, 10));
}

TEST_P(RawStreams, OpeningAMissingFileReportsItsPath) {
  std::string text = uriOf(at("absent.bin"));
  Uri uri(getURIFromURIString(ZobString(text.c_str())));
  ZobString err;
  RawIO io(createRawIO(uri.get(), &err));
  ASSERT_NE(nullptr, io);
  int size = 0;
  EXPECT_FALSE(io->open(ZOB_TXTFILE_READ, 0, &size, nullptr));
  // The adapter opens the URI's path on the URI's file system.
  const std::string path = at("absent.bin").substr(GetParam().base.size());
  EXPECT_NE(std::string::npos, io->getErrorMessage().str().find(path + "': no such file"))
      << io->getErrorMessage().str();
}

}  // namespace

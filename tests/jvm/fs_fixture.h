// The file systems the end-to-end tests run on, with the same test bodies:
// Hadoop's local file system (file:), and, when the test run started the test
// cluster, its HDFS through the NameNode's RPC (hdfs://) and through WebHDFS
// (webhdfs://).
#pragma once

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <vector>

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopHDFS.h"

namespace jvmtest {

struct FileSystemUnderTest {
  std::string name;   // "file", "hdfs", "webhdfs": also the test-name suffix
  std::string base;   // scheme://authority for a cluster; empty for file:
  std::string privateDir;  // a directory the default test user may not enter ("" if none)
  std::string siteFile;    // the cluster's client configuration ("" for file:)
  std::string error;  // set when the cluster was expected but cannot be named
};

inline void PrintTo(const FileSystemUnderTest& fs, std::ostream* out) { *out << fs.name; }

// file: always; hdfs and webhdfs when ZOH_TEST_CLUSTER names the cluster's
// ready file (the CTest fixture sets it).
std::vector<FileSystemUnderTest> fileSystemsUnderTest();

// Deterministic bytes of any size: the same (size, seed) gives the same bytes.
std::string patternBytes(size_t size, unsigned seed);

// Resident memory of this process in KiB.
long residentKiB();

class HadoopFs : public ::testing::TestWithParam<FileSystemUnderTest> {
 public:
  static void writeLocal(const std::string& path, const std::string& content);
  static std::string readLocal(const std::string& path);

 protected:
  void SetUp() override;
  void TearDown() override;

  bool isLocal() const { return GetParam().base.empty(); }
  // A path beneath the test's own directory on the file system under test.
  std::string at(const std::string& relative) const { return root_ + "/" + relative; }
  // A path beneath the test's directory on the local disk.
  std::string local(const std::string& relative) const { return localRoot_ + "/" + relative; }
  // A new configuration for the file system under test, acting as `user` when
  // not empty.
  ZOHadoopCfg* newConfiguration(const std::string& user, ZobString* err);
  bool writeHdfs(const std::string& path, const std::string& content, ZobTxtFileOpenMode mode);
  // Reads a whole file in reads of `chunk` bytes.
  std::string readHdfs(const std::string& path, int chunk, ZobString* err);
  bool exists(const std::string& path);

  std::string root_;
  std::string localRoot_;
  ZOHadoop* hadoop_ = nullptr;
  ZOHadoopCfg* cfg_ = nullptr;
  ZOHadoopHDFS* hdfs_ = nullptr;
};

// Runs every TEST_P of `suite` on each file system under test.
#define ZOH_ON_EVERY_FILE_SYSTEM(suite)                                            \
  INSTANTIATE_TEST_SUITE_P(OnEvery, suite,                                         \
                           ::testing::ValuesIn(::jvmtest::fileSystemsUnderTest()), \
                           [](const auto& info) { return info.param.name; })

}  // namespace jvmtest

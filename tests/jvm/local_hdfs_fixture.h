// A Hadoop instance with an HDFS service on the embedded local file system,
// working in a fresh temporary directory.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopHDFS.h"

namespace jvmtest {

class LocalHdfs : public ::testing::Test {
 public:
  static void writeLocal(const std::string& path, const std::string& content);
  static std::string readLocal(const std::string& path);

 protected:
  void SetUp() override;
  void TearDown() override;

  // A path beneath the test's directory.
  std::string at(const std::string& relative) const { return root_ + "/" + relative; }
  // Writes through an HDFS file opened for writing; true when all went well.
  bool writeHdfs(const std::string& path, const std::string& content, ZobTxtFileOpenMode mode);
  // Reads a whole HDFS file in reads of `chunk` bytes.
  std::string readHdfs(const std::string& path, int chunk, ZobString* err);

  std::string root_;
  ZOHadoop* hadoop_ = nullptr;
  ZOHadoopCfg* cfg_ = nullptr;
  ZOHadoopHDFS* hdfs_ = nullptr;
};

}  // namespace jvmtest

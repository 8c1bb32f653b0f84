#include "local_hdfs_fixture.h"

#include <stdlib.h>

#include <fstream>
#include <sstream>

namespace jvmtest {

void LocalHdfs::SetUp() {
  char pattern[] = "/tmp/zoh-jvm-XXXXXX";
  ASSERT_NE(nullptr, mkdtemp(pattern));
  root_ = pattern;
  ZobString err;
  hadoop_ = zoHadoopCreate(&err);
  ASSERT_NE(nullptr, hadoop_) << err.str();
  cfg_ = hadoop_->createConfiguration(&err);
  ASSERT_NE(nullptr, cfg_) << err.str();
  hdfs_ = hadoop_->createHDFS(cfg_, &err);
  ASSERT_NE(nullptr, hdfs_) << err.str();
}

void LocalHdfs::TearDown() {
  if (hdfs_ != nullptr) hdfs_->release();
  if (cfg_ != nullptr) cfg_->release();
  if (hadoop_ != nullptr) hadoop_->release();
  std::string command = "rm -rf '" + root_ + "'";
  if (!root_.empty() && system(command.c_str()) != 0) ADD_FAILURE() << command;
}

void LocalHdfs::writeLocal(const std::string& path, const std::string& content) {
  std::ofstream out(path, std::ios::binary);
  out << content;
}

std::string LocalHdfs::readLocal(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream all;
  all << in.rdbuf();
  return all.str();
}

bool LocalHdfs::writeHdfs(const std::string& path, const std::string& content,
                          ZobTxtFileOpenMode mode) {
  ZobString err;
  ZOHadoopFile* file = hdfs_->openFile(nullptr, ZobString(path.c_str()), mode, 0, 0, &err);
  if (file == nullptr) {
    ADD_FAILURE() << err.str();
    return false;
  }
  bool ok = file->write(nullptr, content.data(), static_cast<int>(content.size()), &err) &&
            file->close(&err);
  if (!ok) ADD_FAILURE() << err.str();
  file->release();
  return ok;
}

std::string LocalHdfs::readHdfs(const std::string& path, int chunk, ZobString* err) {
  ZOHadoopFile* file =
      hdfs_->openFile(nullptr, ZobString(path.c_str()), ZOB_TXTFILE_READ, 0, 0, err);
  if (file == nullptr) return "<open failed>";
  std::string all;
  for (;;) {
    const char* data = nullptr;
    int n = file->read(nullptr, &data, chunk, err);
    if (n < 0) {
      all = "<read failed>";
      break;
    }
    if (n == 0) break;
    all.append(data, static_cast<size_t>(n));
  }
  file->close(err);
  file->release();
  return all;
}

}  // namespace jvmtest

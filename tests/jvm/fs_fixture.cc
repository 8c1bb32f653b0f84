#include "fs_fixture.h"

#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <map>
#include <sstream>

#include "cluster_access.h"

namespace jvmtest {

std::vector<FileSystemUnderTest> fileSystemsUnderTest() {
  std::vector<FileSystemUnderTest> all{{"file", "", "", "", ""}};
  std::map<std::string, std::string> keys = clustertest::readyKeys("ZOH_TEST_CLUSTER");
  if (keys.empty()) return all;
  for (const char* scheme : {"hdfs", "webhdfs"}) {
    FileSystemUnderTest fs{scheme, keys[scheme], keys["private"], keys["site"], ""};
    // A cluster that was asked for but is not there fails the tests, not skips them.
    if (fs.base.empty()) fs.error = std::string("no ") + scheme + " address in the ready file";
    all.push_back(fs);
  }
  return all;
}

std::string patternBytes(size_t size, unsigned seed) {
  std::string data(size, '\0');
  uint64_t x = seed * 0x9E3779B97F4A7C15ull + 1;
  for (size_t i = 0; i < size; ++i) {
    x ^= x << 13;
    x ^= x >> 7;
    x ^= x << 17;
    data[i] = static_cast<char>(x);
  }
  return data;
}

long residentKiB() {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.rfind("VmRSS:", 0) == 0) return std::atol(line.c_str() + 6);
  }
  return -1;
}

void HadoopFs::SetUp() {
  ASSERT_TRUE(GetParam().error.empty()) << GetParam().error;
  // Memory-backed where there is one: the local disk's speed is not what the
  // tests measure.
  std::string pattern = access("/dev/shm", W_OK) == 0 ? "/dev/shm/zoh-jvm-XXXXXX"
                                                       : "/tmp/zoh-jvm-XXXXXX";
  ASSERT_NE(nullptr, mkdtemp(&pattern[0]));
  localRoot_ = pattern;
  static std::atomic<int> counter{0};
  root_ = isLocal() ? localRoot_ + "/fs"
                    : GetParam().base + "/zoh-tests/" + std::to_string(getpid()) + "-" +
                          std::to_string(counter++);
  ZobString err;
  hadoop_ = zoHadoopCreate(&err);
  ASSERT_NE(nullptr, hadoop_) << err.str();
  cfg_ = newConfiguration("", &err);
  ASSERT_NE(nullptr, cfg_) << err.str();
  hdfs_ = hadoop_->createHDFS(cfg_, &err);
  ASSERT_NE(nullptr, hdfs_) << err.str();
  ASSERT_TRUE(hdfs_->makeDirectory(nullptr, ZobString(root_.c_str()), &err)) << err.str();
}

void HadoopFs::TearDown() {
  ZobString err;
  if (hdfs_ != nullptr) {
    if (!root_.empty()) hdfs_->deleteFile(nullptr, ZobString(root_.c_str()), &err);
    hdfs_->release();
  }
  if (cfg_ != nullptr) cfg_->release();
  if (hadoop_ != nullptr) hadoop_->release();
  std::string command = "rm -rf '" + localRoot_ + "'";
  if (!localRoot_.empty() && system(command.c_str()) != 0) ADD_FAILURE() << command;
}

ZOHadoopCfg* HadoopFs::newConfiguration(const std::string& user, ZobString* err) {
  ZOHadoopCfg* cfg = hadoop_->createConfiguration(err);
  if (cfg == nullptr) return nullptr;
  // A cluster's client settings come from its site file, as a user's would.
  const std::string defaultFs = isLocal() ? "file:///" : GetParam().base;
  if ((!isLocal() && !cfg->addResourceFile(ZobString(GetParam().siteFile.c_str()), err)) ||
      !cfg->setKeyValue(ZobString("fs.defaultFS"), ZobString(defaultFs.c_str()), err) ||
      (!user.empty() && !cfg->setUserPass(ZobString(user.c_str()), ZobString(""), err))) {
    cfg->release();
    return nullptr;
  }
  return cfg;
}

void HadoopFs::writeLocal(const std::string& path, const std::string& content) {
  std::ofstream out(path, std::ios::binary);
  out << content;
}

std::string HadoopFs::readLocal(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::stringstream all;
  all << in.rdbuf();
  return all.str();
}

bool HadoopFs::writeHdfs(const std::string& path, const std::string& content,
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

std::string HadoopFs::readHdfs(const std::string& path, int chunk, ZobString* err) {
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

bool HadoopFs::exists(const std::string& path) {
  ZobString err;
  bool answer = false;
  EXPECT_TRUE(hdfs_->exists(nullptr, ZobString(path.c_str()), &answer, &err)) << err.str();
  return answer;
}

}  // namespace jvmtest

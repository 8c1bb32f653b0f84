// The library on a cluster that misbehaves: DataNodes lost in the middle of a
// stream, the active NameNode failed over under a listing and an open file,
// safe mode, a space quota, the whole cluster gone and back. Everything goes
// through the public interfaces and the JVM bridge, on the HA nameservice; the
// cluster is hurt through its control port, whose commands return once the
// cluster is in the state they asked for.
#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <functional>
#include <future>
#include <map>
#include <memory>
#include <string>

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopHDFS.h"
#include "ZOHadoopIO.h"
#include "cluster_access.h"
#include "end_to_end.h"

namespace {

using Clock = std::chrono::steady_clock;

std::string control(const std::string& command) {
  return clustertest::control(clustertest::readyKeys("ZOH_FAULT_CLUSTER")["control"], command);
}

using e2e::patternBytes;

using RawIO = e2e::Owned<ZobIORaw>;
using Uri = std::unique_ptr<ZoHadoopURI, ZoHadoopURIDeleter>;

constexpr int kMiB = 1 << 20;

class ClusterFaults : public ::testing::Test {
 protected:
  void SetUp() override {
    keys_ = clustertest::readyKeys("ZOH_FAULT_CLUSTER");
    if (keys_.empty()) GTEST_SKIP() << "ZOH_FAULT_CLUSTER names no running fault cluster";
    ASSERT_FALSE(keys_["ha-site"].empty());
    ZobString err;
    hadoop_.reset(zoHadoopCreate(&err));
    ASSERT_NE(nullptr, hadoop_) << err.str();
    Uri uri(getURIFromURIString(ZobString(uriOf("/", "dfs.ls.limit=50").c_str())));
    ASSERT_NE(nullptr, uri);
    cfg_.reset(hadoop_->createConfiguration(uri.get(), &err));
    ASSERT_NE(nullptr, cfg_) << err.str();
    hdfs_.reset(hadoop_->createHDFS(cfg_.get(), &err));
    ASSERT_NE(nullptr, hdfs_) << err.str();
  }

  // A URI on the nameservice: the HA keys come from the cluster's client file.
  std::string uriOf(const std::string& path, const std::string& items = "") {
    return keys_["ha"] + path + "?resource=" + keys_["ha-site"] +
           (items.empty() ? "" : "&" + items);
  }

  // Streams `data` into `path` through the raw I/O adapter (4 MiB blocks, so
  // that a stream crosses many), calling `atHalf` once half of it is written:
  // "", or why it failed.
  std::string writeRaw(const std::string& path, const std::string& data,
                       const std::function<void()>& atHalf = [] {}) {
    Uri uri(getURIFromURIString(ZobString(uriOf(path, "dfs.blocksize=4194304").c_str())));
    ZobString err;
    RawIO io(createRawIO(uri.get(), &err));
    if (!io) return "no adapter: " + err.str();
    int size = 0;
    bool ok = io->open(ZOB_TXTFILE_WRITE, 0, &size, nullptr);
    for (size_t at = 0; ok && at < data.size(); at += kMiB) {
      if (at == data.size() / 2) atHalf();
      ok = io->putBytes(data.data() + at, kMiB) == kMiB;
    }
    return ok && io->close() ? "" : io->getErrorMessage().str();
  }

  // Reads `path` whole through the raw I/O adapter, calling `atHalf` midway.
  std::string readRaw(const std::string& path, std::function<void()> atHalf = nullptr) {
    Uri uri(getURIFromURIString(ZobString(uriOf(path).c_str())));
    ZobString err;
    RawIO io(createRawIO(uri.get(), &err));
    int size = 0;
    if (!io || !io->open(ZOB_TXTFILE_READ, 0, &size, nullptr)) return "open failed " + err.str();
    const long total = io->size();
    std::string back;
    const char* bytes = nullptr;
    for (int n; (n = io->getBytes(&bytes, 1, kMiB)) != 0; back.append(bytes, n)) {
      if (n < 0) return "read failed after " + std::to_string(back.size()) + " bytes: " +
                        io->getErrorMessage().str();
      if (atHalf && static_cast<long>(back.size()) >= total / 2) {
        atHalf();
        atHalf = nullptr;
      }
    }
    io->close();
    return back;
  }

  std::map<std::string, std::string> keys_;
  e2e::Owned<ZOHadoop> hadoop_;
  e2e::Owned<ZOHadoopCfg> cfg_;
  e2e::Owned<ZOHadoopHDFS> hdfs_;
};

// 256 MiB unless ZOH_FAULT_MIB says otherwise (a quick look at a change).
size_t streamBytes() {
  const char* mib = std::getenv("ZOH_FAULT_MIB");
  return static_cast<size_t>(mib != nullptr ? std::atoi(mib) : 256) * kMiB;
}

TEST_F(ClusterFaults, StreamsSurviveLostDataNodes) {
  const std::string data = patternBytes(streamBytes());
  ASSERT_EQ("", writeRaw("/faults/read.bin", data));
  // Two of the three replicas of every block gone under the reader.
  const std::string back = readRaw("/faults/read.bin", [] {
    ASSERT_EQ("ok", control("stop-datanode 0"));
    ASSERT_EQ("ok", control("stop-datanode 0"));
  });
  EXPECT_EQ("ok", control("restart-datanodes"));
  EXPECT_TRUE(back == data) << back.substr(0, 200);

  // One node of the write pipeline lost: Hadoop rebuilds the pipeline.
  EXPECT_EQ("", writeRaw("/faults/write.bin", data,
                         [] { ASSERT_EQ("ok", control("stop-datanode 1")); }));
  EXPECT_EQ("ok", control("restart-datanodes"));
  EXPECT_TRUE(readRaw("/faults/write.bin") == data);
}

TEST_F(ClusterFaults, NameNodeFailoverUnderAListingAndAnOpenFile) {
  ASSERT_EQ("ok", control("populate /faults/many 20000"));
  // The listing comes in batches of 50 (dfs.ls.limit), 400 calls to the
  // NameNode: the fail-over lands among them.
  auto failover = std::async(std::launch::async, [] {
    const std::string answer = control("failover");
    return std::make_pair(answer, Clock::now());
  });
  ZobString err;
  EXPECT_EQ(20000u, e2e::listing(hdfs_.get(), "/faults/many", &err).size()) << err.str();
  const auto listed = Clock::now();
  const auto [answer, failedOver] = failover.get();
  ASSERT_EQ("ok", answer);
  EXPECT_LT(failedOver, listed) << "the listing ended before the fail-over: it proves nothing";

  // Between two reads of one open file.
  const std::string data = patternBytes(8 * kMiB);
  ASSERT_EQ("", writeRaw("/faults/open.bin", data));
  const std::string back = e2e::readHdfs(hdfs_.get(), "/faults/open.bin", kMiB,
                                         [] { ASSERT_EQ("ok", control("failover")); });
  EXPECT_TRUE(back == data) << back.substr(0, 200);
}

TEST_F(ClusterFaults, SafeModeAndQuotaRefuseWritesWithTheirReason) {
  ASSERT_EQ("", writeRaw("/faults/kept.bin", patternBytes(kMiB * 2)));
  ASSERT_EQ("ok", control("safemode enter"));
  ZobString err;
  EXPECT_FALSE(hdfs_->makeDirectory(nullptr, ZobString("/faults/in-safe-mode"), &err));
  EXPECT_NE(std::string::npos, err.str().find("safe mode")) << err.str();
  EXPECT_EQ(std::string::npos, err.str().find("at org.apache.hadoop")) << "a server stack trace";
  EXPECT_TRUE(readRaw("/faults/kept.bin") == patternBytes(kMiB * 2));
  ASSERT_EQ("ok", control("safemode leave"));

  ASSERT_TRUE(hdfs_->makeDirectory(nullptr, ZobString("/faults/quota"), &err)) << err.str();
  ASSERT_EQ("ok", control("space-quota /faults/quota 1048576"));
  const std::string why = writeRaw("/faults/quota/f", patternBytes(kMiB));
  EXPECT_EQ("ok", control("space-quota /faults/quota 0"));
  EXPECT_NE(std::string::npos, why.find("quota")) << why;
  EXPECT_NE(std::string::npos, why.find("/faults/quota")) << why;
}

// Last: it takes the whole cluster away, and brings it back.
TEST_F(ClusterFaults, WholeClusterGoneFailsInBoundedTimeThenWorksAgain) {
  ZobString err;
  bool answer = false;
  ASSERT_TRUE(hdfs_->exists(nullptr, ZobString("/faults"), &answer, &err)) << err.str();
  ASSERT_EQ("ok", control("stop-all"));
  const auto started = Clock::now();
  EXPECT_FALSE(hdfs_->exists(nullptr, ZobString("/faults"), &answer, &err));
  const auto waited = Clock::now() - started;
  EXPECT_NE(std::string::npos, err.str().find("cannot reach the cluster")) << err.str();
  EXPECT_NE(std::string::npos, err.str().find("Connection refused")) << err.str();
  EXPECT_LT(waited, std::chrono::seconds(30));
  std::printf("an operation on the stopped cluster failed after %lld ms\n",
              static_cast<long long>(
                  std::chrono::duration_cast<std::chrono::milliseconds>(waited).count()));
  ASSERT_EQ("ok", control("restart-all"));
  // The same instance, configuration and HDFS object, without a new process.
  EXPECT_TRUE(hdfs_->exists(nullptr, ZobString("/faults/kept.bin"), &answer, &err)) << err.str();
  EXPECT_TRUE(answer);
}

}  // namespace

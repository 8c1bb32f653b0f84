// The library's HDFS service end to end on the reference Hadoop proxy, which
// serves the local file system.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <map>
#include <string>
#include <thread>

#include "ZOHadoopMapReduce.h"
#include "ZOHadoopPig.h"
#include "local_hdfs_fixture.h"

namespace {

using jvmtest::LocalHdfs;

struct Entry {
  long size = -1;
  ZobDate date;
  unsigned long millis = 0;
  bool isDir = false;
  bool readOnly = false;
};

std::map<std::string, Entry> listing(ZOHadoopHDFS* hdfs, const std::string& path,
                                     ZobString* err) {
  std::map<std::string, Entry> entries;
  ZOHadoopDirectory* dir = hdfs->openDir(nullptr, ZobString(path.c_str()), err);
  if (dir == nullptr) return entries;
  ZobString name;
  Entry e;
  while (dir->next(&name, &e.size, &e.date, &e.millis, &e.isDir, &e.readOnly, err)) {
    entries[name.str()] = e;
  }
  dir->release();
  return entries;
}

bool contains(const ZobString& text, const std::string& part) {
  return text.str().find(part) != std::string::npos;
}

TEST_F(LocalHdfs, DirectoriesAreMadeWithParentsListedAndDeletedRecursively) {
  ZobString err;
  ASSERT_TRUE(hdfs_->makeDirectory(nullptr, ZobString(at("a/b/c").c_str()), &err)) << err.str();
  bool exists = false;
  ASSERT_TRUE(hdfs_->exists(nullptr, ZobString(at("a/b/c").c_str()), &exists, &err));
  EXPECT_TRUE(exists);
  // Making it again is no failure: the directory is there afterwards.
  EXPECT_TRUE(hdfs_->makeDirectory(nullptr, ZobString(at("a/b/c").c_str()), &err));
  ASSERT_TRUE(writeHdfs(at("a/file.txt"), "twelve bytes", ZOB_TXTFILE_WRITE));
  ASSERT_EQ(0, chmod(at("a/file.txt").c_str(), 0640));

  const auto before = std::chrono::system_clock::now();
  auto entries = listing(hdfs_, at("a"), &err);
  ASSERT_TRUE(err.isNull()) << err.str();
  ASSERT_EQ(2u, entries.size());
  const Entry& file = entries["file.txt"];
  EXPECT_EQ(12, file.size);
  EXPECT_FALSE(file.isDir);
  EXPECT_TRUE(file.readOnly);  // 0640: the "others may write" bit is clear
  const auto now = std::chrono::duration_cast<std::chrono::milliseconds>(
                       before.time_since_epoch()).count();
  EXPECT_LT(std::llabs(static_cast<long long>(file.millis) - now), 60000) << file.millis;
  const Entry& dir = entries["b"];
  EXPECT_TRUE(dir.isDir);
  EXPECT_EQ(0, dir.size);

  ASSERT_TRUE(hdfs_->deleteFile(nullptr, ZobString(at("a").c_str()), &err)) << err.str();
  ASSERT_TRUE(hdfs_->exists(nullptr, ZobString(at("a").c_str()), &exists, &err));
  EXPECT_FALSE(exists);
  // Deleting what is gone is a successful call that deleted nothing.
  EXPECT_TRUE(hdfs_->deleteFile(nullptr, ZobString(at("a").c_str()), &err));
}

TEST_F(LocalHdfs, StatsOfAnOpenFileAndWritesGrowItsSize) {
  ASSERT_TRUE(writeHdfs(at("f"), "12345", ZOB_TXTFILE_WRITE));
  ZobString err;
  ZOHadoopFile* file =
      hdfs_->openFile(nullptr, ZobString(at("f").c_str()), ZOB_TXTFILE_APPEND, 0, 0, &err);
  ASSERT_NE(nullptr, file) << err.str();
  EXPECT_EQ(5, file->getSize());
  ASSERT_TRUE(file->write(nullptr, "678", 3, &err)) << err.str();
  EXPECT_EQ(8, file->getSize());
  ASSERT_TRUE(file->close(&err));
  file->release();
  EXPECT_EQ("12345678", readLocal(at("f")));
  // Writing again replaces the content.
  ASSERT_TRUE(writeHdfs(at("f"), "new", ZOB_TXTFILE_WRITE));
  EXPECT_EQ("new", readHdfs(at("f"), 100, &err));
}

TEST_F(LocalHdfs, RenameMovesAndRefusesToReplace) {
  writeLocal(at("one"), "1");
  writeLocal(at("two"), "2");
  ZobString err;
  ASSERT_TRUE(hdfs_->rename(nullptr, ZobString(at("one").c_str()), ZobString(at("three").c_str()),
                            &err)) << err.str();
  EXPECT_EQ("1", readLocal(at("three")));
  EXPECT_FALSE(hdfs_->rename(nullptr, ZobString(at("three").c_str()),
                             ZobString(at("two").c_str()), &err));
  EXPECT_TRUE(contains(err, "already exists")) << err.str();
  EXPECT_FALSE(hdfs_->rename(nullptr, ZobString(at("gone").c_str()),
                             ZobString(at("x").c_str()), &err));
  EXPECT_TRUE(contains(err, "Cannot rename '" + at("gone") + "': no such file")) << err.str();
}

TEST_F(LocalHdfs, CopyFlagsDeleteTheSourceAndAllowOverwriting) {
  writeLocal(at("local.txt"), "from local");
  ZobString err;
  ZobString local(at("local.txt").c_str()), remote(at("remote.txt").c_str());
  ASSERT_TRUE(hdfs_->copyFromLocal(nullptr, local, false, remote, false, &err)) << err.str();
  EXPECT_EQ("from local", readLocal(at("remote.txt")));
  EXPECT_EQ("from local", readLocal(at("local.txt")));

  writeLocal(at("local.txt"), "second");
  EXPECT_FALSE(hdfs_->copyFromLocal(nullptr, local, false, remote, false, &err));
  EXPECT_TRUE(contains(err, "overwriting was not asked for")) << err.str();
  EXPECT_EQ("from local", readLocal(at("remote.txt")));
  ASSERT_TRUE(hdfs_->copyFromLocal(nullptr, local, true, remote, true, &err)) << err.str();
  EXPECT_EQ("second", readLocal(at("remote.txt")));
  EXPECT_EQ(0, access(at("local.txt").c_str(), F_OK) == 0);

  ASSERT_TRUE(hdfs_->makeDirectory(nullptr, ZobString(at("tree/sub").c_str()), &err));
  writeLocal(at("tree/sub/leaf"), "leaf");
  ASSERT_TRUE(hdfs_->copyToLocal(nullptr, ZobString(at("tree").c_str()), false,
                                 ZobString(at("copy").c_str()), false, &err)) << err.str();
  EXPECT_EQ("leaf", readLocal(at("copy/sub/leaf")));
}

TEST_F(LocalHdfs, NonAsciiNamesArriveAndComeBackUnchanged) {
  const std::string name = "Gr\xc3\xbc\xc3\x9f" "e \xe4\xb8\xad\xe6\x96\x87 \xf0\x9f\x98\x80.txt";
  ASSERT_TRUE(writeHdfs(at(name), "content", ZOB_TXTFILE_WRITE));
  EXPECT_EQ("content", readLocal(at(name)));
  ZobString err;
  auto entries = listing(hdfs_, root_, &err);
  ASSERT_EQ(1u, entries.count(name)) << err.str();
  EXPECT_EQ(7, entries[name].size);
}

TEST_F(LocalHdfs, FailuresSayWhatAndWhere) {
  ZobString err;
  ZobString missing(at("missing.txt").c_str());
  EXPECT_EQ(nullptr, hdfs_->openFile(nullptr, missing, ZOB_TXTFILE_READ, 0, 0, &err));
  EXPECT_TRUE(contains(err, "Cannot open HDFS file for reading '" + at("missing.txt") +
                                "': no such file or directory")) << err.str();
  EXPECT_TRUE(contains(err, "HDFSOpenFile")) << err.str();

  EXPECT_EQ(nullptr, hdfs_->openFile(nullptr, ZobString(root_.c_str()), ZOB_TXTFILE_READ, 0, 0,
                                     &err));
  EXPECT_TRUE(contains(err, "'" + root_ + "' as a file: it is a directory")) << err.str();

  EXPECT_EQ(nullptr, hdfs_->openDir(nullptr, missing, &err));
  EXPECT_TRUE(contains(err, "Cannot list '" + at("missing.txt") + "'")) << err.str();

  bool exists = true;
  EXPECT_FALSE(hdfs_->exists(nullptr, ZobString("hdfs://nn:8020/data"), &exists, &err));
  EXPECT_TRUE(contains(err, "No file system backend for scheme 'hdfs'")) << err.str();

  writeLocal(at("locked"), "x");
  ASSERT_EQ(0, chmod(root_.c_str(), 0500));
  if (geteuid() != 0) {  // the superuser passes every permission check
    EXPECT_FALSE(hdfs_->deleteFile(nullptr, ZobString(at("locked").c_str()), &err));
    EXPECT_TRUE(contains(err, "Cannot delete '" + at("locked") + "': permission denied"))
        << err.str();
  }
  ASSERT_EQ(0, chmod(root_.c_str(), 0700));
}

TEST_F(LocalHdfs, ReadsReturnAtMostTheAskedCountAndZeroAtTheEnd) {
  std::string content(100000, '\0');
  for (size_t i = 0; i < content.size(); ++i) content[i] = static_cast<char>(i * 7);
  writeLocal(at("data"), content);
  ZobString err;
  for (int chunk : {1, 4095, 65536, 1 << 20}) {
    EXPECT_EQ(content, readHdfs(at("data"), chunk, &err)) << chunk << " " << err.str();
  }
}

TEST_F(LocalHdfs, TwoThreadsReadTwoFilesAtOnce) {
  const std::string a(3 << 20, 'a'), b(5 << 20, 'b');
  writeLocal(at("a"), a);
  writeLocal(at("b"), b);
  std::string readA, readB;
  ZobString errA, errB;
  std::thread ta([&] { readA = readHdfs(at("a"), 32768, &errA); });
  std::thread tb([&] { readB = readHdfs(at("b"), 65536, &errB); });
  ta.join();
  tb.join();
  EXPECT_TRUE(readA == a) << errA.str();
  EXPECT_TRUE(readB == b) << errB.str();
}

TEST_F(LocalHdfs, ReadingAWriteOnlyFileAndUsingAClosedFileAreJavaErrors) {
  ZobString err;
  ZOHadoopFile* file =
      hdfs_->openFile(nullptr, ZobString(at("w").c_str()), ZOB_TXTFILE_WRITE, 0, 0, &err);
  ASSERT_NE(nullptr, file) << err.str();
  const char* data = nullptr;
  EXPECT_EQ(-1, file->read(nullptr, &data, 10, &err));
  EXPECT_TRUE(contains(err, "is open for writing; it cannot be read")) << err.str();
  ASSERT_TRUE(file->close(&err));
  // After close the file sends its zero handle; the proxy refuses it cleanly.
  EXPECT_FALSE(file->write(nullptr, "x", 1, &err));
  EXPECT_TRUE(contains(err, "No HDFS file handle given")) << err.str();
  file->release();
}

TEST(LocalHdfsConfiguration, KeyValuesOverrideResourceFilesAndClusterSchemesHaveNoBackend) {
  char pattern[] = "/tmp/zoh-cfg-XXXXXX";
  ASSERT_NE(nullptr, mkdtemp(pattern));
  const std::string resource = std::string(pattern) + "/core-site.xml";
  LocalHdfs::writeLocal(resource,
                        "<?xml version=\"1.0\"?>\n<configuration>\n"
                        "  <property><name>fs.defaultFS</name>"
                        "<value>hdfs://namenode.example:8020</value></property>\n"
                        "</configuration>\n");
  ZobString err;
  ZOHadoop* hadoop = zoHadoopCreate(&err);
  ASSERT_NE(nullptr, hadoop);
  ZOHadoopCfg* cfg = hadoop->createConfiguration(&err);
  ASSERT_NE(nullptr, cfg) << err.str();
  ASSERT_TRUE(cfg->addResourceFile(ZobString(resource.c_str()), &err)) << err.str();
  EXPECT_EQ(nullptr, hadoop->createHDFS(cfg, &err));
  EXPECT_TRUE(contains(err, "No file system backend for fs.defaultFS "
                            "'hdfs://namenode.example:8020'")) << err.str();
  ASSERT_TRUE(cfg->setKeyValue(ZobString("fs.defaultFS"), ZobString("file:///"), &err));
  ZOHadoopHDFS* hdfs = hadoop->createHDFS(cfg, &err);
  EXPECT_NE(nullptr, hdfs) << err.str();
  if (hdfs != nullptr) hdfs->release();

  EXPECT_FALSE(cfg->addResourceFile(ZobString("/no/such/core-site.xml"), &err));
  EXPECT_TRUE(contains(err, "Configuration resource file '/no/such/core-site.xml' does not exist"))
      << err.str();
  LocalHdfs::writeLocal(resource, "<configuration><property><name>x</name>");
  EXPECT_FALSE(cfg->addResourceFile(ZobString(resource.c_str()), &err));
  EXPECT_TRUE(contains(err, "is not valid XML")) << err.str();
  cfg->release();
  hadoop->release();
  unlink(resource.c_str());
  rmdir(pattern);
}

TEST(LocalHdfsConfiguration, ReferencesAreResolvedAndFinalValuesKeptAcrossResources) {
  char pattern[] = "/tmp/zoh-cfg-XXXXXX";
  ASSERT_NE(nullptr, mkdtemp(pattern));
  const std::string first = std::string(pattern) + "/first.xml";
  const std::string second = std::string(pattern) + "/second.xml";
  LocalHdfs::writeLocal(first,
                        "<configuration>"
                        "<property><name>cluster.host</name><value>nn1</value></property>"
                        "<property><name>fs.defaultFS</name>"
                        "<value>hdfs://${cluster.host}:${no.such.key}</value>"
                        "<final>true</final></property></configuration>");
  LocalHdfs::writeLocal(second,
                        "<configuration><property><name>fs.defaultFS</name>"
                        "<value>file:///</value></property></configuration>");
  ZobString err;
  ZOHadoop* hadoop = zoHadoopCreate(&err);
  ASSERT_NE(nullptr, hadoop);
  ZOHadoopCfg* cfg = hadoop->createConfiguration(&err);
  ASSERT_NE(nullptr, cfg) << err.str();
  const ZobString files[] = {ZobString(first.c_str()), ZobString(second.c_str())};
  ASSERT_TRUE(cfg->addResourceFiles(2, files, &err)) << err.str();
  EXPECT_EQ(nullptr, hadoop->createHDFS(cfg, &err));
  EXPECT_TRUE(contains(err, "'hdfs://nn1:${no.such.key}'")) << err.str();
  cfg->release();
  hadoop->release();
  unlink(first.c_str());
  unlink(second.c_str());
  rmdir(pattern);
}

TEST_F(LocalHdfs, MapReduceAndPigNameTheEngineTheyLack) {
  ZobString err;
  ZOHadoopMapReduce* job = hadoop_->createMapReduce(cfg_, &err);
  ASSERT_NE(nullptr, job) << err.str();
  EXPECT_FALSE(job->run(nullptr, nullptr, false, &err));
  EXPECT_TRUE(contains(err, "no MapReduce job engine")) << err.str();
  job->release();

  ZOHadoopPig* pig = hadoop_->createPig(cfg_, ZobString(""), &err);
  ASSERT_NE(nullptr, pig) << err.str();
  EXPECT_FALSE(pig->runCommands(nullptr, nullptr, ZobString("A = LOAD 'x';"), nullptr, &err));
  EXPECT_TRUE(contains(err, "RunCommands")) << err.str();
  EXPECT_TRUE(contains(err, "no Pig engine")) << err.str();
  pig->release();
}

}  // namespace

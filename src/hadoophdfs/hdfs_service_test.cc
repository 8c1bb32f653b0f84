// The HDFS service: what each operation sends, which calls carry the caller's
// poll status, how answers and failures turn into results, and how the service
// ends. An open file: reads that hand out the response's own bytes, writes that
// grow the size, and a close that happens once, by hand or at destruction.
#include "hadoophdfs/ZOHadoopFileImpl.h"
#include "zohadoop/core_test_support.h"

using ::testing::ElementsAre;

namespace {

class ServiceTest : public HdfsTest {
 protected:
  void SetUp() override {
    HdfsTest::SetUp();
    hdfs_ = makeService();
  }

  ZOHadoopHDFS* hdfs_ = nullptr;
};

// Creation sends the configuration's object (or a null one); a failed creation
// releases nothing; a release gives back the Java object once; a service left
// alive is ended with its instance.
TEST_F(ServiceTest, CreationAndRelease) {
  EXPECT_THAT(bridge().lastCallTo("CreateHDFS").inputs, ElementsAre(V::ofObject(kCfgObject)));
  EXPECT_EQ(static_cast<ZOHadoopHDFSImpl*>(hdfs_)->javaObject(), kServiceObject);

  bridge().answerNth("CreateHDFS", 2, ScriptedAnswer::unreadable(WLP_ERR_MEMORY));
  bridge().answerNth("CreateHDFS", 3, ScriptedAnswer::outputs({V::ofObject(7)}));
  EXPECT_EQ(hadoop_->createHDFS(nullptr, &err_), nullptr);
  EXPECT_TRUE(isMessage(err_, 1354)) << err_.str();
  EXPECT_EQ(bridge().callCount("HDFSRelease"), 0);
  err_ = ZobString("stale");
  ZOHadoopHDFS* bare = hadoop_->createHDFS(nullptr, &err_);
  ASSERT_NE(bare, nullptr) << err_.str();
  EXPECT_TRUE(err_.isNull());
  EXPECT_THAT(bridge().lastCallTo("CreateHDFS").inputs, ElementsAre(V::ofNull(WLP_TYPE_OBJECT)));

  hdfs_->release();
  const ScriptedCall release = bridge().lastCallTo("HDFSRelease");
  EXPECT_FALSE(release.pollGiven);
  EXPECT_THAT(release.inputs, ElementsAre(V::ofObject(kServiceObject)));
  // Released by its caller, the service is not ended again with the instance;
  // the one left alive is.
  hadoop_.reset();
  EXPECT_EQ(bridge().callCount("HDFSRelease"), 2);
  EXPECT_EQ(bridge().lastCallTo("HDFSRelease").inputs[0], V::ofObject(7));
}

// What goes where is seen on a real Java side in the end-to-end cases; here
// only that these quick operations never hand the caller's poll on.
TEST_F(ServiceTest, RenameAndCopiesNeverConsultThePoll) {
  ASSERT_TRUE(hdfs_->rename(&poll_, "/a", "/b", &err_));
  ASSERT_TRUE(hdfs_->copyToLocal(&poll_, "/hdfs/src", true, "/tmp/dst", false, &err_));
  ASSERT_TRUE(hdfs_->copyFromLocal(&poll_, "/tmp/src", false, "/hdfs/dst", true, &err_));
  ASSERT_EQ(bridge().calls().size(), 5u);  // configuration, service, and these three
  for (const ScriptedCall& call : bridge().calls()) {
    EXPECT_FALSE(call.pollGiven) << call.method;
  }
  EXPECT_THAT(bridge().lastCallTo("HDFSCopyFile").inputs,
              ElementsAre(V::ofObject(kServiceObject), V::ofBool(true), V::ofString("/tmp/src"),
                          V::ofBool(false), V::ofString("/hdfs/dst"), V::ofBool(true)));
}

// makeDirectory and deleteFile report whether the call went through, not what
// it answered; exists answers true only for a readable true.
TEST_F(ServiceTest, BooleanAnswers) {
  const std::vector<ScriptedAnswer> answers = {
      ScriptedAnswer::outputs({V::ofBool(true)}), ScriptedAnswer::outputs({V::ofBool(false)}),
      ScriptedAnswer::unreadable(WLP_ERR_TYPE, {V::ofBool(true)}),
      ScriptedAnswer::javaError(1, "denied")};
  for (const std::string method : {"HDFSMKDIR", "HDFSDelete", "HDFSExists"}) {
    bridge().answerSequence(method, answers);
    std::vector<std::string> results;
    for (size_t i = 0; i < answers.size(); ++i) {
      const ZobString path(("/p" + std::to_string(i)).c_str());
      ZobString err;
      bool answer = false;
      const bool ok = method == "HDFSMKDIR"    ? hdfs_->makeDirectory(&poll_, path, &err)
                      : method == "HDFSDelete" ? hdfs_->deleteFile(&poll_, path, &err)
                                               : hdfs_->exists(&poll_, path, &answer, &err);
      results.push_back(std::string(ok ? "ok" : "failed") + (answer ? ", yes" : "") +
                        (err.isNull() ? "" : ", with a text"));
    }
    const std::string first = method == "HDFSExists" ? "ok, yes" : "ok";
    EXPECT_THAT(results, ElementsAre(first, "ok", "ok", "failed, with a text")) << method;
    const ScriptedCall call = bridge().lastCallTo(method);
    EXPECT_EQ(call.pollValue, 250);
    EXPECT_THAT(call.inputs, ElementsAre(V::ofObject(kServiceObject), V::ofString("/p3")));
  }
}

// Null places for answers are refused with a text before anything is sent.
TEST_F(ServiceTest, NullAnswerPointersAreRefused) {
  EXPECT_FALSE(hdfs_->exists(nullptr, "/a", nullptr, &err_));
  EXPECT_TRUE(isMessage(err_, 29)) << err_.str();

  answerOpen(7, std::nullopt);
  FileOwner file = openFile(hdfs_);
  err_ = ZobString();
  EXPECT_EQ(file->read(nullptr, nullptr, 10, &err_), -1);
  EXPECT_TRUE(isMessage(err_, 29)) << err_.str();

  bridge().answer("HDFSListDir",
                  ScriptedAnswer::outputs({V::ofStringRows(entryStats("f", {}), 2)}));
  DirOwner dir(hdfs_->openDir(nullptr, "/", &err_));
  ASSERT_NE(dir, nullptr) << err_.str();
  long size = 0;
  err_ = ZobString();
  EXPECT_FALSE(dir->next(nullptr, &size, nullptr, nullptr, nullptr, nullptr, &err_));
  EXPECT_TRUE(isMessage(err_, 29)) << err_.str();
  EXPECT_EQ(bridge().callCount("HDFSExists") + bridge().callCount("HDFSFileRead"), 0);
}

TEST_F(ServiceTest, OpenDirHandsTheRowSetToAListingThatOutlivesTheService) {
  bridge().answer("HDFSListDir",
                  ScriptedAnswer::outputs({V::ofStringRows(entryStats("a", {{"Size", "3"}}), 2)}));
  DirOwner dir(hdfs_->openDir(&poll_, "/d", &err_));
  ASSERT_NE(dir, nullptr) << err_.str();
  ScriptedCall call = bridge().lastCallTo("HDFSListDir");
  EXPECT_TRUE(call.pollGiven);
  EXPECT_THAT(call.inputs, ElementsAre(V::ofObject(kServiceObject), V::ofString("/d")));
  // Only the listing's rows are still alive: the response is gone.
  EXPECT_EQ(wireObjectsLeft(), 1);

  hdfs_->release();
  ZobString name;
  long size = 0;
  ZobDate date;
  unsigned long millis = 0;
  bool isDir = true, readOnly = false;
  ASSERT_TRUE(dir->next(&name, &size, &date, &millis, &isDir, &readOnly, &err_));
  EXPECT_EQ(name.str(), "a");
  EXPECT_EQ(size, 3);
  dir.reset();

  // An answer without rows names the directory.
  bridge().answer("HDFSListDir", ScriptedAnswer::outputs({}));
  ZOHadoopHDFS* again = makeService();
  EXPECT_EQ(again->openDir(nullptr, "/none", &err_), nullptr);
  EXPECT_TRUE(isMessage(err_, 446)) << err_.str();
  EXPECT_NE(err_.str().find("/none"), std::string::npos);
}

TEST_F(ServiceTest, OpenFileSendsModeCodeAndOnlyTheAppendFlagBit) {
  struct Case {
    int mode;
    int flags;
    int code;
    int flag;
  };
  const Case cases[] = {{1, 0, 0, 0}, {2, 0x200000, 1, 1}, {3, 0x7fdfffff, 2, 0}, {0, ~0, 2, 1}};
  for (const Case& c : cases) {
    answerOpen(77, std::nullopt);
    ZobString err;
    FileOwner file(hdfs_->openFile(&poll_, "/p", static_cast<ZobTxtFileOpenMode>(c.mode), c.flags,
                                   8192, &err));
    ASSERT_NE(file, nullptr) << err.str();
    ScriptedCall call = bridge().lastCallTo("HDFSOpenFile");
    EXPECT_TRUE(call.pollGiven);
    EXPECT_THAT(call.inputs, ElementsAre(V::ofObject(kServiceObject), V::ofString("/p"),
                                         V::ofInt(c.code), V::ofInt(c.flag), V::ofInt(8192)))
        << "mode " << c.mode << " flags " << c.flags;
  }
}

TEST_F(ServiceTest, OpenFileTakesItsSizeFromTheFirstEntryOfTheStats) {
  StringTable stats = entryStats("f.txt", {{"Size", "1234"}, {"Permissions", "420"}});
  stats.push_back({std::nullopt, "other"});
  stats.push_back({"Size", "99"});
  answerOpen(77, stats);
  FileOwner file = openFile(hdfs_);
  EXPECT_EQ(file->getSize(), 1234);

  answerOpen(78, std::nullopt);
  FileOwner bare = openFile(hdfs_);
  EXPECT_EQ(bare->getSize(), 0);
}

// A Java file that came back is closed when its stats cannot be read, keeping
// the first error; with no Java file there is nothing to close.
TEST_F(ServiceTest, OpenFileThatCannotReadItsStatsClosesTheJavaFileAndKeepsTheFirstError) {
  ScriptedValue stats = V::ofStringRows(entryStats("f", {{"Size", "1"}}), 2);
  stats.failingNextRowAt(1, WLP_ERR_MEMORY);
  ScriptedValue badStats = V::ofStringRows({{std::nullopt, "f"}}, 2);
  badStats.failingNextRowAt(0, WLP_ERR_MEMORY);
  bridge().answerSequence("HDFSOpenFile",
                          {ScriptedAnswer::outputs({V::ofNull(WLP_TYPE_OBJECT), badStats}),
                           ScriptedAnswer::outputs({V::ofObject(91), stats})});
  bridge().answer("HDFSFileClose", ScriptedAnswer::javaError(5, "close failed too"));
  EXPECT_EQ(hdfs_->openFile(&poll_, "/f", ZOB_TXTFILE_READ, 0, 0, &err_), nullptr);
  EXPECT_TRUE(isMessage(err_, 1354)) << err_.str();
  EXPECT_EQ(bridge().callCount("HDFSFileClose"), 0);

  EXPECT_EQ(hdfs_->openFile(&poll_, "/f", ZOB_TXTFILE_READ, 0, 0, &err_), nullptr);
  EXPECT_TRUE(isMessage(err_, 1354)) << err_.str();
  EXPECT_NE(err_.str().find("zowlpRowSet_nextRow"), std::string::npos);
  ScriptedCall close = bridge().lastCallTo("HDFSFileClose");
  EXPECT_TRUE(close.pollGiven);
  EXPECT_THAT(close.inputs, ElementsAre(V::ofObject(91)));
  EXPECT_EQ(bridge().methodsCalled().back(), "HDFSFileClose");
  EXPECT_TRUE(log_.of("ZO.Hadoop.HDFS.File").empty()) << "no file was made";
}

// ---- An open file ---------------------------------------------------------------

class FileTest : public ServiceTest {
 protected:
  static constexpr int64_t kFileObject = 321;

  void SetUp() override {
    ServiceTest::SetUp();
    answerOpen(kFileObject, entryStats("f.txt", {{"Size", "100"}}));
    file_ = openFile(hdfs_);
    log_.clear();
  }
  void TearDown() override {
    file_.reset();
    ServiceTest::TearDown();
  }

  FileOwner file_;
};

TEST_F(FileTest, ReadHandsOutTheResponseBytesUntilTheNextRead) {
  bridge().answerSequence("HDFSFileRead", {ScriptedAnswer::outputs({V::ofBytes("hello")}),
                                           ScriptedAnswer::outputs({V::ofBytes("")}),
                                           ScriptedAnswer::javaError(4, "broken pipe")});
  const char* data = nullptr;
  ZobString err("stale");
  ASSERT_EQ(file_->read(&poll_, &data, 64, &err), 5);
  EXPECT_TRUE(err.isNull());
  ASSERT_NE(data, nullptr);
  EXPECT_EQ(std::string(data, 5), "hello");
  ScriptedCall call = bridge().lastCallTo("HDFSFileRead");
  EXPECT_TRUE(call.pollGiven);
  EXPECT_THAT(call.inputs, ElementsAre(V::ofObject(kFileObject), V::ofInt(64)));
  // One response is held for the bytes; the next read lets it go.
  EXPECT_EQ(wireObjectsLeft(), 1);

  EXPECT_EQ(file_->read(nullptr, &data, 64, &err), 0);
  EXPECT_FALSE(bridge().lastCallTo("HDFSFileRead").pollGiven);
  EXPECT_EQ(wireObjectsLeft(), 1);
  // A failed read leaves no pointer to bytes that are gone.
  EXPECT_EQ(file_->read(nullptr, &data, 64, &err), -1);
  EXPECT_EQ(data, nullptr);
}

TEST_F(FileTest, WritesSendTheCallersBytesAndGrowTheSizeOnlyWhenTheyWork) {
  bridge().answerSequence("HDFSFileWrite", {ScriptedAnswer::outputs({}),
                                            ScriptedAnswer::outputs({}),
                                            ScriptedAnswer::javaError(1, "quota")});
  bridge().answer("HDFSFileRead", ScriptedAnswer::outputs({V::ofBytes("keep")}));
  const char* data = nullptr;
  ASSERT_EQ(file_->read(nullptr, &data, 4, &err_), 4);
  const std::string ten(10, 'a'), twenty(20, 'b');
  ASSERT_TRUE(file_->write(&poll_, ten.data(), 10, &err_));
  ASSERT_TRUE(file_->write(nullptr, twenty.data(), 20, &err_));
  EXPECT_EQ(file_->getSize(), 130);
  EXPECT_FALSE(file_->write(nullptr, ten.data(), 10, &err_));
  EXPECT_TRUE(isMessage(err_, 1725));
  EXPECT_EQ(file_->getSize(), 130);

  EXPECT_TRUE(bridge().callsTo("HDFSFileWrite").at(0).pollGiven);
  EXPECT_THAT(bridge().callsTo("HDFSFileWrite").at(1).inputs,
              ElementsAre(V::ofObject(kFileObject), V::ofBytes(twenty)));
  // A write leaves the bytes of the last read valid.
  EXPECT_EQ(std::string(data, 4), "keep");
}

TEST_F(FileTest, CloseHappensOnceAndForgetsTheFileEvenWhenItFails) {
  bridge().answer("HDFSFileClose", ScriptedAnswer::javaError(8, "lease lost"));
  EXPECT_FALSE(file_->close(&err_));
  EXPECT_TRUE(isMessage(err_, 1725));
  EXPECT_THAT(bridge().lastCallTo("HDFSFileClose").inputs, ElementsAre(V::ofObject(kFileObject)));

  err_ = ZobString("stale");
  EXPECT_TRUE(file_->close(&err_));
  EXPECT_TRUE(err_.isNull());
  EXPECT_EQ(bridge().callCount("HDFSFileClose"), 1);

  // A closed file still calls through, with no Java object.
  const char* data = nullptr;
  file_->read(nullptr, &data, 1, &err_);
  EXPECT_EQ(bridge().lastCallTo("HDFSFileRead").inputs[0], V::ofObject(0));
  file_.reset();
  EXPECT_EQ(bridge().callCount("HDFSFileClose"), 1);
}

// A file outlives the service that opened it, and destroying it while open
// closes it first.
TEST_F(FileTest, AFileOutlivesItsServiceAndClosesWhenDestroyed) {
  hdfs_->release();
  bridge().answer("HDFSFileRead", ScriptedAnswer::outputs({V::ofBytes("late")}));
  const char* data = nullptr;
  ASSERT_EQ(file_->read(nullptr, &data, 4, &err_), 4) << err_.str();
  EXPECT_EQ(std::string(data, 4), "late");
  file_.reset();
  EXPECT_EQ(bridge().callCount("HDFSFileClose"), 1);
}

}  // namespace

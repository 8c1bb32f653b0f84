// The HDFS service: what each operation sends, which calls carry the caller's
// poll status, how answers and failures turn into results and log lines, and
// how the service ends.
#include "hadoophdfs/hdfs_test_support.h"

using ::testing::ElementsAre;

namespace {

class ServiceTest : public HdfsTest {};

TEST_F(ServiceTest, CreationSendsTheConfigurationObjectOrANullOne) {
  ZOHadoopHDFS* hdfs = makeService();
  ASSERT_NE(hdfs, nullptr);
  ScriptedCall create = *bridge().lastCallTo("CreateHDFS");
  EXPECT_EQ(create.signature, HADOOP_CREATECONFIG_SIG_OUT);
  EXPECT_FALSE(create.pollGiven);
  ASSERT_EQ(create.count, 1);
  EXPECT_EQ(create.inputs[0], ScriptedValue::ofObject(kCfgObject));
  EXPECT_EQ(static_cast<ZOHadoopHDFSImpl*>(hdfs)->javaObject(), kServiceObject);

  bridge().answer("CreateHDFS", ScriptedAnswer::outputs({ScriptedValue::ofObject(7)}));
  ZobString err("stale");
  ZOHadoopHDFS* bare = hadoop_->createHDFS(nullptr, &err);
  ASSERT_NE(bare, nullptr) << err.str();
  EXPECT_TRUE(err.isNull());
  create = *bridge().lastCallTo("CreateHDFS");
  ASSERT_EQ(create.count, 1);
  EXPECT_EQ(create.inputs[0], ScriptedValue::ofNull(WLP_TYPE_OBJECT));
  bare->release();
}

TEST_F(ServiceTest, FailedCreationEndsWithoutReleasingAnything) {
  makeConfiguration();
  bridge().answerSequence("CreateHDFS", {ScriptedAnswer::javaError(3, "no fs"),
                                         ScriptedAnswer::unreadable(WLP_ERR_MEMORY)});
  ZobString err;
  EXPECT_EQ(hadoop_->createHDFS(nullptr, &err), nullptr);
  EXPECT_TRUE(isMessage(err, 1725)) << err.str();
  EXPECT_EQ(hadoop_->createHDFS(nullptr, &err), nullptr);
  EXPECT_TRUE(isMessage(err, 1354)) << err.str();
  EXPECT_NE(err.str().find("zowlpResponse_parameters"), std::string::npos);
  EXPECT_EQ(bridge().callCount("HDFSRelease"), 0);
  EXPECT_EQ(wireObjectsLeft(), 0);
  const std::vector<std::string> lines = serviceLog();
  ASSERT_EQ(lines.size(), 6u);
  EXPECT_EQ(lines[0].rfind("2 Created Hadoop HDFS instance ", 0), 0u) << lines[0];
  EXPECT_EQ(lines[1].rfind("2 Destroying Hadoop HDFS instance ", 0), 0u) << lines[1];
  EXPECT_EQ(lines[2].rfind("2 Completed destruction of Hadoop HDFS instance ", 0), 0u);
}

TEST_F(ServiceTest, ReleaseGivesBackTheJavaObjectAndLogsAFailureOfThat) {
  ZOHadoopHDFS* hdfs = makeService();
  bridge().answer("HDFSRelease", ScriptedAnswer::javaError(9, "gone"));
  log_.clear();
  hdfs->release();
  ScriptedCall release = *bridge().lastCallTo("HDFSRelease");
  EXPECT_FALSE(release.pollGiven);
  EXPECT_EQ(release.signature, JAVA_PROXY_EMPTY_SIG);
  EXPECT_THAT(release.inputs, ElementsAre(ScriptedValue::ofObject(kServiceObject)));
  const std::vector<std::string> lines = serviceLog();
  ASSERT_EQ(lines.size(), 3u);
  EXPECT_EQ(lines[0].rfind("2 Destroying Hadoop HDFS instance ", 0), 0u);
  EXPECT_EQ(lines[1].rfind("3 [Hadoop Client 1725]", 0), 0u) << lines[1];
  EXPECT_NE(lines[1].find("gone"), std::string::npos);
  EXPECT_EQ(lines[2].rfind("2 Completed destruction of Hadoop HDFS instance ", 0), 0u);
  // Released by its caller, the service is not ended again with the instance.
  hadoop_.reset();
  EXPECT_EQ(bridge().callCount("HDFSRelease"), 1);
}

TEST_F(ServiceTest, AServiceLeftAliveIsEndedWithItsInstance) {
  makeService();
  hadoop_.reset();
  EXPECT_EQ(bridge().callCount("HDFSRelease"), 1);
  EXPECT_EQ(wireObjectsLeft(), 0);
}

TEST_F(ServiceTest, RenameAndCopiesSendPathsInOrderAndNeverConsultThePoll) {
  ZOHadoopHDFS* hdfs = makeService();
  MarkedPoll poll;
  ZobString err;
  ASSERT_TRUE(hdfs->rename(&poll, "/a", "/b", &err));
  ASSERT_TRUE(hdfs->copyToLocal(&poll, "/hdfs/src", true, "/tmp/dst", false, &err));
  ASSERT_TRUE(hdfs->copyFromLocal(&poll, "/tmp/src", false, "/hdfs/dst", true, &err));

  ScriptedCall rename = *bridge().lastCallTo("HDFSRename");
  EXPECT_THAT(rename.inputs,
              ElementsAre(ScriptedValue::ofObject(kServiceObject),
                          ScriptedValue::ofString("/a"), ScriptedValue::ofString("/b")));
  std::vector<ScriptedCall> copies = bridge().callsTo("HDFSCopyFile");
  ASSERT_EQ(copies.size(), 2u);
  EXPECT_THAT(copies[0].inputs,
              ElementsAre(ScriptedValue::ofObject(kServiceObject), ScriptedValue::ofBool(false),
                          ScriptedValue::ofString("/hdfs/src"), ScriptedValue::ofBool(true),
                          ScriptedValue::ofString("/tmp/dst"), ScriptedValue::ofBool(false)));
  EXPECT_THAT(copies[1].inputs,
              ElementsAre(ScriptedValue::ofObject(kServiceObject), ScriptedValue::ofBool(true),
                          ScriptedValue::ofString("/tmp/src"), ScriptedValue::ofBool(false),
                          ScriptedValue::ofString("/hdfs/dst"), ScriptedValue::ofBool(true)));
  for (const ScriptedCall& call : {rename, copies[0], copies[1]}) {
    EXPECT_FALSE(call.pollGiven) << call.method;
    EXPECT_EQ(call.signature, JAVA_PROXY_EMPTY_SIG);
  }
  EXPECT_THAT(serviceLog(),
              testing::IsSupersetOf({"2 Rename Hadoop HDFS entity from '/a' to '/b'.",
                                     "2 Copying Hadoop HDFS file '/hdfs/src' to '/tmp/dst'.",
                                     "2 Copying local file '/tmp/src' to HDFS '/hdfs/dst'."}));
  EXPECT_EQ(wireObjectsLeft(), 0);

  bridge().answer("HDFSRename", ScriptedAnswer::status(ZOJNI_ERR_JVM));
  EXPECT_FALSE(hdfs->rename(nullptr, "/a", "/b", &err));
  EXPECT_TRUE(isMessage(err, 1726)) << err.str();
}

TEST_F(ServiceTest, MakeDirectoryReportsTheCallNotTheAnswer) {
  ZOHadoopHDFS* hdfs = makeService();
  bridge().answerSequence("HDFSMKDIR",
                          {ScriptedAnswer::outputs({ScriptedValue::ofBool(true)}),
                           ScriptedAnswer::outputs({ScriptedValue::ofBool(false)}),
                           ScriptedAnswer::unreadable(WLP_ERR_MEMORY),
                           ScriptedAnswer::javaError(1, "denied")});
  MarkedPoll poll;
  log_.clear();
  ZobString err;
  EXPECT_TRUE(hdfs->makeDirectory(&poll, "/n1", &err));
  EXPECT_TRUE(err.isNull());
  EXPECT_TRUE(hdfs->makeDirectory(&poll, "/n2", &err));
  EXPECT_TRUE(err.isNull());
  EXPECT_TRUE(hdfs->makeDirectory(&poll, "/n3", &err));
  EXPECT_TRUE(err.isNull());
  EXPECT_FALSE(hdfs->makeDirectory(&poll, "/n4", &err));
  EXPECT_TRUE(isMessage(err, 1725)) << err.str();

  ScriptedCall call = *bridge().lastCallTo("HDFSMKDIR");
  EXPECT_TRUE(call.pollGiven);
  EXPECT_EQ(call.pollValue, 250);
  EXPECT_EQ(call.signature, HADOOP_HDFS_MKDIR_SIG_OUT);
  EXPECT_THAT(call.inputs, ElementsAre(ScriptedValue::ofObject(kServiceObject),
                                       ScriptedValue::ofString("/n4")));
  EXPECT_THAT(serviceLog(), ElementsAre("2 Creating Hadoop HDFS directory /n1.",
                                        "2 Created HDFS directory /n1.",
                                        "2 Creating Hadoop HDFS directory /n2.",
                                        "2 Could not create HDFS directory/n2.",
                                        "2 Creating Hadoop HDFS directory /n3.",
                                        "2 Could not create HDFS directory/n3.",
                                        "2 Creating Hadoop HDFS directory /n4.",
                                        "2 Failed to create HDFS directory /n4."));
  EXPECT_EQ(wireObjectsLeft(), 0);
}

TEST_F(ServiceTest, DeleteFileReportsTheCallNotTheAnswer) {
  ZOHadoopHDFS* hdfs = makeService();
  bridge().answerSequence("HDFSDelete",
                          {ScriptedAnswer::outputs({ScriptedValue::ofBool(true)}),
                           ScriptedAnswer::outputs({ScriptedValue::ofBool(false)}),
                           ScriptedAnswer::status(ZOJNI_ERR_NO_METHOD)});
  log_.clear();
  ZobString err;
  EXPECT_TRUE(hdfs->deleteFile(nullptr, "/x", &err));
  EXPECT_TRUE(hdfs->deleteFile(nullptr, "/missing", &err));
  EXPECT_TRUE(err.isNull());
  EXPECT_FALSE(hdfs->deleteFile(nullptr, "/y", &err));
  EXPECT_TRUE(isMessage(err, 1726)) << err.str();
  EXPECT_FALSE(bridge().lastCallTo("HDFSDelete")->pollGiven);
  EXPECT_THAT(serviceLog(),
              ElementsAre("2 Deleting Hadoop HDFS file /x.", "2 Deleted Hadoop HDFS file /x.",
                          "2 Deleting Hadoop HDFS file /missing.",
                          "2 Could not delete non-existent Hadoop HDFS file /missing.",
                          "2 Deleting Hadoop HDFS file /y.",
                          "2 Failed to deleteHadoop HDFS file /y."));
}

TEST_F(ServiceTest, ExistsAnswersTrueOnlyForAReadableTrue) {
  ZOHadoopHDFS* hdfs = makeService();
  bridge().answerSequence("HDFSExists",
                          {ScriptedAnswer::outputs({ScriptedValue::ofBool(true)}),
                           ScriptedAnswer::outputs({ScriptedValue::ofBool(false)}),
                           ScriptedAnswer::unreadable(WLP_ERR_TYPE,
                                                      {ScriptedValue::ofBool(true)}),
                           ScriptedAnswer::javaError(2, "io")});
  MarkedPoll poll;
  ZobString err;
  bool answer = false;
  EXPECT_TRUE(hdfs->exists(&poll, "/e", &answer, &err));
  EXPECT_TRUE(answer);
  EXPECT_TRUE(hdfs->exists(&poll, "/e", &answer, &err));
  EXPECT_FALSE(answer);
  answer = true;
  EXPECT_TRUE(hdfs->exists(&poll, "/e", &answer, &err));
  EXPECT_FALSE(answer);
  EXPECT_TRUE(err.isNull());
  answer = true;
  EXPECT_FALSE(hdfs->exists(&poll, "/e", &answer, &err));
  EXPECT_FALSE(answer);
  EXPECT_TRUE(isMessage(err, 1725));
  EXPECT_TRUE(bridge().lastCallTo("HDFSExists")->pollGiven);
  EXPECT_EQ(log_.of("ZO.Hadoop.HDFS").back(), "2 Checking for existence of HDFS entity /e.");
  EXPECT_EQ(wireObjectsLeft(), 0);
}

// Null places for answers are refused with a text before anything is sent.
TEST_F(ServiceTest, NullAnswerPointersAreRefused) {
  ZOHadoopHDFS* hdfs = makeService();
  ZobString err;
  EXPECT_FALSE(hdfs->exists(nullptr, "/a", nullptr, &err));
  EXPECT_TRUE(isMessage(err, 29)) << err.str();

  answerOpen(7, std::nullopt);
  FileOwner file = openFile(hdfs);
  err = ZobString();
  EXPECT_EQ(file->read(nullptr, nullptr, 10, &err), -1);
  EXPECT_TRUE(isMessage(err, 29)) << err.str();

  bridge().answer("HDFSListDir", ScriptedAnswer::outputs({ScriptedValue::ofStringRows(
                                     entryStats("f", {}), 2)}));
  DirOwner dir(hdfs->openDir(nullptr, "/", &err));
  ASSERT_NE(dir, nullptr) << err.str();
  long size = 0;
  err = ZobString();
  EXPECT_FALSE(dir->next(nullptr, &size, nullptr, nullptr, nullptr, nullptr, &err));
  EXPECT_TRUE(isMessage(err, 29)) << err.str();
  EXPECT_EQ(bridge().callCount("HDFSExists") + bridge().callCount("HDFSFileRead"), 0);
}

TEST_F(ServiceTest, OpenDirHandsTheRowSetToAListingThatOutlivesTheService) {
  ZOHadoopHDFS* hdfs = makeService();
  bridge().answer("HDFSListDir",
                  ScriptedAnswer::outputs({ScriptedValue::ofStringRows(
                      entryStats("a", {{"Size", "3"}}), 2)}));
  MarkedPoll poll;
  log_.clear();
  ZobString err;
  DirOwner dir(hdfs->openDir(&poll, "/d", &err));
  ASSERT_NE(dir, nullptr) << err.str();
  ScriptedCall call = *bridge().lastCallTo("HDFSListDir");
  EXPECT_TRUE(call.pollGiven);
  EXPECT_EQ(call.signature, HADOOP_HDFS_LISTDIR_SIG_OUT);
  EXPECT_THAT(call.inputs, ElementsAre(ScriptedValue::ofObject(kServiceObject),
                                       ScriptedValue::ofString("/d")));
  EXPECT_THAT(serviceLog(),
              ElementsAre("2 Opening HDFS directory /d.", "2 Listed HDFS directory /d."));
  // Only the listing's rows are still alive: the response is gone.
  EXPECT_EQ(wireObjectsLeft(), 1);

  hdfs->release();
  ZobString name;
  long size = 0;
  ZobDate date;
  unsigned long millis = 0;
  bool isDir = true, readOnly = false;
  ASSERT_TRUE(dir->next(&name, &size, &date, &millis, &isDir, &readOnly, &err));
  EXPECT_EQ(name.str(), "a");
  EXPECT_EQ(size, 3);
  dir.reset();
  EXPECT_EQ(wireObjectsLeft(), 0);
}

TEST_F(ServiceTest, OpenDirFailures) {
  ZOHadoopHDFS* hdfs = makeService();
  bridge().answerSequence("HDFSListDir",
                          {ScriptedAnswer::javaError(2, "not a directory"),
                           ScriptedAnswer::outputs({}),
                           ScriptedAnswer::unreadable(WLP_ERR_MEMORY)});
  log_.clear();
  ZobString err;
  EXPECT_EQ(hdfs->openDir(nullptr, "/f", &err), nullptr);
  EXPECT_TRUE(isMessage(err, 1725)) << err.str();
  EXPECT_EQ(hdfs->openDir(nullptr, "/none", &err), nullptr);
  EXPECT_TRUE(isMessage(err, 446)) << err.str();
  EXPECT_NE(err.str().find("/none"), std::string::npos);
  const char* file = nullptr;
  int line = 0;
  zobLastMessageSource(&file, &line);
  EXPECT_STREQ(file, "src/hadoophdfs");
  EXPECT_EQ(hdfs->openDir(nullptr, "/u", &err), nullptr);
  EXPECT_TRUE(isMessage(err, 1354)) << err.str();
  EXPECT_THAT(serviceLog(),
              ElementsAre("2 Opening HDFS directory /f.", "2 Failed to list HDFS directory /f.",
                          "2 Opening HDFS directory /none.", "2 Listed HDFS directory /none.",
                          "2 Opening HDFS directory /u.", "2 Listed HDFS directory /u."));
  EXPECT_EQ(wireObjectsLeft(), 0);
}

TEST_F(ServiceTest, OpenFileSendsModeCodeAndOnlyTheAppendFlagBit) {
  ZOHadoopHDFS* hdfs = makeService();
  struct Case {
    int mode;
    int flags;
    int code;
    int flag;
  };
  const Case cases[] = {{1, 0, 0, 0},
                        {2, 0x200000, 1, 1},
                        {3, 0x7fdfffff, 2, 0},
                        {0, 0x200001, 2, 1},
                        {7, ~0, 2, 1}};
  MarkedPoll poll;
  for (const Case& c : cases) {
    answerOpen(77, std::nullopt);
    ZobString err;
    FileOwner file(hdfs->openFile(&poll, "/p", static_cast<ZobTxtFileOpenMode>(c.mode),
                                  c.flags, 8192, &err));
    ASSERT_NE(file, nullptr) << err.str();
    ScriptedCall call = *bridge().lastCallTo("HDFSOpenFile");
    EXPECT_TRUE(call.pollGiven);
    EXPECT_EQ(call.signature, HADOOP_HDFS_OPENFILE_SIG_OUT);
    EXPECT_THAT(call.inputs,
                ElementsAre(ScriptedValue::ofObject(kServiceObject),
                            ScriptedValue::ofString("/p"), ScriptedValue::ofInt(c.code),
                            ScriptedValue::ofInt(c.flag), ScriptedValue::ofInt(8192)))
        << "mode " << c.mode << " flags " << c.flags;
  }
}

TEST_F(ServiceTest, OpenFileTakesItsSizeFromTheFirstEntryOfTheStats) {
  ZOHadoopHDFS* hdfs = makeService();
  StatsTable stats = entryStats("f.txt", {{"Size", "1234"}, {"Permissions", "420"}});
  stats.push_back({std::nullopt, "other"});
  stats.push_back({"Size", "99"});
  answerOpen(77, stats);
  log_.clear();
  FileOwner file = openFile(hdfs);
  EXPECT_EQ(file->getSize(), 1234);
  EXPECT_EQ(wireObjectsLeft(), 0);
  EXPECT_THAT(serviceLog(), ElementsAre("2 Opening HDFS file /data/f.txt.",
                                        "2 Opened HDFS file /data/f.txt."));

  answerOpen(78, std::nullopt);
  FileOwner bare = openFile(hdfs);
  EXPECT_EQ(bare->getSize(), 0);
}

TEST_F(ServiceTest, OpenFileThatCannotReadItsStatsClosesTheJavaFileAndKeepsTheFirstError) {
  ZOHadoopHDFS* hdfs = makeService();
  ScriptedValue stats = ScriptedValue::ofStringRows(entryStats("f", {{"Size", "1"}}), 2);
  stats.failingNextRowAt(1, WLP_ERR_MEMORY);
  bridge().answer("HDFSOpenFile",
                  ScriptedAnswer::outputs({ScriptedValue::ofObject(91), stats}));
  bridge().answer("HDFSFileClose", ScriptedAnswer::javaError(5, "close failed too"));
  MarkedPoll poll;
  ZobString err;
  EXPECT_EQ(hdfs->openFile(&poll, "/f", ZOB_TXTFILE_READ, 0, 0, &err), nullptr);
  EXPECT_TRUE(isMessage(err, 1354)) << err.str();
  EXPECT_NE(err.str().find("zowlpRowSet_nextRow"), std::string::npos);
  ScriptedCall close = *bridge().lastCallTo("HDFSFileClose");
  EXPECT_TRUE(close.pollGiven);
  EXPECT_THAT(close.inputs, ElementsAre(ScriptedValue::ofObject(91)));
  const std::vector<std::string> methods = bridge().methodsCalled();
  ASSERT_GE(methods.size(), 2u);
  EXPECT_EQ(methods[methods.size() - 2], "HDFSOpenFile");
  EXPECT_EQ(methods.back(), "HDFSFileClose");
  EXPECT_EQ(wireObjectsLeft(), 0);
  EXPECT_TRUE(fileLog().empty());
}

TEST_F(ServiceTest, OpenFileFailuresBeforeAFileObjectExistsCloseNothing) {
  ZOHadoopHDFS* hdfs = makeService();
  ScriptedValue badStats = ScriptedValue::ofStringRows({{std::nullopt, "f"}}, 2);
  badStats.failingNextRowAt(0, WLP_ERR_MEMORY);
  bridge().answerSequence("HDFSOpenFile",
                          {ScriptedAnswer::javaError(2, "no such file"),
                           ScriptedAnswer::unreadable(WLP_ERR_MEMORY,
                                                      {ScriptedValue::ofObject(5)}),
                           // No Java file came back, so there is nothing to close.
                           ScriptedAnswer::outputs({ScriptedValue::ofNull(WLP_TYPE_OBJECT),
                                                    badStats})});
  log_.clear();
  ZobString err;
  EXPECT_EQ(hdfs->openFile(nullptr, "/a", ZOB_TXTFILE_READ, 0, 0, &err), nullptr);
  EXPECT_TRUE(isMessage(err, 1725)) << err.str();
  EXPECT_EQ(hdfs->openFile(nullptr, "/b", ZOB_TXTFILE_READ, 0, 0, &err), nullptr);
  EXPECT_TRUE(isMessage(err, 1354)) << err.str();
  EXPECT_NE(err.str().find("zowlpResponse_parameters"), std::string::npos);
  EXPECT_EQ(hdfs->openFile(nullptr, "/c", ZOB_TXTFILE_READ, 0, 0, &err), nullptr);
  EXPECT_TRUE(isMessage(err, 1354)) << err.str();
  EXPECT_EQ(bridge().callCount("HDFSFileClose"), 0);
  EXPECT_THAT(serviceLog(),
              ElementsAre("2 Opening HDFS file /a.", "2 Failed to open HDFS file /a.",
                          "2 Opening HDFS file /b.", "2 Opened HDFS file /b.",
                          "2 Opening HDFS file /c.", "2 Opened HDFS file /c."));
  EXPECT_EQ(wireObjectsLeft(), 0);
}

}  // namespace

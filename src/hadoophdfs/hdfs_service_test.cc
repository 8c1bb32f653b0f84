// The HDFS service: what each operation sends, which calls carry the caller's
// poll status, how answers and failures turn into results and log lines, and
// how the service ends.
#include "hadoophdfs/hdfs_test_support.h"

#include <functional>

using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::StartsWith;

namespace {

class ServiceTest : public HdfsTest {};

// Creation sends the configuration's object (or a null one); a failed creation
// releases nothing; a release gives back the Java object once, logging a
// failure of that; a service left alive is ended with its instance.
TEST_F(ServiceTest, CreationAndRelease) {
  ZOHadoopHDFS* hdfs = makeService();
  const ScriptedCall create = *bridge().lastCallTo("CreateHDFS");
  EXPECT_EQ(create.signature, HADOOP_CREATECONFIG_SIG_OUT);
  EXPECT_FALSE(create.pollGiven);
  EXPECT_THAT(create.inputs, ElementsAre(ScriptedValue::ofObject(kCfgObject)));
  EXPECT_EQ(static_cast<ZOHadoopHDFSImpl*>(hdfs)->javaObject(), kServiceObject);

  bridge().answerNth("CreateHDFS", 2, ScriptedAnswer::javaError(3, "no fs"));
  bridge().answerNth("CreateHDFS", 3, ScriptedAnswer::unreadable(WLP_ERR_MEMORY));
  bridge().answerNth("CreateHDFS", 4, ScriptedAnswer::outputs({ScriptedValue::ofObject(7)}));
  ZobString err;
  EXPECT_EQ(hadoop_->createHDFS(nullptr, &err), nullptr);
  EXPECT_TRUE(isMessage(err, 1725)) << err.str();
  EXPECT_EQ(hadoop_->createHDFS(nullptr, &err), nullptr);
  EXPECT_TRUE(isMessage(err, 1354)) << err.str();
  EXPECT_NE(err.str().find("zowlpResponse_parameters"), std::string::npos);
  EXPECT_EQ(bridge().callCount("HDFSRelease"), 0);
  err = ZobString("stale");
  ZOHadoopHDFS* bare = hadoop_->createHDFS(nullptr, &err);
  ASSERT_NE(bare, nullptr) << err.str();
  EXPECT_TRUE(err.isNull());
  EXPECT_THAT(bridge().lastCallTo("CreateHDFS")->inputs,
              ElementsAre(ScriptedValue::ofNull(WLP_TYPE_OBJECT)));
  const std::vector<std::string> lines = serviceLog();
  ASSERT_EQ(lines.size(), 8u);
  EXPECT_THAT(std::vector<std::string>(lines.begin() + 1, lines.begin() + 4),
              ElementsAre(StartsWith("2 Created Hadoop HDFS instance "),
                          StartsWith("2 Destroying Hadoop HDFS instance "),
                          StartsWith("2 Completed destruction of Hadoop HDFS instance ")));

  bridge().answer("HDFSRelease", ScriptedAnswer::javaError(9, "gone"));
  log_.clear();
  hdfs->release();
  const ScriptedCall release = *bridge().lastCallTo("HDFSRelease");
  EXPECT_FALSE(release.pollGiven);
  EXPECT_EQ(release.signature, JAVA_PROXY_EMPTY_SIG);
  EXPECT_THAT(release.inputs, ElementsAre(ScriptedValue::ofObject(kServiceObject)));
  EXPECT_THAT(serviceLog(),
              ElementsAre(StartsWith("2 Destroying Hadoop HDFS instance "),
                          AllOf(StartsWith("3 [Hadoop Client 1725]"), HasSubstr("gone")),
                          StartsWith("2 Completed destruction of Hadoop HDFS instance ")));
  // Released by its caller, the service is not ended again with the instance;
  // the one left alive is.
  hadoop_.reset();
  EXPECT_EQ(bridge().callCount("HDFSRelease"), 2);
  EXPECT_EQ(bridge().lastCallTo("HDFSRelease")->inputs[0], ScriptedValue::ofObject(7));
}

TEST_F(ServiceTest, RenameAndCopiesSendPathsInOrderAndNeverConsultThePoll) {
  ZOHadoopHDFS* hdfs = makeService();
  FixedPoll poll;
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
}

// makeDirectory and deleteFile report whether the call went through, not what
// it answered; exists answers true only for a readable true.
TEST_F(ServiceTest, BooleanAnswersAndTheirLogLines) {
  ZOHadoopHDFS* hdfs = makeService();
  const std::vector<ScriptedAnswer> answers = {
      ScriptedAnswer::outputs({ScriptedValue::ofBool(true)}),
      ScriptedAnswer::outputs({ScriptedValue::ofBool(false)}),
      ScriptedAnswer::unreadable(WLP_ERR_TYPE, {ScriptedValue::ofBool(true)}),
      ScriptedAnswer::javaError(1, "denied")};
  struct Case {
    const char* method;
    std::function<bool(HadoopPollStatus*, const char*, bool*, ZobString*)> run;
    const char* signature;
    std::vector<bool> results, answered;
    std::vector<std::string> log;
  };
  const std::vector<Case> cases = {
      {"HDFSMKDIR",
       [&](HadoopPollStatus* p, const char* path, bool*, ZobString* e) {
         return hdfs->makeDirectory(p, path, e);
       },
       HADOOP_HDFS_MKDIR_SIG_OUT, {true, true, true, false}, {},
       {"2 Creating Hadoop HDFS directory /p0.", "2 Created HDFS directory /p0.",
        "2 Creating Hadoop HDFS directory /p1.", "2 Could not create HDFS directory/p1.",
        "2 Creating Hadoop HDFS directory /p2.", "2 Could not create HDFS directory/p2.",
        "2 Creating Hadoop HDFS directory /p3.", "2 Failed to create HDFS directory /p3."}},
      {"HDFSDelete",
       [&](HadoopPollStatus* p, const char* path, bool*, ZobString* e) {
         return hdfs->deleteFile(p, path, e);
       },
       HADOOP_HDFS_DELETEFILE_SIG_OUT, {true, true, true, false}, {},
       {"2 Deleting Hadoop HDFS file /p0.", "2 Deleted Hadoop HDFS file /p0.",
        "2 Deleting Hadoop HDFS file /p1.",
        "2 Could not delete non-existent Hadoop HDFS file /p1.",
        "2 Deleting Hadoop HDFS file /p2.",
        "2 Could not delete non-existent Hadoop HDFS file /p2.",
        "2 Deleting Hadoop HDFS file /p3.", "2 Failed to deleteHadoop HDFS file /p3."}},
      {"HDFSExists",
       [&](HadoopPollStatus* p, const char* path, bool* answer, ZobString* e) {
         return hdfs->exists(p, path, answer, e);
       },
       HADOOP_HDFS_EXISTS_SIG_OUT, {true, true, true, false},
       {true, false, false, false},
       {"2 Checking for existence of HDFS entity /p0.",
        "2 Checking for existence of HDFS entity /p1.",
        "2 Checking for existence of HDFS entity /p2.",
        "2 Checking for existence of HDFS entity /p3."}},
  };
  FixedPoll poll;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.method);
    bridge().answerSequence(c.method, answers);
    log_.clear();
    for (size_t i = 0; i < answers.size(); ++i) {
      const std::string path = "/p" + std::to_string(i);
      ZobString err;
      bool answer = true;
      EXPECT_EQ(c.run(&poll, path.c_str(), &answer, &err), c.results[i]) << path;
      if (c.results[i]) {
        EXPECT_TRUE(err.isNull()) << path << ": " << err.str();
      } else {
        EXPECT_TRUE(isMessage(err, 1725)) << path << ": " << err.str();
      }
      if (!c.answered.empty()) {
        EXPECT_EQ(answer, c.answered[i]) << path;
      }
    }
    const ScriptedCall call = *bridge().lastCallTo(c.method);
    EXPECT_TRUE(call.pollGiven);
    EXPECT_EQ(call.pollValue, 250);
    EXPECT_EQ(call.signature, c.signature);
    EXPECT_THAT(call.inputs, ElementsAre(ScriptedValue::ofObject(kServiceObject),
                                         ScriptedValue::ofString("/p3")));
    EXPECT_EQ(serviceLog(), c.log);
  }
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
  FixedPoll poll;
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
  FixedPoll poll;
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
  FixedPoll poll;
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
}

}  // namespace

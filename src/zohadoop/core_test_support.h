// Shared pieces of the library's tests: a fresh scripted bridge per test,
// captured log lines, an instance that is always released, owners for what it
// makes, a poll status the bridge can see, the text answers of jobs, a bound
// HDFS service with stats row sets built from tables, and the adapters' fixture
// with an in-memory HDFS behind the bridge.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "ZOHadoop.h"
#include "ZOHadoopCfg.h"
#include "ZOHadoopHDFS.h"
#include "ZOHadoopIO.h"
#include "hadoop_status.h"
#include "hadoopbaseio/memory_hdfs.h"
#include "hadoophdfs/ZOHadoopHDFSImpl.h"
#include "scripted_bridge.h"
#include "zo_logger.h"
#include "zob_uri.h"
#include "zohadoop/ZOHadoopImpl.h"
#include "zowlp.h"

// The wire values tests send and expect, spelled short: V::ofString("x").
using V = ScriptedValue;

// Every log event while alive, whatever the threshold.
class LogCapture {
 public:
  LogCapture() { zologSetCapture(&LogCapture::record, this); }
  ~LogCapture() { zologSetCapture(nullptr, nullptr); }
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  // The lines of one logger as "<level> <text>".
  std::vector<std::string> of(const std::string& logger) const {
    std::lock_guard<std::mutex> hold(mutex_);
    std::vector<std::string> out;
    for (const auto& [name, line] : lines_) {
      if (name == logger) out.push_back(line);
    }
    return out;
  }
  void clear() {
    std::lock_guard<std::mutex> hold(mutex_);
    lines_.clear();
  }

 private:
  static void record(void* context, ZoLoggingLevel level, const char* logger, const char*,
                     int, const char* text) {
    auto* self = static_cast<LogCapture*>(context);
    std::lock_guard<std::mutex> hold(self->mutex_);
    self->lines_.emplace_back(logger ? logger : "",
                              std::to_string(static_cast<int>(level)) + " " + (text ? text : ""));
  }

  mutable std::mutex mutex_;
  std::vector<std::pair<std::string, std::string>> lines_;  // logger, "<level> <text>"
};

template <class T>
struct ReleaseDeleter {
  void operator()(T* object) const {
    if (object) object->release();
  }
};
using InstanceOwner = std::unique_ptr<ZOHadoopImpl, ReleaseDeleter<ZOHadoopImpl>>;

// A poll status whose interval shows up in the bridge's record of a call.
class FixedPoll final : public HadoopPollStatus {
 public:
  int pollInterval() override { return 250; }
  bool poll(int64_t, int64_t, const char*) override { return true; }
};

// A fresh bridge script, a log capture, and wire objects counted.
class CoreTest : public ::testing::Test {
 protected:
  void SetUp() override {
    bridge().reset();
    liveWireObjects_ = zowlpTestLiveObjects();
  }
  // Whatever a test made and released, no response or row set outlives it.
  void TearDown() override { EXPECT_EQ(wireObjectsLeft(), 0); }

  static ScriptedBridge& bridge() { return ScriptedBridge::instance(); }

  static InstanceOwner makeInstance() {
    ZobString err("not cleared");
    ZOHadoop* made = zoHadoopCreate(&err);
    EXPECT_NE(made, nullptr);
    EXPECT_TRUE(err.isNull());
    return InstanceOwner(static_cast<ZOHadoopImpl*>(made));
  }

  int wireObjectsLeft() const { return zowlpTestLiveObjects() - liveWireObjects_; }

  LogCapture log_;
  ZobString err_;   // the error text of the test's own calls
  FixedPoll poll_;  // a poll status for the calls that take one

 private:
  int liveWireObjects_ = 0;
};

// An instance made for each test and ended after it.
class LibraryTest : public CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    hadoop_ = makeInstance();
  }
  void TearDown() override {
    hadoop_.reset();
    CoreTest::TearDown();
  }

  // A configuration whose Java object is `handle`.
  ZOHadoopCfg* makeConfiguration(int64_t handle) {
    bridge().answerNth("CreateConfig", bridge().callCount("CreateConfig") + 1,
                       ScriptedAnswer::outputs({V::ofObject(handle)}));
    ZobString err;
    ZOHadoopCfg* cfg = hadoop_->createConfiguration(&err);
    EXPECT_NE(cfg, nullptr) << err.str();
    return cfg;
  }

  InstanceOwner hadoop_;
};

// True when `text` is catalogue message `id` of this library.
inline bool isMessage(const ZobString& text, int id) {
  const std::string prefix = "[Hadoop Client " + std::to_string(id) + "]";
  return text.str().compare(0, prefix.size(), prefix) == 0;
}

// Remembers the texts a run hands over, in order, as "start: ..." and "final: ...".
class RecordingText final : public HadoopTextStatus {
 public:
  void setFinalText(const ZobString& text) override { texts.push_back("final: " + text.str()); }
  void setStartText(const ZobString& text) override { texts.push_back("start: " + text.str()); }
  std::vector<std::string> texts;
};

// The MapReduce and Pig tests: answers of text rows, and a sink for the texts of a run.
class JobTest : public LibraryTest {
 protected:
  static ScriptedAnswer textRows(const std::vector<std::string>& lines) {
    return ScriptedAnswer::outputs({rows(lines)});
  }
  static ScriptedValue rows(const std::vector<std::string>& lines) {
    StringTable table;
    for (const std::string& line : lines) table.push_back({line});
    return V::ofStringRows(table, 1);
  }
  // The answer of a wait call: the success flag and the job's text lines.
  static ScriptedAnswer waitAnswer(bool success, const std::vector<std::string>& lines) {
    return ScriptedAnswer::outputs({V::ofBool(success), rows(lines)});
  }

  RecordingText text_;
};

// ---- HDFS ------------------------------------------------------------------

using FileOwner = std::unique_ptr<ZOHadoopFile, ReleaseDeleter<ZOHadoopFile>>;
using DirOwner = std::unique_ptr<ZOHadoopDirectory, ReleaseDeleter<ZOHadoopDirectory>>;

// A stats row set of string cells (std::nullopt: a null cell), owned by the test.
using RowSetOwner = std::unique_ptr<zowlpRowSet, ZowlpRowSetDeleter>;

inline RowSetOwner makeStatsRows(const StringTable& table, int columns = 2) {
  zowlpRowSet* rows = nullptr;
  EXPECT_EQ(buildRowSet(V::ofStringRows(table, columns), &rows), ZOJNI_OK);
  return RowSetOwner(rows);
}

// The stats of one entry as the Java side sends them: entry row, then properties.
inline StringTable entryStats(const std::string& name,
                             const std::vector<std::pair<std::string, std::string>>& props) {
  StringTable table{{std::nullopt, name}};
  for (const auto& [key, value] : props) table.push_back({key, value});
  return table;
}

class HdfsTest : public LibraryTest {
 protected:
  static constexpr int64_t kCfgObject = 40;
  static constexpr int64_t kServiceObject = 500;

  // A bound service; the instance ends it in TearDown unless the test does.
  ZOHadoopHDFS* makeService() {
    ZOHadoopCfg* cfg = makeConfiguration(kCfgObject);
    bridge().answer("CreateHDFS", ScriptedAnswer::outputs({V::ofObject(kServiceObject)}));
    ZobString err;
    ZOHadoopHDFS* hdfs = hadoop_->createHDFS(cfg, &err);
    EXPECT_NE(hdfs, nullptr) << err.str();
    return hdfs;
  }

  // Scripts the next "HDFSOpenFile" to answer this file object and stats.
  void answerOpen(int64_t fileObject, std::optional<StringTable> stats) {
    std::vector<ScriptedValue> outputs{V::ofObject(fileObject)};
    if (stats) outputs.push_back(V::ofStringRows(*stats, 2));
    bridge().answer("HDFSOpenFile", ScriptedAnswer::outputs(outputs));
  }

  FileOwner openFile(ZOHadoopHDFS* hdfs, const char* path = "/data/f.txt") {
    ZobString err;
    FileOwner file(hdfs->openFile(nullptr, path, ZOB_TXTFILE_READ, 0, 4096, &err));
    EXPECT_NE(file, nullptr) << err.str();
    return file;
  }
};

// ---- The adapters ----------------------------------------------------------

using RawOwner = std::unique_ptr<ZobIORaw, ReleaseDeleter<ZobIORaw>>;
using ListingOwner = std::unique_ptr<ZobDirectoryListing, ReleaseDeleter<ZobDirectoryListing>>;
using UriOwner = std::unique_ptr<ZoHadoopURI, ZoHadoopURIDeleter>;

class AdapterTest : public CoreTest {
 protected:
  void SetUp() override {
    CoreTest::SetUp();
    liveProxies_ = bridge().liveProxies();
    fs_.install(bridge());
  }
  void TearDown() override {
    // Every adapter gives back its whole private instance.
    EXPECT_EQ(bridge().liveProxies(), liveProxies_);
    CoreTest::TearDown();
  }

  static UriOwner uri(const std::string& text) {
    UriOwner parsed(getURIFromURIString(ZobString(text.c_str())));
    EXPECT_NE(parsed, nullptr) << text;
    return parsed;
  }

  MemoryHdfs fs_;

 private:
  int liveProxies_ = 0;
};

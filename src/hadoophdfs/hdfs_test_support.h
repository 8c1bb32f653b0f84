// Shared pieces of the HDFS tests: a bound service, owners for opened files and
// listings, and stats row sets built from tables.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "ZOHadoopHDFS.h"
#include "hadoophdfs/ZOHadoopHDFSImpl.h"
#include "scripted_bridge.h"
#include "zohadoop/core_test_support.h"

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

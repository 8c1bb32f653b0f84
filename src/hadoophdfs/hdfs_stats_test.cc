// The stats parser and the directory walk built on it, over hand-made row sets,
// including row sets that break the format. How one call leaves the next entry
// pending shows in the walk.
#include "hadoophdfs/hdfs_stats.h"

#include <tuple>

#include "hadoophdfs/ZOHadoopDirImpl.h"
#include "zohadoop/core_test_support.h"

namespace {

class StatsTest : public HdfsTest {};

// One entry parsed from the start of a table: name, size, is a directory,
// permissions, dated, and the row where it stopped.
using Parsed = std::tuple<std::string, long, bool, int, bool, int>;

Parsed firstEntry(const StringTable& table, int columns = 2) {
  RowSetOwner rows = makeStatsRows(table, columns);
  zowlpParameter* pending = nullptr;
  ZOHadoopHDFSMember entry;
  entry.name = ZobString("old");
  entry.size = entry.permissions = 99;  // the fields start over with each entry
  int rowIndex = 0;
  EXPECT_TRUE(getStats(&rowIndex, rows.get(), &pending, &entry, nullptr));
  EXPECT_FALSE(entry.name.isNull());
  return {entry.name.str(), entry.size, entry.isDir, entry.permissions, entry.modDate.isSet(),
          rowIndex};
}

// Only exact keys set fields; bad values give zero or keep the date unset;
// numbers are decimal and a size is read whole; a null cell or a single column
// reads as absent text; properties before any entry row form an entry that
// keeps the record's name.
TEST_F(StatsTest, FieldsComeOnlyFromExactKeysAndGoodValues) {
  struct Case {
    const char* what;
    StringTable table;
    int columns;
    Parsed expected;
  };
  const std::vector<Case> cases = {
      {"near-miss keys and bad values",
       {{std::nullopt, "x"}, {"size", "9"}, {"SIZE", "9"}, {"Sizes", "9"},
        {"isdir", "true"}, {"IsDir ", "true"}, {"Perm", "511"}, {"Permissions", "4x"},
        {"ModDate", "yesterday"}, {"Owner", "alice"}, {"Size", std::nullopt}, {"", "1"}},
       2, {"x", 0, false, 0, false, 12}},
      {"large decimal numbers",
       entryStats("big", {{"Size", "8589934592"}, {"Permissions", "493"}}),
       2, {"big", 8589934592L, false, 493, false, 3}},
      {"null name cell", {{std::nullopt, std::nullopt}, {"IsDir", "x"}}, 2, {"", 0, true, 0, false, 2}},
      {"single column", {{std::nullopt}, {"Size"}, {"IsDir"}}, 1, {"", 0, true, 0, false, 3}},
      {"properties before any entry row",
       {{"Size", "7"}, {"IsDir", "x"}, {std::nullopt, "n"}}, 2, {"old", 7, true, 0, false, 2}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(firstEntry(c.table, c.columns), c.expected) << c.what;
  }
}

// ---- The directory walk ------------------------------------------------------------

// name, size, date, milliseconds, is a directory, is read-only
using Entry = std::tuple<std::string, long, std::string, unsigned long, bool, bool>;

class DirectoryTest : public HdfsTest {
 protected:
  DirOwner listing(const StringTable& table) {
    return DirOwner(new ZOHadoopDirImpl(hadoop_.get(), ZobString("/d"),
                                        makeStatsRows(table).release()));
  }
  static bool next(ZOHadoopDirectory* dir, Entry* out, ZobString* err) {
    ZobString name;
    ZobDate date;
    auto& [text, size, dateText, millis, isDir, readOnly] = *out;
    size = -1;
    millis = 1;
    isDir = readOnly = false;
    const bool got = dir->next(&name, &size, &date, &millis, &isDir, &readOnly, err);
    text = name.str();
    dateText = date.toString().str();
    return got;
  }
};

// Permissions without the "others may write" bit read as read-only; a date
// before 1970 gives its signed milliseconds as an unsigned value; a listing
// that ends on an entry row delivers it bare.
TEST_F(DirectoryTest, WalksEntriesInOrderWithTheirFlagsThenStaysExhausted) {
  StringTable table = entryStats("sub", {{"IsDir", "false"}, {"Permissions", "493"}});
  for (const auto& row : entryStats("f.csv", {{"Size", "12"},
                                              {"Permissions", "511"},
                                              {"ModDate", "2026-11-22T08:15:30.250Z"}})) {
    table.push_back(row);
  }
  for (const auto& row : entryStats("old", {{"ModDate", "1969-12-31T23:59:59.000Z"}})) {
    table.push_back(row);
  }
  table.push_back({std::nullopt, "tail"});
  DirOwner dir = listing(table);
  const std::string epoch = "1970-01-01T00:00:00.000Z";
  const std::vector<Entry> expected = {
      {"sub", 0, epoch, 0, true, true},
      {"f.csv", 12, "2026-11-22T08:15:30.250Z", 1795335330250UL, false, false},
      {"old", 0, "1969-12-31T23:59:59.000Z", static_cast<unsigned long>(-1000LL), false, true},
      {"tail", 0, epoch, 0, false, true}};

  std::vector<Entry> walked;
  ZobString err("stale");
  for (Entry e; next(dir.get(), &e, &err);) walked.push_back(e);
  EXPECT_EQ(walked, expected);
  EXPECT_TRUE(err.isNull());
  EXPECT_FALSE(next(dir.get(), &walked[0], nullptr));
}

// A closed walk answers false at once and leaves the outputs untouched.
TEST_F(DirectoryTest, CloseEndsTheWalkAndMayBeRepeated) {
  DirOwner dir = listing(entryStats("a", {{"Size", "1"}}));
  const int live = zowlpTestLiveObjects();
  EXPECT_TRUE(dir->close(&err_));
  EXPECT_EQ(zowlpTestLiveObjects(), live - 1);
  EXPECT_TRUE(dir->close(nullptr));
  Entry e;
  err_ = ZobString("stale");
  EXPECT_FALSE(next(dir.get(), &e, &err_));
  EXPECT_TRUE(err_.isNull());
  EXPECT_EQ(e, (Entry{"", -1, "1970-01-01T00:00:00.000Z", 1, false, false}));
}

TEST_F(DirectoryTest, UnreadableRowReportsAndTheRowsBeforeItAreNotDeliveredTwice) {
  StringTable table = entryStats("a", {{"Size", "1"}});
  table.push_back({std::nullopt, "b"});
  table.push_back({"Size", "2"});
  RowSetOwner rows = makeStatsRows(table);
  zowlpRowSet_testFailNextRowAt(rows.get(), 3, WLP_ERR_MEMORY);
  DirOwner dir(new ZOHadoopDirImpl(hadoop_.get(), ZobString("/d"), rows.release()));

  Entry e;
  ASSERT_TRUE(next(dir.get(), &e, &err_));
  EXPECT_EQ(std::get<0>(e), "a");
  EXPECT_FALSE(next(dir.get(), &e, &err_));
  EXPECT_TRUE(isMessage(err_, 1354)) << err_.str();
  EXPECT_EQ(std::get<0>(e), "");  // outputs of a false answer were not written
}

}  // namespace

// The stats parser and the directory walk built on it, over hand-made row sets,
// including row sets that break the format.
#include "hadoophdfs/hdfs_stats.h"

#include "hadoophdfs/ZOHadoopDirImpl.h"
#include "hadoophdfs/hdfs_test_support.h"

namespace {

class StatsTest : public HdfsTest {};

TEST_F(StatsTest, EachCallConsumesOneEntryAndLeavesTheNextEntryRowPending) {
  RowSetOwner rows = makeStatsRows({{std::nullopt, "a"},
                                    {"Size", "5"},
                                    {"IsDir", "false"},
                                    {std::nullopt, "b"},
                                    {"ModDate", "2026-11-22T08:15:30.250Z"}});
  int rowIndex = 0;
  zowlpParameter* pending = nullptr;
  ZOHadoopHDFSMember first;
  ZobString err("stale");
  ASSERT_TRUE(getStats(&rowIndex, rows.get(), &pending, &first, &err));
  EXPECT_TRUE(err.isNull());
  EXPECT_EQ(first.name.str(), "a");
  EXPECT_EQ(first.size, 5);
  EXPECT_TRUE(first.isDir);
  EXPECT_FALSE(first.modDate.isSet());
  EXPECT_EQ(rowIndex, 3);
  ASSERT_NE(pending, nullptr);
  EXPECT_STREQ(pending[1].value.string, "b");

  ZOHadoopHDFSMember second;
  ASSERT_TRUE(getStats(&rowIndex, rows.get(), &pending, &second, &err));
  EXPECT_EQ(second.name.str(), "b");
  EXPECT_EQ(second.modDate.toString().str(), "2026-11-22T08:15:30.250Z");
  EXPECT_FALSE(second.isDir);
  EXPECT_EQ(second.size, 0);
  EXPECT_EQ(rowIndex, 5);
  EXPECT_EQ(pending, nullptr);

  // Exhausted: nothing more is read, the record is only reset.
  second.size = 9;
  ASSERT_TRUE(getStats(&rowIndex, rows.get(), &pending, &second, &err));
  EXPECT_EQ(rowIndex, 5);
  EXPECT_EQ(second.size, 0);
  EXPECT_EQ(second.name.str(), "b");
}

// One entry parsed from the start of a table: its fields and where it stopped.
struct Parsed {
  std::string name;
  long size;
  bool isDir;
  int permissions;
  bool dated;
  int rowIndex;
};

Parsed firstEntry(const StatsTable& table, int columns = 2) {
  RowSetOwner rows = makeStatsRows(table, columns);
  Parsed out{};
  zowlpParameter* pending = nullptr;
  ZOHadoopHDFSMember entry;
  entry.name = ZobString("old");
  EXPECT_TRUE(getStats(&out.rowIndex, rows.get(), &pending, &entry, nullptr));
  EXPECT_FALSE(entry.name.isNull());
  out.name = entry.name.str();
  out.size = entry.size;
  out.isDir = entry.isDir;
  out.permissions = entry.permissions;
  out.dated = entry.modDate.isSet();
  return out;
}

// Only exact keys set fields; bad values give zero or keep the date unset;
// numbers are decimal and a size is read whole; a null cell or a single column
// reads as absent text; properties before any entry row form an entry that
// keeps the record's name.
TEST_F(StatsTest, FieldsComeOnlyFromExactKeysAndGoodValues) {
  struct Case {
    const char* what;
    StatsTable table;
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
      {"null name cell", {{std::nullopt, std::nullopt}, {"Size", "3"}}, 2, {"", 3, false, 0, false, 2}},
      {"single column", {{std::nullopt}, {"Size"}, {"IsDir"}}, 1, {"", 0, true, 0, false, 3}},
      {"properties before any entry row",
       {{"Size", "7"}, {"IsDir", "x"}, {std::nullopt, "n"}}, 2, {"old", 7, true, 0, false, 2}},
  };
  for (const Case& c : cases) {
    const Parsed got = firstEntry(c.table, c.columns);
    EXPECT_EQ(got.name, c.expected.name) << c.what;
    EXPECT_EQ(got.size, c.expected.size) << c.what;
    EXPECT_EQ(got.isDir, c.expected.isDir) << c.what;
    EXPECT_EQ(got.permissions, c.expected.permissions) << c.what;
    EXPECT_EQ(got.dated, c.expected.dated) << c.what;
    EXPECT_EQ(got.rowIndex, c.expected.rowIndex) << c.what;
  }
}

TEST_F(StatsTest, UnreadableRowFailsWithoutMovingTheCount) {
  RowSetOwner rows = makeStatsRows(entryStats("a", {{"Size", "5"}, {"IsDir", ""}}));
  zowlpRowSet_testFailNextRowAt(rows.get(), 2, WLP_ERR_MEMORY);
  int rowIndex = 0;
  zowlpParameter* pending = nullptr;
  ZOHadoopHDFSMember entry;
  ZobString err;
  EXPECT_FALSE(getStats(&rowIndex, rows.get(), &pending, &entry, &err));
  EXPECT_TRUE(isMessage(err, 1354)) << err.str();
  EXPECT_NE(err.str().find("zowlpRowSet_nextRow"), std::string::npos) << err.str();
  EXPECT_EQ(rowIndex, 0);
  // What the rows before the failure set stays.
  EXPECT_EQ(entry.name.str(), "a");
  EXPECT_EQ(entry.size, 5);
  EXPECT_FALSE(entry.isDir);
}

// ---- The directory walk ------------------------------------------------------------

struct Entry {
  std::string name;
  long size;
  std::string date;
  unsigned long millis;
  bool isDir;
  bool readOnly;
};

class DirectoryTest : public HdfsTest {
 protected:
  DirOwner listing(const StatsTable& table) {
    return DirOwner(new ZOHadoopDirImpl(hadoop_.get(), ZobString("/d"),
                                        makeStatsRows(table).release()));
  }
  static bool next(ZOHadoopDirectory* dir, Entry* out, ZobString* err) {
    ZobString name;
    ZobDate date;
    out->size = -1;
    out->millis = 1;
    out->isDir = out->readOnly = false;
    const bool got =
        dir->next(&name, &out->size, &date, &out->millis, &out->isDir, &out->readOnly, err);
    out->name = name.str();
    out->date = date.toString().str();
    return got;
  }
};

TEST_F(DirectoryTest, WalksEntriesInOrderWithTheirFlagsThenStaysExhausted) {
  StatsTable table = entryStats("sub", {{"IsDir", "false"}, {"Permissions", "493"}});
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

  Entry e;
  ZobString err("stale");
  ASSERT_TRUE(next(dir.get(), &e, &err));
  EXPECT_TRUE(err.isNull());
  EXPECT_EQ(e.name, "sub");
  EXPECT_TRUE(e.isDir);
  EXPECT_TRUE(e.readOnly);
  EXPECT_EQ(e.size, 0);

  ASSERT_TRUE(next(dir.get(), &e, &err));
  EXPECT_EQ(e.name, "f.csv");
  EXPECT_FALSE(e.isDir);
  EXPECT_FALSE(e.readOnly);
  EXPECT_EQ(e.size, 12);
  ZobDate expected;
  ASSERT_TRUE(expected.assign("2026-11-22T08:15:30.250Z"));
  EXPECT_EQ(e.millis, static_cast<unsigned long>(expected.millis()));

  // Before 1970: the signed milliseconds, as an unsigned value.
  ASSERT_TRUE(next(dir.get(), &e, &err));
  EXPECT_EQ(e.millis, static_cast<unsigned long>(-1000LL));

  // A listing that ends on an entry row delivers it bare.
  ASSERT_TRUE(next(dir.get(), &e, &err));
  EXPECT_EQ(e.name, "tail");
  EXPECT_EQ(e.size, 0);
  EXPECT_FALSE(e.isDir);
  EXPECT_TRUE(e.readOnly);
  EXPECT_EQ(e.date, "1970-01-01T00:00:00.000Z");
  EXPECT_EQ(e.millis, 0u);

  err = ZobString("stale");
  EXPECT_FALSE(next(dir.get(), &e, &err));
  EXPECT_TRUE(err.isNull());
  EXPECT_FALSE(next(dir.get(), &e, nullptr));
}

// A closed walk answers false at once and leaves every output untouched.
TEST_F(DirectoryTest, CloseEndsTheWalkAndMayBeRepeated) {
  DirOwner dir = listing(entryStats("a", {{"Size", "1"}}));
  const int live = zowlpTestLiveObjects();
  ZobString err;
  EXPECT_TRUE(dir->close(&err));
  EXPECT_EQ(zowlpTestLiveObjects(), live - 1);
  EXPECT_TRUE(dir->close(nullptr));
  ZobString name("keep");
  long size = 7;
  ZobDate date;
  date.setMillis(1234);
  unsigned long millis = 8;
  bool isDir = true, readOnly = true;
  err = ZobString("stale");
  EXPECT_FALSE(dir->next(&name, &size, &date, &millis, &isDir, &readOnly, &err));
  EXPECT_TRUE(err.isNull());
  EXPECT_EQ(name.str(), "keep");
  EXPECT_EQ(size, 7);
  EXPECT_EQ(date.millis(), 1234);
  EXPECT_EQ(millis, 8u);
  EXPECT_TRUE(isDir && readOnly);
}

TEST_F(DirectoryTest, UnreadableRowReportsAndTheRowsBeforeItAreNotDeliveredTwice) {
  StatsTable table = entryStats("a", {{"Size", "1"}});
  table.push_back({std::nullopt, "b"});
  table.push_back({"Size", "2"});
  RowSetOwner rows = makeStatsRows(table);
  zowlpRowSet_testFailNextRowAt(rows.get(), 3, WLP_ERR_MEMORY);
  DirOwner dir(new ZOHadoopDirImpl(hadoop_.get(), ZobString("/d"), rows.release()));

  Entry e;
  ZobString err;
  ASSERT_TRUE(next(dir.get(), &e, &err));
  EXPECT_EQ(e.name, "a");
  EXPECT_FALSE(next(dir.get(), &e, &err));
  EXPECT_TRUE(isMessage(err, 1354)) << err.str();
  EXPECT_EQ(e.name, "");  // outputs of a false answer were not written
}

}  // namespace

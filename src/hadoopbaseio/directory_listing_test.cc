// The directory walk over HDFS: the kind filter, entry fields, path splitting and
// joining, opening an entry as a text file, and failures at creation.
#include "hadoopbaseio/ZobHadoopDirectory.h"

#include "zohadoop/core_test_support.h"

using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class ListingTest : public AdapterTest {
 protected:
  void SetUp() override {
    AdapterTest::SetUp();
    fs_.directories = {"/data", "/data/in", "/data/out", "/files"};
    fs_.files["/data/a.csv"] = "x,y\n1,2\n";
    fs_.files["/data/b.txt"] = "hello";
    fs_.files["/data/in/part-0"] = "deep";
    fs_.files["/files/only"] = "1";
  }
  void TearDown() override {
    listing_.reset();
    AdapterTest::TearDown();
  }

  ZobDirectoryListing* list(const std::string& text, int flags) {
    UriOwner parsed = uri(text);
    ZobString err("stale");
    listing_.reset(createDirectoryListing(nullptr, parsed.get(), flags, &err));
    EXPECT_NE(listing_, nullptr) << err.str();
    return listing_.get();
  }
  std::vector<std::string> names(ZobDirectoryListing* listing) {
    std::vector<std::string> out;
    while (listing->next()) out.push_back(listing->getName().str());
    return out;
  }

  ListingOwner listing_;
};

TEST_F(ListingTest, FlagsChooseDirectoriesFilesOrBoth) {
  const int dirsOnly = static_cast<int>(ZOB_LISTING_DIRECTORIES_ONLY);
  const int filesOnly = static_cast<int>(ZOB_LISTING_FILES_ONLY);
  EXPECT_THAT(names(list("hdfs://nn:8020/data", 0)),
              ElementsAre("in", "out", "a.csv", "b.txt"));
  EXPECT_THAT(names(list("hdfs://nn:8020/data", dirsOnly)), ElementsAre("in", "out"));
  EXPECT_THAT(names(list("hdfs://nn:8020/data", filesOnly)), ElementsAre("a.csv", "b.txt"));
  EXPECT_THAT(names(list("hdfs://nn:8020/data", dirsOnly | filesOnly)),
              ElementsAre("in", "out"));
  EXPECT_THAT(names(list("hdfs://nn:8020/data", 0x0fff)),
              ElementsAre("in", "out", "a.csv", "b.txt"));
  EXPECT_THAT(names(list("hdfs://nn:8020/files", dirsOnly)), IsEmpty());
}

// The fields themselves are the walk's; the listing adds the full path and
// the timestamp as a number.
TEST_F(ListingTest, EntryFieldsFollowTheStats) {
  ZobDirectoryListing* listing = list("hdfs://nn:8020/data", 0);
  EXPECT_EQ(listing->getFullPathName().str(), "/data");
  EXPECT_FALSE(listing->getTimestamp().isSet());
  while (listing->next() && listing->getName().str() != "a.csv") {
  }
  EXPECT_EQ(listing->getFullPathName().str(), "/data/a.csv");
  EXPECT_EQ(listing->getSize(), 8);
  EXPECT_EQ(listing->getTimestampLong(), 1795335330250u);
  EXPECT_TRUE(listing->getErrorMessage().isNull());
}

TEST_F(ListingTest, ParseAndConcatSplitAndJoinAtTheLastSlash) {
  ZobDirectoryListing* listing = list("hdfs://nn:8020/data", 0);
  ZobString name("stale");
  EXPECT_EQ(listing->parsePath("/data/in/part-0", &name).str(), "/data/in");
  EXPECT_EQ(name.str(), "part-0");
  EXPECT_EQ(listing->parsePath("name", &name).str(), "name");
  EXPECT_EQ(name.str(), "");
  EXPECT_FALSE(name.isNull());
  EXPECT_EQ(listing->parsePath("/data/", &name).str(), "/data");
  EXPECT_EQ(name.str(), "");
  EXPECT_EQ(listing->parsePath("/data/x", nullptr).str(), "/data");

  EXPECT_EQ(listing->concatPath("/data/", "x").str(), "/data//x");
  EXPECT_EQ(listing->concatPath("/data", "").str(), "/data");
  EXPECT_EQ(listing->concatPath(ZobString(), "x").str(), "");
}

TEST_F(ListingTest, InitKeepsOnlyTheInstanceAndTheListing) {
  list("hdfs://nn:8020/data", 0);
  EXPECT_EQ(bridge().callCount("HDFSRelease"), 1);
  EXPECT_EQ(bridge().callCount("CfgRelease"), 1);
  const size_t before = bridge().eventLog().size();
  while (listing_->next()) {
  }
  EXPECT_EQ(bridge().eventLog().size(), before);
  listing_.reset();
  EXPECT_THAT(bridge().eventLog(before), ElementsAre("destroy HadoopClient"));
}

TEST_F(ListingTest, OpenTextFileReadsTheEntryWithTheListingsContext) {
  ZobDirectoryListing* listing = list("hdfs://alice@nn:8020/data?dfs.replication=2", 0);
  while (listing->next() && listing->getName().str() != "a.csv") {
  }
  const size_t keysBefore = bridge().callsTo("CfgSetKeyValues").size();
  ZobString err("stale");
  ZobTxtFile* text = listing->openTextFile(ZOB_TXTFILE_READ, 0, 0, &err);
  ASSERT_NE(text, nullptr) << err.str();
  EXPECT_TRUE(err.isNull());
  ZobString line;
  std::vector<std::string> lines;
  while (text->readLine(&line)) lines.push_back(line.str());
  text->release();
  EXPECT_THAT(lines, ElementsAre("x,y", "1,2"));

  EXPECT_EQ(bridge().lastCallTo("HDFSOpenFile").inputs[1], V::ofString("/data/a.csv"));
  // The entry's stream was configured from the listed directory's URI.
  StringTable table;
  const std::vector<ScriptedCall> keyCalls = bridge().callsTo("CfgSetKeyValues");
  for (size_t i = keysBefore; i < keyCalls.size(); ++i) {
    for (const auto& row : keyCalls[i].inputs[1].stringTable()) table.push_back(row);
  }
  EXPECT_THAT(table, testing::Contains(StringTable::value_type{"fs.defaultFS", "hdfs://nn:8020"}));
  EXPECT_THAT(table, testing::Contains(StringTable::value_type{"dfs.replication", "2"}));
  EXPECT_EQ(bridge().lastCallTo("CfgSetUser").inputs[1], V::ofString("alice"));
}

TEST_F(ListingTest, AnEntryWithoutADirectoryCannotBeOpened) {
  fs_.directories.insert("");
  fs_.files["/top"] = "t";
  ZobDirectoryListing* listing = list("hdfs://nn:8020", 0);
  ASSERT_TRUE(listing->next());
  EXPECT_EQ(listing->getFullPathName().str(), "");
  ZobString err("stale");
  EXPECT_EQ(listing->openTextFile(ZOB_TXTFILE_READ, 0, 0, &err), nullptr);
  EXPECT_TRUE(err.isNull());
  EXPECT_TRUE(isMessage(listing->getErrorMessage(), 29)) << listing->getErrorMessage().str();
  EXPECT_NE(listing->getErrorMessage().str().find("(Hadoop URI)"), std::string::npos);
}

}  // namespace

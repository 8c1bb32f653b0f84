// What a bridge and the library rely on beyond the values themselves: copies,
// ownership and refusals. That every type and null survives a row set or a
// response is the wire fuzz target's invariant and the bridge contract's echo.
#include "zowlp.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

using RowSetPtr = std::unique_ptr<zowlpRowSet, ZowlpRowSetDeleter>;
using ResponsePtr = std::unique_ptr<zowlpResponse, ZowlpResponseDeleter>;

zowlpParameter record(int type, const void* data = nullptr, int32_t length = 0) {
  zowlpParameter p;
  std::memset(&p, 0, sizeof p);
  p.type = type;
  p.present = data != nullptr;
  p.value.bytes = data;
  p.length = length;
  return p;
}

zowlpParameter stringRecord(const char* text) {
  return record(WLP_TYPE_STRING, text, static_cast<int32_t>(std::strlen(text)));
}

std::string textOf(const zowlpParameter& p) { return std::string(p.value.string, p.length); }

// Every test leaves the process with as many live objects as it found.
class WireTest : public ::testing::Test {
 protected:
  void SetUp() override { liveBefore_ = zowlpTestLiveObjects(); }
  void TearDown() override { EXPECT_EQ(liveBefore_, zowlpTestLiveObjects()); }

 private:
  int liveBefore_ = 0;
};

TEST_F(WireTest, RowsAreDeepCopiesThatOutliveTheCallersBuffers) {
  RowSetPtr rows(zowlpRowSet_create("\x0b\x01"));
  ASSERT_TRUE(rows);
  char key[] = "dfs.replication";
  std::vector<unsigned char> bytes = {0, 1, 2, 255};
  zowlpParameter row[2] = {stringRecord(key), record(WLP_TYPE_BYTES, bytes.data(), 4)};
  ASSERT_EQ(WLP_OK, zowlpRowSet_addRow(rows.get(), row));
  std::strcpy(key, "overwritten....");
  bytes.assign(4, 9);
  row[1] = record(WLP_TYPE_BYTES);
  ASSERT_EQ(WLP_OK, zowlpRowSet_addRow(rows.get(), row));

  zowlpParameter* got = nullptr;
  ASSERT_EQ(WLP_OK, zowlpRowSet_nextRow(rows.get(), &got));
  EXPECT_EQ("dfs.replication", textOf(got[0]));
  EXPECT_EQ('\0', got[0].value.string[got[0].length]);
  ASSERT_EQ(4, got[1].length);
  EXPECT_EQ(255, static_cast<const unsigned char*>(got[1].value.bytes)[3]);
  ASSERT_EQ(WLP_OK, zowlpRowSet_nextRow(rows.get(), &got));
  EXPECT_EQ("overwritten....", textOf(got[0]));
  EXPECT_EQ(0, got[1].present);
  EXPECT_EQ(WLP_ERR_END, zowlpRowSet_nextRow(rows.get(), &got));
  EXPECT_EQ(nullptr, got);
}

// Large enough for several full-size storage blocks, which a released row set
// hands on to the next: two alive at once must never share one.
TEST_F(WireTest, RowPointersStayValidWhileRowSetsGrowAreReadAndReuseStorage) {
  constexpr int kRows = 20000;
  auto filled = [](const std::string& prefix, zowlpParameter** first) {
    RowSetPtr rows(zowlpRowSet_create(HADOOP_CFG_ADDRESOURCEFILES_FILES_COLS));
    for (int i = 0; i < kRows; ++i) {
      const std::string text = prefix + std::to_string(i);
      zowlpParameter p = stringRecord(text.c_str());
      EXPECT_EQ(WLP_OK, zowlpRowSet_addRow(rows.get(), &p));
      if (i == 0) {
        EXPECT_EQ(WLP_OK, zowlpRowSet_nextRow(rows.get(), first));
      }
    }
    return rows;
  };
  auto expectRows = [](const RowSetPtr& rows, const std::string& prefix) {
    zowlpParameter* at = nullptr;
    for (int i = 0; i < kRows; i += 997) {
      ASSERT_EQ(WLP_OK, zowlpRowSet_rowAt(rows.get(), i, &at));
      ASSERT_EQ(prefix + std::to_string(i), textOf(*at));
    }
  };
  zowlpParameter* kept = nullptr;
  RowSetPtr rows = filled("row-", &kept);
  {
    zowlpParameter* other = nullptr;
    RowSetPtr before = filled("before-", &other);
    RowSetPtr during = filled("during-", &other);
    before.reset();
    RowSetPtr after = filled("after-", &other);
    expectRows(during, "during-");
    expectRows(after, "after-");
  }
  expectRows(rows, "row-");
  zowlpParameter* later = nullptr;
  for (int i = 1; i < kRows; ++i) ASSERT_EQ(WLP_OK, zowlpRowSet_nextRow(rows.get(), &later));
  EXPECT_EQ("row-19999", textOf(*later));
  EXPECT_EQ("row-0", textOf(*kept));

  zowlpParameter* at = nullptr;
  ASSERT_EQ(WLP_OK, zowlpRowSet_rowAt(rows.get(), 0, &at));
  EXPECT_EQ(kept, at);
  EXPECT_EQ(WLP_ERR_ARGUMENT, zowlpRowSet_rowAt(rows.get(), kRows, &at));
  zowlpRowSet_rewind(rows.get());
  ASSERT_EQ(WLP_OK, zowlpRowSet_nextRow(rows.get(), &at));
  EXPECT_EQ(kept, at);
}

TEST_F(WireTest, MalformedRecordsAndArgumentsAreRefused) {
  RowSetPtr rows(zowlpRowSet_create("\x0b\x06"));
  ASSERT_TRUE(rows);
  zowlpParameter swapped[2] = {record(WLP_TYPE_INT), record(WLP_TYPE_STRING)};
  EXPECT_EQ(WLP_ERR_TYPE, zowlpRowSet_addRow(rows.get(), swapped));
  zowlpParameter badLength[2] = {stringRecord("x"), record(WLP_TYPE_INT)};
  badLength[0].length = -1;
  EXPECT_EQ(WLP_ERR_ARGUMENT, zowlpRowSet_addRow(rows.get(), badLength));
  zowlpParameter noText[2] = {stringRecord("x"), record(WLP_TYPE_INT)};
  noText[0].value.string = nullptr;
  EXPECT_EQ(WLP_ERR_ARGUMENT, zowlpRowSet_addRow(rows.get(), noText));
  EXPECT_EQ(WLP_ERR_ARGUMENT, zowlpRowSet_addRow(rows.get(), nullptr));
  EXPECT_EQ(WLP_ERR_ARGUMENT, zowlpRowSet_nextRow(rows.get(), nullptr));
  EXPECT_EQ(0, zowlpRowSet_getRows(rows.get()));
  // Nested row sets have no owner, so neither columns nor records may hold one.
  EXPECT_EQ(nullptr, zowlpRowSet_create("\x0b\x0a"));
  EXPECT_EQ(nullptr, zowlpRowSet_create(""));
  EXPECT_EQ(nullptr, zowlpRowSet_create(nullptr));
  EXPECT_EQ(nullptr, zowlpResponse_create("\x07\x04"));

  ResponsePtr response(zowlpResponse_create("\x02\x06"));
  EXPECT_EQ(WLP_ERR_TYPE, zowlpResponse_setInt(response.get(), 0, 1));
  EXPECT_EQ(WLP_ERR_ARGUMENT, zowlpResponse_setInt(response.get(), 2, 1));
  EXPECT_EQ(WLP_ERR_ARGUMENT, zowlpResponse_setInt(response.get(), -1, 1));
  int count = 0;
  char* text = nullptr;
  EXPECT_EQ(WLP_ERR_NO_ERROR, zowlpError_code(response.get(), &count));
  EXPECT_EQ(WLP_ERR_NO_ERROR, zowlpError_text(response.get(), &text, &count));

  zowlpParameter* row = nullptr;
  EXPECT_EQ(0, zowlpRowSet_getRows(nullptr));
  EXPECT_NE(WLP_OK, zowlpRowSet_nextRow(nullptr, &row));
  EXPECT_NE(WLP_OK, zowlpResponse_parameters(nullptr, &count, &row));
  EXPECT_NE(WLP_OK, zowlpResponse_setInt(nullptr, 0, 1));
  zowlpRowSet_destroy(nullptr);
  zowlpResponse_destroy(nullptr);
  zowlpRowSet_rewind(nullptr);

  ResponsePtr error(zowlpResponse_createError(3, nullptr));
  ASSERT_EQ(WLP_OK, zowlpError_text(error.get(), &text, &count));
  EXPECT_EQ(0, count);
}

TEST_F(WireTest, ARowSetOutputIsOwnedByTheResponseUnlessTakenOut) {
  const int live = zowlpTestLiveObjects();
  {
    ResponsePtr response(zowlpResponse_create(HADOOP_HDFS_LISTDIR_SIG_OUT));
    zowlpRowSet* first = zowlpRowSet_create("\x0b");
    ASSERT_EQ(WLP_OK, zowlpResponse_setRowSet(response.get(), 0, first));
    // Setting the same row set again must not destroy it under the response;
    // another one replaces it.
    ASSERT_EQ(WLP_OK, zowlpResponse_setRowSet(response.get(), 0, first));
    ASSERT_EQ(WLP_OK, zowlpResponse_setRowSet(response.get(), 0, zowlpRowSet_create("\x06")));
    EXPECT_EQ(live + 2, zowlpTestLiveObjects());
    EXPECT_EQ(WLP_ERR_ARGUMENT, zowlpResponse_setRowSet(response.get(), 0, nullptr));
  }
  EXPECT_EQ(live, zowlpTestLiveObjects());

  RowSetPtr taken;
  {
    ResponsePtr response(zowlpResponse_create(HADOOP_MAPREDUCE_WAIT_SIG_OUT));
    zowlpRowSet* rows = zowlpRowSet_create("\x0b");
    zowlpParameter line = stringRecord("job done");
    ASSERT_EQ(WLP_OK, zowlpRowSet_addRow(rows, &line));
    ASSERT_EQ(WLP_OK, zowlpResponse_setRowSet(response.get(), 1, rows));
    int count = 0;
    zowlpParameter* out = nullptr;
    ASSERT_EQ(WLP_OK, zowlpResponse_parameters(response.get(), &count, &out));
    taken.reset(out[1].value.rowSet);
    out[1].value.rowSet = nullptr;
  }
  zowlpParameter* row = nullptr;
  ASSERT_EQ(WLP_OK, zowlpRowSet_nextRow(taken.get(), &row));
  EXPECT_EQ("job done", textOf(row[0]));
}

int g_released = 0;
void* g_releasedData = nullptr;
void countRelease(void* data) {
  ++g_released;
  g_releasedData = data;
  delete[] static_cast<char*>(data);
}

TEST_F(WireTest, AdoptedBytesAreReleasedOnceWithoutCopy) {
  g_released = 0;
  char* buffer = new char[4]{'a', 'b', 'c', 'd'};
  {
    ResponsePtr response(zowlpResponse_create(HADOOP_HDFS_FILE_READ_SIG_OUT));
    ASSERT_EQ(WLP_OK, zowlpResponse_adoptBytes(response.get(), 0, buffer, 4, countRelease));
    int count = 0;
    zowlpParameter* out = nullptr;
    ASSERT_EQ(WLP_OK, zowlpResponse_parameters(response.get(), &count, &out));
    EXPECT_EQ(buffer, out[0].value.bytes);
    EXPECT_EQ(4, out[0].length);
    // Even a caller that clears the record does not take an adopted buffer.
    out[0].value.bytes = nullptr;
    EXPECT_EQ(0, g_released);
  }
  EXPECT_EQ(1, g_released);
  EXPECT_EQ(buffer, g_releasedData);

  // A second adoption into the same output releases the first buffer at once.
  g_released = 0;
  ResponsePtr response(zowlpResponse_create(HADOOP_HDFS_FILE_READ_SIG_OUT));
  ASSERT_EQ(WLP_OK, zowlpResponse_adoptBytes(response.get(), 0, new char[1], 1, countRelease));
  ASSERT_EQ(WLP_OK, zowlpResponse_setBytes(response.get(), 0, "xy", 2));
  EXPECT_EQ(1, g_released);
  char* refused = new char[1];
  EXPECT_EQ(WLP_ERR_ARGUMENT, zowlpResponse_adoptBytes(response.get(), 0, refused, 1, nullptr));
  ResponsePtr ints(zowlpResponse_create("\x06"));
  EXPECT_EQ(WLP_ERR_TYPE, zowlpResponse_adoptBytes(ints.get(), 0, refused, 1, countRelease));
  delete[] refused;
  response.reset();
  EXPECT_EQ(1, g_released);
}

}  // namespace

#include "zowlp.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

using RowSetPtr = std::unique_ptr<zowlpRowSet, ZowlpRowSetDeleter>;
using ResponsePtr = std::unique_ptr<zowlpResponse, ZowlpResponseDeleter>;

zowlpParameter stringRecord(const char* text) {
  zowlpParameter p;
  std::memset(&p, 0, sizeof p);
  p.type = WLP_TYPE_STRING;
  p.present = 1;
  p.value.string = text;
  p.length = static_cast<int32_t>(std::strlen(text));
  return p;
}

zowlpParameter nullRecord(int type) {
  zowlpParameter p;
  std::memset(&p, 0, sizeof p);
  p.type = type;
  return p;
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
  RowSetPtr rows(zowlpRowSet_create(HADOOP_CFG_SETKEYVALUES_OPTIONS_COLS));
  ASSERT_TRUE(rows);
  char key[] = "dfs.replication";
  std::vector<unsigned char> bytes = {0, 1, 2, 255};
  zowlpParameter row[2] = {stringRecord(key), stringRecord("2")};
  ASSERT_EQ(WLP_OK, zowlpRowSet_addRow(rows.get(), row));
  std::strcpy(key, "overwritten....");
  row[1] = nullRecord(WLP_TYPE_STRING);
  ASSERT_EQ(WLP_OK, zowlpRowSet_addRow(rows.get(), row));

  RowSetPtr blobs(zowlpRowSet_create("\x01\x02\x06\x07"));
  zowlpParameter mixed[4] = {nullRecord(WLP_TYPE_BYTES), nullRecord(WLP_TYPE_BOOL),
                             nullRecord(WLP_TYPE_INT), nullRecord(WLP_TYPE_OBJECT)};
  for (auto& m : mixed) m.present = 1;
  mixed[0].value.bytes = bytes.data();
  mixed[0].length = 4;
  mixed[1].value.boolean = 1;
  mixed[2].value.integer = -7;
  mixed[3].value.object = int64_t{1} << 40;
  ASSERT_EQ(WLP_OK, zowlpRowSet_addRow(blobs.get(), mixed));
  bytes.assign(4, 9);

  EXPECT_EQ(2, zowlpRowSet_getRows(rows.get()));
  zowlpParameter* got = nullptr;
  ASSERT_EQ(WLP_OK, zowlpRowSet_nextRow(rows.get(), &got));
  EXPECT_EQ("dfs.replication", textOf(got[0]));
  EXPECT_EQ('\0', got[0].value.string[got[0].length]);
  EXPECT_EQ("2", textOf(got[1]));
  ASSERT_EQ(WLP_OK, zowlpRowSet_nextRow(rows.get(), &got));
  EXPECT_EQ("overwritten....", textOf(got[0]));
  EXPECT_EQ(0, got[1].present);
  EXPECT_EQ(WLP_ERR_END, zowlpRowSet_nextRow(rows.get(), &got));
  EXPECT_EQ(nullptr, got);

  ASSERT_EQ(WLP_OK, zowlpRowSet_nextRow(blobs.get(), &got));
  ASSERT_EQ(4, got[0].length);
  const auto* copied = static_cast<const unsigned char*>(got[0].value.bytes);
  EXPECT_EQ(255, copied[3]);
  EXPECT_EQ(0, copied[0]);
  EXPECT_EQ(1, got[1].value.boolean);
  EXPECT_EQ(-7, got[2].value.integer);
  EXPECT_EQ(int64_t{1} << 40, got[3].value.object);
}

TEST_F(WireTest, RowPointersStayValidWhileTheRowSetGrowsAndIsRead) {
  RowSetPtr rows(zowlpRowSet_create(HADOOP_CFG_ADDRESOURCEFILES_FILES_COLS));
  zowlpParameter first = stringRecord("row-0");
  ASSERT_EQ(WLP_OK, zowlpRowSet_addRow(rows.get(), &first));
  zowlpParameter* kept = nullptr;
  ASSERT_EQ(WLP_OK, zowlpRowSet_nextRow(rows.get(), &kept));
  // Enough rows to force any growable storage to move several times.
  for (int i = 1; i < 500; ++i) {
    std::string text = "row-" + std::to_string(i);
    zowlpParameter p = stringRecord(text.c_str());
    ASSERT_EQ(WLP_OK, zowlpRowSet_addRow(rows.get(), &p));
  }
  zowlpParameter* later = nullptr;
  for (int i = 1; i < 500; ++i) ASSERT_EQ(WLP_OK, zowlpRowSet_nextRow(rows.get(), &later));
  EXPECT_EQ("row-499", textOf(*later));
  EXPECT_EQ("row-0", textOf(*kept));

  zowlpParameter* at = nullptr;
  ASSERT_EQ(WLP_OK, zowlpRowSet_rowAt(rows.get(), 0, &at));
  EXPECT_EQ(kept, at);
  EXPECT_EQ(WLP_ERR_ARGUMENT, zowlpRowSet_rowAt(rows.get(), 500, &at));
  zowlpRowSet_rewind(rows.get());
  ASSERT_EQ(WLP_OK, zowlpRowSet_nextRow(rows.get(), &at));
  EXPECT_EQ(kept, at);
}

TEST_F(WireTest, RowsMustMatchTheColumnTypes) {
  RowSetPtr rows(zowlpRowSet_create("\x0b\x06"));
  ASSERT_TRUE(rows);
  EXPECT_EQ(2, zowlpRowSet_getColumns(rows.get()));
  EXPECT_STREQ("\x0b\x06", zowlpRowSet_columnTypes(rows.get()));

  zowlpParameter swapped[2] = {nullRecord(WLP_TYPE_INT), nullRecord(WLP_TYPE_STRING)};
  EXPECT_EQ(WLP_ERR_TYPE, zowlpRowSet_addRow(rows.get(), swapped));
  zowlpParameter badLength[2] = {stringRecord("x"), nullRecord(WLP_TYPE_INT)};
  badLength[0].length = -1;
  EXPECT_EQ(WLP_ERR_ARGUMENT, zowlpRowSet_addRow(rows.get(), badLength));
  EXPECT_EQ(0, zowlpRowSet_getRows(rows.get()));

  // Nested row sets have no owner, so neither columns nor records may hold one.
  EXPECT_EQ(nullptr, zowlpRowSet_create("\x0b\x0a"));
  EXPECT_EQ(nullptr, zowlpRowSet_create("\x03"));
  EXPECT_EQ(nullptr, zowlpRowSet_create(""));
  EXPECT_EQ(nullptr, zowlpRowSet_create(nullptr));
}

TEST_F(WireTest, NullArgumentsAreRefused) {
  zowlpParameter* row = nullptr;
  int count = 0;
  EXPECT_EQ(0, zowlpRowSet_getRows(nullptr));
  EXPECT_NE(WLP_OK, zowlpRowSet_nextRow(nullptr, &row));
  EXPECT_NE(WLP_OK, zowlpRowSet_addRow(nullptr, row));
  EXPECT_NE(WLP_OK, zowlpResponse_parameters(nullptr, &count, &row));
  EXPECT_NE(WLP_OK, zowlpError_code(nullptr, &count));
  EXPECT_NE(WLP_OK, zowlpResponse_setInt(nullptr, 0, 1));
  zowlpRowSet_destroy(nullptr);
  zowlpResponse_destroy(nullptr);
  zowlpRowSet_rewind(nullptr);

  RowSetPtr rows(zowlpRowSet_create("\x0b"));
  EXPECT_EQ(WLP_ERR_ARGUMENT, zowlpRowSet_addRow(rows.get(), nullptr));
  EXPECT_EQ(WLP_ERR_ARGUMENT, zowlpRowSet_nextRow(rows.get(), nullptr));
  zowlpParameter text = stringRecord("x");
  text.value.string = nullptr;
  EXPECT_EQ(WLP_ERR_ARGUMENT, zowlpRowSet_addRow(rows.get(), &text));
}

TEST_F(WireTest, ResponseOutputsAreTypedAndOwned) {
  ResponsePtr response(zowlpResponse_create("\x02\x06\x07\x0b\x01"));
  ASSERT_TRUE(response);
  std::string text = "hello";
  unsigned char data[3] = {1, 2, 3};
  EXPECT_EQ(WLP_OK, zowlpResponse_setBool(response.get(), 0, true));
  EXPECT_EQ(WLP_OK, zowlpResponse_setInt(response.get(), 1, 42));
  EXPECT_EQ(WLP_OK, zowlpResponse_setObject(response.get(), 2, 77));
  EXPECT_EQ(WLP_OK, zowlpResponse_setString(response.get(), 3, text.c_str(), 5));
  EXPECT_EQ(WLP_OK, zowlpResponse_setBytes(response.get(), 4, data, 3));
  text = "xxxxx";
  data[0] = 9;

  EXPECT_EQ(WLP_ERR_TYPE, zowlpResponse_setInt(response.get(), 0, 1));
  EXPECT_EQ(WLP_ERR_ARGUMENT, zowlpResponse_setInt(response.get(), 5, 1));
  EXPECT_EQ(WLP_ERR_ARGUMENT, zowlpResponse_setInt(response.get(), -1, 1));

  int count = 0;
  zowlpParameter* out = nullptr;
  ASSERT_EQ(WLP_OK, zowlpResponse_parameters(response.get(), &count, &out));
  ASSERT_EQ(5, count);
  EXPECT_EQ(1, out[0].value.boolean);
  EXPECT_EQ(42, out[1].value.integer);
  EXPECT_EQ(77, out[2].value.object);
  EXPECT_EQ("hello", textOf(out[3]));
  EXPECT_EQ(1, static_cast<const unsigned char*>(out[4].value.bytes)[0]);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(1, out[i].present) << i;

  int code = 0;
  char* message = nullptr;
  int length = 0;
  EXPECT_EQ(WLP_ERR_NO_ERROR, zowlpError_code(response.get(), &code));
  EXPECT_EQ(WLP_ERR_NO_ERROR, zowlpError_text(response.get(), &message, &length));
}

TEST_F(WireTest, UnsetOutputsAreNullOfTheirType) {
  ResponsePtr response(zowlpResponse_create(HADOOP_HDFS_OPENFILE_SIG_OUT));
  int count = 0;
  zowlpParameter* out = nullptr;
  ASSERT_EQ(WLP_OK, zowlpResponse_parameters(response.get(), &count, &out));
  ASSERT_EQ(2, count);
  EXPECT_EQ(WLP_TYPE_OBJECT, out[0].type);
  EXPECT_EQ(WLP_TYPE_ROWSET, out[1].type);
  EXPECT_EQ(0, out[1].present);
  EXPECT_EQ(nullptr, zowlpResponse_create("\x07\x04"));
}

TEST_F(WireTest, RowSetOutputDiesWithTheResponseUnlessTakenOut) {
  int live = zowlpTestLiveObjects();
  {
    ResponsePtr response(zowlpResponse_create(HADOOP_HDFS_LISTDIR_SIG_OUT));
    ASSERT_EQ(WLP_OK, zowlpResponse_setRowSet(response.get(), 0, zowlpRowSet_create("\x0b")));
    EXPECT_EQ(live + 2, zowlpTestLiveObjects());
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
  ASSERT_EQ(1, zowlpRowSet_getRows(taken.get()));
  zowlpParameter* row = nullptr;
  ASSERT_EQ(WLP_OK, zowlpRowSet_nextRow(taken.get(), &row));
  EXPECT_EQ("job done", textOf(row[0]));
  taken.reset();
  EXPECT_EQ(live, zowlpTestLiveObjects());
}

TEST_F(WireTest, ReplacingAnOutputDropsWhatItHeld) {
  int live = zowlpTestLiveObjects();
  ResponsePtr response(zowlpResponse_create(HADOOP_HDFS_LISTDIR_SIG_OUT));
  zowlpRowSet* first = zowlpRowSet_create("\x0b");
  ASSERT_EQ(WLP_OK, zowlpResponse_setRowSet(response.get(), 0, first));
  // Setting the same row set again must not destroy it under the response.
  ASSERT_EQ(WLP_OK, zowlpResponse_setRowSet(response.get(), 0, first));
  ASSERT_EQ(WLP_OK, zowlpResponse_setRowSet(response.get(), 0, zowlpRowSet_create("\x06")));
  EXPECT_EQ(live + 2, zowlpTestLiveObjects());
  EXPECT_EQ(WLP_ERR_ARGUMENT, zowlpResponse_setRowSet(response.get(), 0, nullptr));
  response.reset();
  EXPECT_EQ(live, zowlpTestLiveObjects());
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

TEST_F(WireTest, ErrorResponsesCarryCodeAndText) {
  ResponsePtr response(zowlpResponse_createError(17, "java.io.IOException: gone"));
  int code = 0;
  char* text = nullptr;
  int length = 0;
  ASSERT_EQ(WLP_OK, zowlpError_code(response.get(), &code));
  EXPECT_EQ(17, code);
  ASSERT_EQ(WLP_OK, zowlpError_text(response.get(), &text, &length));
  EXPECT_EQ("java.io.IOException: gone", std::string(text, length));
  EXPECT_EQ('\0', text[length]);
  EXPECT_NE(WLP_OK, zowlpError_text(response.get(), nullptr, &length));

  ResponsePtr empty(zowlpResponse_createError(3, nullptr));
  ASSERT_EQ(WLP_OK, zowlpError_text(empty.get(), &text, &length));
  EXPECT_EQ(0, length);
}

}  // namespace

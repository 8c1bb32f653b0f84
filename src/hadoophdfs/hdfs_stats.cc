#include "hdfs_stats.h"

#include <cstring>

#include "hdfs_support.h"
#include "zohadoop/hadoop_calls.h"

namespace {

// The text of a column, or null when the record holds none. The Java side puts
// text only in string records; anything else is treated as absent rather than
// trusted as a pointer.
const char* columnText(const zowlpParameter& column) {
  if (!column.present || column.type != WLP_TYPE_STRING) return nullptr;
  return column.value.string;
}

// Keys match by length and bytes, case-sensitively. strncmp stops at a NUL, so
// a length field that overstates the text cannot make us read past it.
bool keyIs(const zowlpParameter& keyColumn, const char* key) {
  const char* text = columnText(keyColumn);
  if (text == nullptr) return false;
  const size_t keyLength = std::strlen(key);
  return keyColumn.length == static_cast<int32_t>(keyLength) &&
         std::strncmp(text, key, keyLength) == 0;
}

void applyProperty(const zowlpParameter* row, bool hasValueColumn,
                   ZOHadoopHDFSMember* member) {
  const zowlpParameter& key = row[0];
  const char* value = hasValueColumn ? columnText(row[1]) : nullptr;
  if (keyIs(key, "IsDir")) {
    // Presence alone marks a directory; the Java side may send any value.
    member->isDir = true;
  } else if (keyIs(key, "ModDate")) {
    if (value != nullptr) member->modDate.assign(value);
  } else if (keyIs(key, "Permissions")) {
    member->permissions = ZobString(value != nullptr ? value : "").asInt(nullptr);
  } else if (keyIs(key, "Size")) {
    member->size = ZobString(value != nullptr ? value : "").asInt64(nullptr);
  }
}

}  // namespace

bool getStats(int* rowIndex, const zowlpRowSet* rows, zowlpParameter** pendingRow,
              ZOHadoopHDFSMember* member, ZobString* err) {
  if (err) err->setNull(false);
  const int rowCount = zowlpRowSet_getRows(rows);
  // A row set with a single column has no value column to read.
  const bool hasValueColumn = zowlpRowSet_getColumns(rows) >= 2;
  member->isDir = false;
  member->size = 0;
  member->permissions = 0;

  const int start = *rowIndex;
  int i = start;
  while (i < rowCount) {
    zowlpParameter* row = nullptr;
    if (*pendingRow != nullptr) {
      row = *pendingRow;
      *pendingRow = nullptr;
    } else {
      const int status = zowlpRowSet_nextRow(rows, &row);
      if (status != 0 || row == nullptr) {
        if (err) {
          *err = ZOH_MESSAGE(ZOH_HDFS_TAG, 1354, "zowlpRowSet_nextRow",
                             status != 0 ? status : static_cast<int>(WLP_ERR_ARGUMENT));
        }
        return false;
      }
    }
    if (!row[0].present) {
      if (i != start) {
        // The next entry begins here; keep its row for the next call so that no
        // row is ever read twice.
        *pendingRow = row;
        *rowIndex = i;
        return true;
      }
      const char* name = hasValueColumn ? columnText(row[1]) : nullptr;
      member->name.assign(name != nullptr ? name : "");
    } else {
      applyProperty(row, hasValueColumn, member);
    }
    ++i;
  }
  *rowIndex = i;
  return true;
}

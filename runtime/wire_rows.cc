// Row sets of the wire-level parameter protocol, and the type codes they share
// with responses.
//
// Everything here crosses a C boundary, so nothing may throw: allocation
// failures become WLP_ERR_MEMORY (or a null object), and every entry point
// checks its pointers.

#include <new>

#include "wire_objects.h"

namespace zowlp {

bool isValidTypeList(const char* codes, bool allowRowSet) {
  for (const char* c = codes; *c; ++c) {
    int code = static_cast<unsigned char>(*c);
    if (!zowlpIsKnownType(code)) return false;
    if (!allowRowSet && code == WLP_TYPE_ROWSET) return false;
  }
  return true;
}

std::unique_ptr<char[]> copyBuffer(const void* data, int length) {
  std::unique_ptr<char[]> copy(new (std::nothrow) char[static_cast<size_t>(length) + 1]);
  if (!copy) return copy;
  if (length > 0) std::memcpy(copy.get(), data, static_cast<size_t>(length));
  copy[length] = '\0';
  return copy;
}

namespace {

// Validates and copies one record of a row into `slot`, with its own copy of the
// text or bytes it points to.
int copyRecord(const zowlpParameter& from, int columnType, zowlpParameter* slot,
               Row* row) {
  if (from.type != columnType) return WLP_ERR_TYPE;
  *slot = nullRecord(columnType);
  if (!from.present) return WLP_OK;
  slot->present = 1;
  switch (columnType) {
    case WLP_TYPE_STRING:
    case WLP_TYPE_BYTES: {
      const void* data = columnType == WLP_TYPE_STRING
                             ? static_cast<const void*>(from.value.string)
                             : from.value.bytes;
      if (from.length < 0 || (data == nullptr && from.length > 0)) {
        return WLP_ERR_ARGUMENT;
      }
      std::unique_ptr<char[]> copy = copyBuffer(data, from.length);
      if (!copy) return WLP_ERR_MEMORY;
      if (columnType == WLP_TYPE_STRING) {
        slot->value.string = copy.get();
      } else {
        slot->value.bytes = copy.get();
      }
      slot->length = from.length;
      row->buffers.push_back(std::move(copy));
      return WLP_OK;
    }
    case WLP_TYPE_BOOL:
      slot->value.boolean = from.value.boolean ? 1 : 0;
      return WLP_OK;
    case WLP_TYPE_INT:
      slot->value.integer = from.value.integer;
      return WLP_OK;
    case WLP_TYPE_OBJECT:
      slot->value.object = from.value.object;
      return WLP_OK;
    default:
      return WLP_ERR_TYPE;
  }
}

int addRowChecked(zowlpRowSet* rowSet, const zowlpParameter* row) {
  const size_t columns = rowSet->columns.size();
  auto copy = std::make_unique<Row>();
  copy->records.reset(new zowlpParameter[columns]);
  copy->buffers.reserve(columns);
  for (size_t i = 0; i < columns; ++i) {
    int status = copyRecord(row[i], static_cast<unsigned char>(rowSet->columns[i]),
                            &copy->records[i], copy.get());
    if (status != WLP_OK) return status;
  }
  rowSet->rows.push_back(std::move(copy));
  return WLP_OK;
}

}  // namespace
}  // namespace zowlp

extern "C" {

zowlpRowSet* zowlpRowSet_create(const char* columnTypes) {
  if (!columnTypes || !*columnTypes || !zowlp::isValidTypeList(columnTypes, false)) {
    return nullptr;
  }
  try {
    auto rowSet = std::make_unique<zowlpRowSet>();
    rowSet->columns = columnTypes;
    return rowSet.release();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

int zowlpRowSet_addRow(zowlpRowSet* rowSet, zowlpParameter* row) {
  if (!rowSet || !row) return WLP_ERR_ARGUMENT;
  if (int injected = rowSet->failAdd.statusAt(rowSet->rows.size())) return injected;
  try {
    return zowlp::addRowChecked(rowSet, row);
  } catch (const std::bad_alloc&) {
    return WLP_ERR_MEMORY;
  }
}

int zowlpRowSet_getRows(const zowlpRowSet* rowSet) {
  return rowSet ? static_cast<int>(rowSet->rows.size()) : 0;
}

int zowlpRowSet_nextRow(const zowlpRowSet* rowSet, zowlpParameter** row) {
  if (row) *row = nullptr;
  if (!rowSet || !row) return WLP_ERR_ARGUMENT;
  if (rowSet->cursor >= rowSet->rows.size()) return WLP_ERR_END;
  if (int injected = rowSet->failNext.statusAt(rowSet->cursor)) return injected;
  *row = rowSet->rows[rowSet->cursor++]->records.get();
  return WLP_OK;
}

void zowlpRowSet_destroy(zowlpRowSet* rowSet) { delete rowSet; }

int zowlpRowSet_getColumns(const zowlpRowSet* rowSet) {
  return rowSet ? static_cast<int>(rowSet->columns.size()) : 0;
}

const char* zowlpRowSet_columnTypes(const zowlpRowSet* rowSet) {
  return rowSet ? rowSet->columns.c_str() : nullptr;
}

int zowlpRowSet_rowAt(const zowlpRowSet* rowSet, int index, zowlpParameter** row) {
  if (row) *row = nullptr;
  if (!rowSet || !row || index < 0 ||
      static_cast<size_t>(index) >= rowSet->rows.size()) {
    return WLP_ERR_ARGUMENT;
  }
  *row = rowSet->rows[index]->records.get();
  return WLP_OK;
}

void zowlpRowSet_rewind(const zowlpRowSet* rowSet) {
  if (rowSet) rowSet->cursor = 0;
}

}  // extern "C"

bool zowlpIsKnownType(int code) {
  switch (code) {
    case WLP_TYPE_BYTES:
    case WLP_TYPE_BOOL:
    case WLP_TYPE_INT:
    case WLP_TYPE_OBJECT:
    case WLP_TYPE_ROWSET:
    case WLP_TYPE_STRING:
      return true;
    default:
      return false;
  }
}

#include "scripted_wire.h"

#include <cstring>
#include <memory>

namespace scripted_wire {
namespace {

using RowSetOwner = std::unique_ptr<zowlpRowSet, ZowlpRowSetDeleter>;
using ResponseOwner = std::unique_ptr<zowlpResponse, ZowlpResponseDeleter>;

// A zeroed record carrying `value`; its pointers point into `value`, which must
// outlive the record.
zowlpParameter toRecord(const ScriptedValue& value) {
  zowlpParameter record;
  std::memset(&record, 0, sizeof record);
  record.type = value.type;
  record.present = value.present ? 1 : 0;
  if (!value.present) return record;
  switch (value.type) {
    case WLP_TYPE_STRING:
      record.value.string = value.str.c_str();
      record.length = static_cast<int32_t>(value.str.size());
      break;
    case WLP_TYPE_BYTES:
      record.value.bytes = value.str.data();
      record.length = static_cast<int32_t>(value.str.size());
      break;
    case WLP_TYPE_BOOL:
      record.value.boolean = value.boolean ? 1 : 0;
      break;
    case WLP_TYPE_INT:
      record.value.integer = value.integer;
      break;
    case WLP_TYPE_OBJECT:
      record.value.object = value.object;
      break;
    default:
      break;
  }
  return record;
}

// A WLP_* status.
int setOutput(zowlpResponse* response, int index, const ScriptedValue& value) {
  switch (value.type) {
    case WLP_TYPE_STRING:
      return zowlpResponse_setString(response, index, value.str.c_str(),
                                     static_cast<int>(value.str.size()));
    case WLP_TYPE_BYTES:
      return zowlpResponse_setBytes(response, index, value.str.data(),
                                    static_cast<int>(value.str.size()));
    case WLP_TYPE_BOOL:
      return zowlpResponse_setBool(response, index, value.boolean);
    case WLP_TYPE_INT:
      return zowlpResponse_setInt(response, index, value.integer);
    case WLP_TYPE_OBJECT:
      return zowlpResponse_setObject(response, index, value.object);
    case WLP_TYPE_ROWSET: {
      zowlpRowSet* raw = nullptr;
      int status = buildRowSet(value, &raw);
      if (status != ZOJNI_OK) return status == ZOJNI_ERR_MEMORY ? WLP_ERR_MEMORY : WLP_ERR_TYPE;
      RowSetOwner rowSet(raw);
      status = zowlpResponse_setRowSet(response, index, rowSet.get());
      if (status == WLP_OK) rowSet.release();  // the response adopted it
      return status;
    }
    default:
      return WLP_ERR_TYPE;
  }
}

}  // namespace


bool isValidTypeList(const std::string& codes) {
  for (char code : codes) {
    if (!zowlpIsKnownType(static_cast<unsigned char>(code))) return false;
  }
  return true;
}

int copyRecord(const zowlpParameter& record, ScriptedValue* out) {
  *out = ScriptedValue{};
  out->type = record.type;
  out->present = record.present != 0;
  out->length = record.length;
  if (!zowlpIsKnownType(record.type)) return ZOJNI_ERR_INPUT_TYPE;
  // A bridge ignores the value fields of a null record, so must the copy.
  if (!out->present) return ZOJNI_OK;
  switch (record.type) {
    case WLP_TYPE_STRING: {
      if (record.value.string == nullptr || record.length < 0) return ZOJNI_ERR_ARGUMENT;
      // The text is NUL-terminated by contract; reading up to `length` blindly
      // would run past a short text.
      const std::size_t actual = std::strlen(record.value.string);
      out->str.assign(record.value.string, actual);
      return actual == static_cast<std::size_t>(record.length) ? ZOJNI_OK
                                                               : ZOJNI_ERR_ARGUMENT;
    }
    case WLP_TYPE_BYTES:
      if (record.length < 0 || (record.value.bytes == nullptr && record.length > 0)) {
        return ZOJNI_ERR_ARGUMENT;
      }
      if (record.length > 0) {
        out->str.assign(static_cast<const char*>(record.value.bytes),
                        static_cast<std::size_t>(record.length));
      }
      return ZOJNI_OK;
    case WLP_TYPE_BOOL:
      out->rawBoolean = record.value.boolean;
      out->boolean = record.value.boolean != 0;
      return ZOJNI_OK;
    case WLP_TYPE_INT:
      out->integer = record.value.integer;
      return ZOJNI_OK;
    case WLP_TYPE_OBJECT:
      out->object = record.value.object;
      return ZOJNI_OK;
    case WLP_TYPE_ROWSET: {
      const zowlpRowSet* rowSet = record.value.rowSet;
      if (rowSet == nullptr) return ZOJNI_ERR_ARGUMENT;
      out->rowSet = rowSet;
      const char* columns = zowlpRowSet_columnTypes(rowSet);
      out->columnTypes = columns ? columns : "";
      const int width = zowlpRowSet_getColumns(rowSet);
      const int rows = zowlpRowSet_getRows(rowSet);
      for (int i = 0; i < rows; ++i) {
        zowlpParameter* cells = nullptr;
        if (zowlpRowSet_rowAt(rowSet, i, &cells) != WLP_OK || cells == nullptr) {
          return ZOJNI_ERR_ARGUMENT;
        }
        std::vector<ScriptedValue> row(static_cast<std::size_t>(width));
        for (int c = 0; c < width; ++c) copyRecord(cells[c], &row[c]);
        out->rows.push_back(std::move(row));
      }
      return ZOJNI_OK;
    }
    default:
      return ZOJNI_ERR_INPUT_TYPE;
  }
}

int buildRowSet(const ScriptedValue& value, zowlpRowSet** out) {
  *out = nullptr;
  if (value.type != WLP_TYPE_ROWSET || value.columnTypes.empty() ||
      !isValidTypeList(value.columnTypes)) {
    return ZOJNI_ERR_OUTPUT_TYPE;
  }
  RowSetOwner rowSet(zowlpRowSet_create(value.columnTypes.c_str()));
  if (!rowSet) return ZOJNI_ERR_MEMORY;
  for (const std::vector<ScriptedValue>& cells : value.rows) {
    if (cells.size() != value.columnTypes.size()) return ZOJNI_ERR_OUTPUT_TYPE;
    std::vector<zowlpParameter> records;
    records.reserve(cells.size());
    for (const ScriptedValue& cell : cells) records.push_back(toRecord(cell));
    if (zowlpRowSet_addRow(rowSet.get(), records.data()) != WLP_OK) {
      return ZOJNI_ERR_OUTPUT_TYPE;
    }
  }
  if (value.failNextRowAt >= 0) {
    zowlpRowSet_testFailNextRowAt(rowSet.get(), value.failNextRowAt,
                                  value.failNextRowStatus);
  }
  *out = rowSet.release();
  return ZOJNI_OK;
}

int buildResponse(const std::string& signature, const std::vector<ScriptedValue>& values,
                  zowlpResponse** out) {
  *out = nullptr;
  if (values.size() > signature.size()) return ZOJNI_ERR_OUTPUT_TYPE;
  ResponseOwner response(zowlpResponse_create(signature.c_str()));
  if (!response) return ZOJNI_ERR_MEMORY;
  for (std::size_t i = 0; i < values.size(); ++i) {
    const ScriptedValue& value = values[i];
    if (value.type == 0) continue;  // ScriptedValue::none(): leave it null
    if (value.type != static_cast<unsigned char>(signature[i])) {
      return ZOJNI_ERR_OUTPUT_TYPE;
    }
    if (!value.present) continue;
    const int status = setOutput(response.get(), static_cast<int>(i), value);
    if (status == WLP_ERR_MEMORY) return ZOJNI_ERR_MEMORY;
    if (status != WLP_OK) return ZOJNI_ERR_OUTPUT_TYPE;
  }
  *out = response.release();
  return ZOJNI_OK;
}

}  // namespace scripted_wire

#include "scripted_value.h"

#include <cstring>
#include <ostream>
#include <sstream>

namespace {

ScriptedValue typed(int32_t type) {
  ScriptedValue value;
  value.type = type;
  value.present = true;
  return value;
}

const char* typeName(int32_t type) {
  switch (type) {
    case WLP_TYPE_BYTES: return "bytes";
    case WLP_TYPE_BOOL: return "bool";
    case WLP_TYPE_INT: return "int";
    case WLP_TYPE_OBJECT: return "object";
    case WLP_TYPE_ROWSET: return "rowset";
    case WLP_TYPE_STRING: return "string";
    default: return nullptr;
  }
}

// A zeroed record carrying `value`; its pointers point into `value`. A row set
// is left for the caller to attach.
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

int copyRows(const zowlpRowSet* rowSet, ScriptedValue* out, RowRead read) {
  const char* columns = zowlpRowSet_columnTypes(rowSet);
  out->columnTypes = columns ? columns : "";
  const int width = zowlpRowSet_getColumns(rowSet);
  const int rows = zowlpRowSet_getRows(rowSet);
  for (int i = 0; i < rows; ++i) {
    zowlpParameter* cells = nullptr;
    const int status = read == RowRead::kKeepCursor ? zowlpRowSet_rowAt(rowSet, i, &cells)
                                                    : zowlpRowSet_nextRow(rowSet, &cells);
    if (status != WLP_OK || cells == nullptr) return ZOJNI_ERR_ARGUMENT;
    std::vector<ScriptedValue> row(static_cast<std::size_t>(width));
    for (int c = 0; c < width; ++c) {
      const int copied = copyRecord(cells[c], &row[c], read);
      if (copied != ZOJNI_OK) return copied;
    }
    out->rows.push_back(std::move(row));
  }
  return ZOJNI_OK;
}

}  // namespace

ScriptedValue ScriptedValue::ofNull(int32_t type) {
  ScriptedValue value;
  value.type = type;
  return value;
}

ScriptedValue ScriptedValue::ofString(std::string text) {
  ScriptedValue value = typed(WLP_TYPE_STRING);
  value.length = static_cast<int32_t>(text.size());
  value.str = std::move(text);
  return value;
}

ScriptedValue ScriptedValue::ofBytes(std::string data) {
  ScriptedValue value = ofString(std::move(data));
  value.type = WLP_TYPE_BYTES;
  return value;
}

ScriptedValue ScriptedValue::ofInt(int32_t integer) {
  ScriptedValue value = typed(WLP_TYPE_INT);
  value.integer = integer;
  return value;
}

ScriptedValue ScriptedValue::ofBool(bool boolean) {
  ScriptedValue value = typed(WLP_TYPE_BOOL);
  value.boolean = boolean;
  return value;
}

ScriptedValue ScriptedValue::ofObject(int64_t handle) {
  ScriptedValue value = typed(WLP_TYPE_OBJECT);
  value.object = handle;
  return value;
}

ScriptedValue ScriptedValue::ofStringRows(const StringTable& rows, int columns) {
  if (columns < 0) columns = rows.empty() ? 1 : static_cast<int>(rows.front().size());
  std::vector<std::vector<ScriptedValue>> cells;
  for (const auto& row : rows) {
    std::vector<ScriptedValue> out;
    for (const auto& cell : row) out.push_back(cell ? ofString(*cell) : ofNull(WLP_TYPE_STRING));
    cells.push_back(std::move(out));
  }
  return ofRows(std::string(static_cast<std::size_t>(columns), static_cast<char>(WLP_TYPE_STRING)),
                std::move(cells));
}

ScriptedValue ScriptedValue::ofRows(std::string columnTypes,
                                    std::vector<std::vector<ScriptedValue>> rows) {
  ScriptedValue value = typed(WLP_TYPE_ROWSET);
  value.columnTypes = std::move(columnTypes);
  value.rows = std::move(rows);
  return value;
}

ScriptedValue& ScriptedValue::failingNextRowAt(int rowIndex, int status) {
  failNextRowAt = rowIndex;
  failNextRowStatus = status;
  return *this;
}

StringTable ScriptedValue::stringTable() const {
  StringTable table;
  for (const auto& row : rows) {
    std::vector<std::optional<std::string>> out;
    for (const ScriptedValue& cell : row) {
      std::optional<std::string> text;
      if (cell.present) text = cell.type == WLP_TYPE_STRING ? cell.str : cell.describe();
      out.push_back(std::move(text));
    }
    table.push_back(std::move(out));
  }
  return table;
}

std::string ScriptedValue::describe() const {
  std::ostringstream out;
  const char* name = typeName(type);
  if (name) {
    out << name;
  } else {
    out << "type " << type;
  }
  if (!present) return out.str() + " null";
  switch (type) {
    case WLP_TYPE_STRING: out << " \"" << str << "\""; break;
    case WLP_TYPE_BYTES: out << " [" << str.size() << " bytes]"; break;
    case WLP_TYPE_BOOL: out << (boolean ? " true" : " false"); break;
    case WLP_TYPE_INT: out << " " << integer; break;
    case WLP_TYPE_OBJECT: out << " " << object; break;
    case WLP_TYPE_ROWSET:
      out << " " << columnTypes.size() << " columns {";
      for (std::size_t r = 0; r < rows.size(); ++r) {
        out << (r ? ", (" : "(");
        for (std::size_t c = 0; c < rows[r].size(); ++c) {
          out << (c ? ", " : "") << rows[r][c].describe();
        }
        out << ")";
      }
      out << "}";
      break;
    default: break;
  }
  return out.str();
}

bool operator==(const ScriptedValue& a, const ScriptedValue& b) {
  if (a.type != b.type || a.present != b.present) return false;
  if (!a.present) return true;
  switch (a.type) {
    case WLP_TYPE_STRING:
    case WLP_TYPE_BYTES: return a.str == b.str;
    case WLP_TYPE_BOOL: return a.boolean == b.boolean;
    case WLP_TYPE_INT: return a.integer == b.integer;
    case WLP_TYPE_OBJECT: return a.object == b.object;
    case WLP_TYPE_ROWSET: return a.columnTypes == b.columnTypes && a.rows == b.rows;
    default: return true;
  }
}

void PrintTo(const ScriptedValue& value, std::ostream* os) { *os << value.describe(); }

int copyRecord(const zowlpParameter& record, ScriptedValue* out, RowRead rows) {
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
      // Read up to the NUL, not `length` bytes: a length longer than the text
      // would run past it.
      const std::size_t actual = std::strlen(record.value.string);
      out->str.assign(record.value.string, actual);
      return actual == static_cast<std::size_t>(record.length) ? ZOJNI_OK : ZOJNI_ERR_ARGUMENT;
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
      out->boolean = record.value.boolean != 0;
      return ZOJNI_OK;
    case WLP_TYPE_INT:
      out->integer = record.value.integer;
      return ZOJNI_OK;
    case WLP_TYPE_OBJECT:
      out->object = record.value.object;
      return ZOJNI_OK;
    default:  // WLP_TYPE_ROWSET
      if (record.value.rowSet == nullptr) return ZOJNI_ERR_ARGUMENT;
      out->rowSet = record.value.rowSet;
      return copyRows(record.value.rowSet, out, rows);
  }
}

int buildRowSet(const ScriptedValue& value, zowlpRowSet** out) {
  *out = nullptr;
  if (value.type != WLP_TYPE_ROWSET || value.columnTypes.empty()) return ZOJNI_ERR_OUTPUT_TYPE;
  std::unique_ptr<zowlpRowSet, ZowlpRowSetDeleter> rowSet(
      zowlpRowSet_create(value.columnTypes.c_str()));
  // The wire refuses unknown and nested column types by making nothing.
  if (!rowSet) return ZOJNI_ERR_OUTPUT_TYPE;
  for (const std::vector<ScriptedValue>& cells : value.rows) {
    if (cells.size() != value.columnTypes.size()) return ZOJNI_ERR_OUTPUT_TYPE;
    std::vector<zowlpParameter> records;
    for (const ScriptedValue& cell : cells) records.push_back(toRecord(cell));
    const int added = zowlpRowSet_addRow(rowSet.get(), records.data());
    if (added != WLP_OK) return added == WLP_ERR_MEMORY ? ZOJNI_ERR_MEMORY : ZOJNI_ERR_OUTPUT_TYPE;
  }
  if (value.failNextRowAt >= 0) {
    zowlpRowSet_testFailNextRowAt(rowSet.get(), value.failNextRowAt, value.failNextRowStatus);
  }
  *out = rowSet.release();
  return ZOJNI_OK;
}

WireRecords::WireRecords(std::vector<ScriptedValue> values) : values_(std::move(values)) {
  for (const ScriptedValue& value : values_) {
    records_.push_back(toRecord(value));
    if (value.type != WLP_TYPE_ROWSET || !value.present) continue;
    zowlpRowSet* rowSet = nullptr;
    buildRowSet(value, &rowSet);  // left null when it cannot be built: a bad input
    rowSets_.emplace_back(rowSet);
    records_.back().value.rowSet = rowSet;
  }
}

std::string WireRecords::signature() const {
  std::string codes;
  for (const zowlpParameter& record : records_) codes += static_cast<char>(record.type);
  return codes;
}

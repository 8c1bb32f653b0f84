// ScriptedValue builders, comparison and printing.
#include <ostream>
#include <sstream>

#include "scripted_bridge.h"

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

}  // namespace

ScriptedValue ScriptedValue::none() { return ScriptedValue{}; }

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
  ScriptedValue value = typed(WLP_TYPE_BYTES);
  value.length = static_cast<int32_t>(data.size());
  value.str = std::move(data);
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
  value.rawBoolean = boolean ? 1 : 0;
  return value;
}

ScriptedValue ScriptedValue::ofObject(int64_t handle) {
  ScriptedValue value = typed(WLP_TYPE_OBJECT);
  value.object = handle;
  return value;
}

ScriptedValue ScriptedValue::ofStringRows(
    const std::vector<std::vector<std::optional<std::string>>>& rows, int columns) {
  if (columns < 0) columns = rows.empty() ? 1 : static_cast<int>(rows.front().size());
  std::vector<std::vector<ScriptedValue>> cells;
  cells.reserve(rows.size());
  for (const auto& row : rows) {
    std::vector<ScriptedValue> out;
    out.reserve(row.size());
    for (const auto& cell : row) {
      out.push_back(cell ? ofString(*cell) : ofNull(WLP_TYPE_STRING));
    }
    cells.push_back(std::move(out));
  }
  return ofRows(std::string(static_cast<std::size_t>(columns),
                            static_cast<char>(WLP_TYPE_STRING)),
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

std::vector<std::vector<std::optional<std::string>>> ScriptedValue::stringTable() const {
  std::vector<std::vector<std::optional<std::string>>> table;
  for (const auto& row : rows) {
    std::vector<std::optional<std::string>> out;
    for (const ScriptedValue& cell : row) {
      if (!cell.present) {
        out.emplace_back(std::nullopt);
      } else if (cell.type == WLP_TYPE_STRING) {
        out.emplace_back(cell.str);
      } else {
        out.emplace_back(cell.describe());
      }
    }
    table.push_back(std::move(out));
  }
  return table;
}

std::string ScriptedValue::describe() const {
  std::ostringstream out;
  const char* name = typeName(type);
  if (type == 0) return "none";
  if (name) {
    out << name;
  } else {
    out << "type " << type;
  }
  if (!present) {
    out << " null";
    return out.str();
  }
  switch (type) {
    case WLP_TYPE_STRING:
      out << " \"" << str << "\"";
      break;
    case WLP_TYPE_BYTES:
      out << " [" << str.size() << " bytes]";
      break;
    case WLP_TYPE_BOOL:
      out << (boolean ? " true" : " false");
      break;
    case WLP_TYPE_INT:
      out << " " << integer;
      break;
    case WLP_TYPE_OBJECT:
      out << " " << object;
      break;
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
    default:
      break;
  }
  return out.str();
}

bool operator==(const ScriptedValue& a, const ScriptedValue& b) {
  if (a.type != b.type || a.present != b.present) return false;
  if (!a.present) return true;
  switch (a.type) {
    case WLP_TYPE_STRING:
    case WLP_TYPE_BYTES:
      return a.str == b.str;
    case WLP_TYPE_BOOL:
      return a.boolean == b.boolean;
    case WLP_TYPE_INT:
      return a.integer == b.integer;
    case WLP_TYPE_OBJECT:
      return a.object == b.object;
    case WLP_TYPE_ROWSET:
      return a.columnTypes == b.columnTypes && a.rows == b.rows;
    default:
      return true;
  }
}

void PrintTo(const ScriptedValue& value, std::ostream* os) { *os << value.describe(); }

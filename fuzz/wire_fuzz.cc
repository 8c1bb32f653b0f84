// Row sets and responses as a bridge builds them and the library reads them:
// any column types, records of any type and presence, any output index, and
// what is read back matches what was added.
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "fuzz_input.h"
#include "zowlp.h"

namespace {

const int32_t kTypes[] = {WLP_TYPE_BYTES, WLP_TYPE_BOOL,   WLP_TYPE_INT,
                          WLP_TYPE_OBJECT, WLP_TYPE_ROWSET, WLP_TYPE_STRING};

int32_t typeCode(FuzzInput& in) {
  const uint8_t b = in.byte();
  // Mostly known codes, sometimes another (unknown codes must be refused); never
  // 0, which would end a list of codes.
  return b < 0xF0 ? kTypes[b % 6] : static_cast<int32_t>(b & 0x0F) + 0x10;
}

// One record of `type`, filled as a bridge fills it; texts and bytes live in
// `store` (reserved, so they do not move).
zowlpParameter record(FuzzInput& in, int32_t type, std::vector<std::string>* store) {
  zowlpParameter p;
  std::memset(&p, 0, sizeof p);
  p.type = type;
  p.present = in.byte() % 3 == 0 ? 0 : 1;
  store->push_back(in.text(32));
  const std::string& s = store->back();
  switch (p.type) {
    case WLP_TYPE_STRING:
      p.value.string = s.c_str();
      p.length = static_cast<int32_t>(std::strlen(s.c_str()));
      break;
    case WLP_TYPE_BYTES:
      p.value.bytes = s.data();
      p.length = in.byte() % 8 == 0 ? -1 : static_cast<int32_t>(s.size());
      break;
    case WLP_TYPE_BOOL:
      p.value.boolean = in.byte();
      break;
    case WLP_TYPE_ROWSET:
      p.value.rowSet = nullptr;
      break;
    default:
      p.value.raw = static_cast<uint64_t>(in.int64());
      break;
  }
  return p;
}

bool sameValue(const zowlpParameter& a, const zowlpParameter& b) {
  if (a.type != b.type || (a.present != 0) != (b.present != 0)) return false;
  if (!a.present) return true;
  switch (a.type) {
    case WLP_TYPE_STRING:
      return a.length == b.length && std::strcmp(a.value.string, b.value.string) == 0;
    case WLP_TYPE_BYTES:
      return a.length == b.length &&
             (a.length == 0 || std::memcmp(a.value.bytes, b.value.bytes, a.length) == 0);
    case WLP_TYPE_BOOL:
      return (a.value.boolean != 0) == (b.value.boolean != 0);
    case WLP_TYPE_INT:
      return a.value.integer == b.value.integer;
    case WLP_TYPE_OBJECT:
      return a.value.object == b.value.object;
    default:
      return true;
  }
}

zowlpRowSet* fuzzRowSet(FuzzInput& in) {
  std::string types;
  const int columns = in.byte() % 5;
  for (int c = 0; c < columns; ++c) types += static_cast<char>(typeCode(in));
  zowlpRowSet* rows = zowlpRowSet_create(types.c_str());
  if (rows == nullptr) return nullptr;
  FUZZ_CHECK(zowlpRowSet_getColumns(rows) == columns, "columns");
  std::vector<std::string> store;
  store.reserve(4096);
  std::vector<std::vector<zowlpParameter>> added;
  const int rowCount = in.byte() % 8;
  for (int r = 0; r < rowCount && store.size() + columns < store.capacity(); ++r) {
    std::vector<zowlpParameter> row;
    for (int c = 0; c < columns; ++c) {
      // Mostly the column's own type, so that rows get in.
      const int32_t type = in.byte() % 4 != 0 ? static_cast<unsigned char>(types[c]) : typeCode(in);
      row.push_back(record(in, type, &store));
    }
    if (columns == 0) row.resize(1);
    if (zowlpRowSet_addRow(rows, row.data()) == WLP_OK) added.push_back(row);
  }
  FUZZ_CHECK(zowlpRowSet_getRows(rows) == static_cast<int>(added.size()), "row count");
  for (int pass = 0; pass < 2; ++pass) {
    for (size_t r = 0; r < added.size(); ++r) {
      zowlpParameter* row = nullptr;
      FUZZ_CHECK(zowlpRowSet_nextRow(rows, &row) == WLP_OK && row != nullptr, "row %zu", r);
      for (int c = 0; c < columns; ++c) {
        FUZZ_CHECK(sameValue(added[r][c], row[c]), "row %zu column %d", r, c);
      }
    }
    zowlpParameter* row = nullptr;
    FUZZ_CHECK(zowlpRowSet_nextRow(rows, &row) != WLP_OK, "a row past the end");
    zowlpRowSet_rewind(rows);
  }
  zowlpParameter* row = nullptr;
  zowlpRowSet_rowAt(rows, in.int32(), &row);
  return rows;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  FuzzInput in(data, size);
  zowlpRowSet* rows = fuzzRowSet(in);

  std::string signature;
  const int outputs = in.byte() % 6;
  for (int i = 0; i < outputs; ++i) signature += static_cast<char>(typeCode(in));
  zowlpResponse* response = zowlpResponse_create(signature.c_str());
  if (response != nullptr) {
    std::vector<std::string> store;
    while (!in.empty()) {
      const int index = in.byte() % 8 - 1;
      const std::string text = in.text(32);
      switch (in.byte() % 6) {
        case 0: zowlpResponse_setBool(response, index, in.byte() & 1); break;
        case 1: zowlpResponse_setInt(response, index, in.int32()); break;
        case 2: zowlpResponse_setObject(response, index, in.int64()); break;
        case 3:
          zowlpResponse_setString(response, index, text.c_str(),
                                  static_cast<int>(std::strlen(text.c_str())));
          break;
        case 4:
          zowlpResponse_setBytes(response, index, text.data(), static_cast<int>(text.size()));
          break;
        case 5:
          if (rows != nullptr && zowlpResponse_setRowSet(response, index, rows) == WLP_OK) {
            rows = nullptr;  // the response owns it now
          }
          break;
      }
    }
    int count = -1;
    zowlpParameter* records = nullptr;
    FUZZ_CHECK(zowlpResponse_parameters(response, &count, &records) == WLP_OK, "parameters");
    FUZZ_CHECK(count == outputs, "output count %d of %d", count, outputs);
    for (int i = 0; i < count; ++i) {
      FUZZ_CHECK(records[i].type == static_cast<unsigned char>(signature[i]), "output type");
    }
    int code = 0;
    FUZZ_CHECK(zowlpError_code(response, &code) != WLP_OK, "an error in a plain response");
    zowlpResponse_destroy(response);
  }
  zowlpRowSet_destroy(rows);

  const std::string text = in.text(40);
  zowlpResponse* error = zowlpResponse_createError(static_cast<int>(size), text.c_str());
  if (error != nullptr) {
    int code = 0;
    char* message = nullptr;
    int length = -1;
    FUZZ_CHECK(zowlpError_code(error, &code) == WLP_OK && code == static_cast<int>(size), "code");
    FUZZ_CHECK(zowlpError_text(error, &message, &length) == WLP_OK, "text");
    zowlpResponse_destroy(error);
  }
  return 0;
}

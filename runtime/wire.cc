// Row sets and responses of the wire-level parameter protocol.
//
// Both cross a C boundary, so nothing here may throw: allocation failures become
// WLP_ERR_MEMORY (or a null object), and every entry point checks its pointers.

#include <atomic>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

#include "zowlp.h"

namespace {

std::atomic<int> g_liveObjects{0};

// Counts the objects that embed it, so that tests can detect leaks of either kind.
struct LiveCounter {
  LiveCounter() { g_liveObjects.fetch_add(1, std::memory_order_relaxed); }
  LiveCounter(const LiveCounter&) = delete;
  LiveCounter& operator=(const LiveCounter&) = delete;
  ~LiveCounter() { g_liveObjects.fetch_sub(1, std::memory_order_relaxed); }
};


// A valid list of codes, or false. Row sets pass allowRowSet false: a row set
// nested in a row would have no owner that could ever destroy it.
bool isValidTypeList(const char* codes, bool allowRowSet) {
  for (const char* c = codes; *c; ++c) {
    int code = static_cast<unsigned char>(*c);
    if (!zowlpIsKnownType(code)) return false;
    if (!allowRowSet && code == WLP_TYPE_ROWSET) return false;
  }
  return true;
}

zowlpParameter nullRecord(int type) {
  zowlpParameter record;
  std::memset(&record, 0, sizeof record);
  record.type = type;
  return record;
}

// A heap copy of `length` bytes, plus a NUL so that a copied text stays a C string.
std::unique_ptr<char[]> copyBuffer(const void* data, int length) {
  std::unique_ptr<char[]> copy(new (std::nothrow) char[static_cast<size_t>(length) + 1]);
  if (!copy) return copy;
  if (length > 0) std::memcpy(copy.get(), data, static_cast<size_t>(length));
  copy[length] = '\0';
  return copy;
}

// The records of one row live in one heap array that never moves, so that the
// pointers handed out by nextRow and rowAt stay valid while the row set grows.
struct Row {
  std::unique_ptr<zowlpParameter[]> records;
  std::vector<std::unique_ptr<char[]>> buffers;
};

// One output of a response and what the response owns behind it.
struct Output {
  std::unique_ptr<char[]> buffer;
  void* adopted = nullptr;
  void (*release)(void*) = nullptr;
  zowlpRowSet* rowSet = nullptr;
};

}  // namespace

struct zowlpRowSet {
  LiveCounter live;
  std::string columns;
  std::vector<std::unique_ptr<Row>> rows;
  // Reading is logically const for the owner of the row set, but moves the cursor.
  mutable size_t cursor = 0;
  int failNextAt = -1;
  int failNextStatus = 0;
  int failAddAt = -1;
  int failAddStatus = 0;
};

struct zowlpResponse {
  LiveCounter live;
  std::vector<zowlpParameter> records;
  std::vector<Output> outputs;
  bool hasError = false;
  int errorCode = 0;
  std::string errorText;
  int failParametersStatus = 0;

  ~zowlpResponse() {
    for (size_t i = 0; i < outputs.size(); ++i) dropOutput(i);
  }

  // Frees what the response holds behind output `index`. A row set is destroyed
  // only while the record still points to it: a caller that cleared the record
  // has taken the row set over.
  void dropOutput(size_t index) {
    Output& out = outputs[index];
    out.buffer.reset();
    if (out.adopted && out.release) out.release(out.adopted);
    out.adopted = nullptr;
    out.release = nullptr;
    if (out.rowSet && records[index].value.rowSet == out.rowSet) {
      zowlpRowSet_destroy(out.rowSet);
    }
    out.rowSet = nullptr;
  }
};

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

// The output at `index` when it exists and has the setter's type.
int checkOutput(zowlpResponse* response, int index, int type) {
  if (!response || index < 0 ||
      static_cast<size_t>(index) >= response->records.size()) {
    return WLP_ERR_ARGUMENT;
  }
  if (response->records[index].type != type) return WLP_ERR_TYPE;
  return WLP_OK;
}

// Replaces output `index` with a present value of its type; the previous value
// and whatever the response held behind it are dropped first.
zowlpParameter& resetOutput(zowlpResponse* response, int index) {
  response->dropOutput(static_cast<size_t>(index));
  zowlpParameter& record = response->records[index];
  record = nullRecord(record.type);
  record.present = 1;
  return record;
}

int setBuffer(zowlpResponse* response, int index, int type, const void* data,
              int length) {
  int status = checkOutput(response, index, type);
  if (status != WLP_OK) return status;
  if (length < 0 || (data == nullptr && length > 0)) return WLP_ERR_ARGUMENT;
  std::unique_ptr<char[]> copy = copyBuffer(data, length);
  if (!copy) return WLP_ERR_MEMORY;
  zowlpParameter& record = resetOutput(response, index);
  if (type == WLP_TYPE_STRING) {
    record.value.string = copy.get();
  } else {
    record.value.bytes = copy.get();
  }
  record.length = length;
  response->outputs[index].buffer = std::move(copy);
  return WLP_OK;
}

}  // namespace

extern "C" {

// ---- Row sets ----------------------------------------------------------------

zowlpRowSet* zowlpRowSet_create(const char* columnTypes) {
  if (!columnTypes || !*columnTypes || !isValidTypeList(columnTypes, false)) {
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
  if (rowSet->failAddAt >= 0 &&
      rowSet->rows.size() == static_cast<size_t>(rowSet->failAddAt)) {
    return rowSet->failAddStatus;
  }
  try {
    return addRowChecked(rowSet, row);
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
  if (rowSet->failNextAt >= 0 &&
      rowSet->cursor == static_cast<size_t>(rowSet->failNextAt)) {
    return rowSet->failNextStatus;
  }
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

// ---- Responses ---------------------------------------------------------------

zowlpResponse* zowlpResponse_create(const char* signature) {
  if (!signature || !isValidTypeList(signature, true)) return nullptr;
  try {
    auto response = std::make_unique<zowlpResponse>();
    for (const char* c = signature; *c; ++c) {
      response->records.push_back(nullRecord(static_cast<unsigned char>(*c)));
    }
    response->outputs.resize(response->records.size());
    return response.release();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

zowlpResponse* zowlpResponse_createError(int code, const char* text) {
  try {
    auto response = std::make_unique<zowlpResponse>();
    response->hasError = true;
    response->errorCode = code;
    response->errorText = text ? text : "";
    return response.release();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

int zowlpResponse_parameters(zowlpResponse* response, int* count,
                             zowlpParameter** records) {
  if (count) *count = 0;
  if (records) *records = nullptr;
  if (!response || !count || !records) return WLP_ERR_ARGUMENT;
  if (response->failParametersStatus != 0) {
    int status = response->failParametersStatus;
    response->failParametersStatus = 0;
    return status;
  }
  *count = static_cast<int>(response->records.size());
  *records = response->records.empty() ? nullptr : response->records.data();
  return WLP_OK;
}

void zowlpResponse_destroy(zowlpResponse* response) { delete response; }

int zowlpError_code(zowlpResponse* response, int* code) {
  if (!response || !code) return WLP_ERR_ARGUMENT;
  if (!response->hasError) return WLP_ERR_NO_ERROR;
  *code = response->errorCode;
  return WLP_OK;
}

int zowlpError_text(zowlpResponse* response, char** text, int* length) {
  if (!response || !text || !length) return WLP_ERR_ARGUMENT;
  if (!response->hasError) return WLP_ERR_NO_ERROR;
  *text = &response->errorText[0];
  *length = static_cast<int>(response->errorText.size());
  return WLP_OK;
}

int zowlpResponse_setBool(zowlpResponse* response, int index, bool value) {
  int status = checkOutput(response, index, WLP_TYPE_BOOL);
  if (status != WLP_OK) return status;
  resetOutput(response, index).value.boolean = value ? 1 : 0;
  return WLP_OK;
}

int zowlpResponse_setInt(zowlpResponse* response, int index, int32_t value) {
  int status = checkOutput(response, index, WLP_TYPE_INT);
  if (status != WLP_OK) return status;
  resetOutput(response, index).value.integer = value;
  return WLP_OK;
}

int zowlpResponse_setObject(zowlpResponse* response, int index, int64_t handle) {
  int status = checkOutput(response, index, WLP_TYPE_OBJECT);
  if (status != WLP_OK) return status;
  resetOutput(response, index).value.object = handle;
  return WLP_OK;
}

int zowlpResponse_setString(zowlpResponse* response, int index, const char* text,
                            int length) {
  if (!text) return WLP_ERR_ARGUMENT;
  return setBuffer(response, index, WLP_TYPE_STRING, text, length);
}

int zowlpResponse_setBytes(zowlpResponse* response, int index, const void* data,
                           int length) {
  return setBuffer(response, index, WLP_TYPE_BYTES, data, length);
}

// On failure the buffer stays with the caller and `release` is not called.
int zowlpResponse_adoptBytes(zowlpResponse* response, int index, void* data,
                             int length, void (*release)(void*)) {
  int status = checkOutput(response, index, WLP_TYPE_BYTES);
  if (status != WLP_OK) return status;
  if (!data || !release || length < 0) return WLP_ERR_ARGUMENT;
  zowlpParameter& record = resetOutput(response, index);
  record.value.bytes = data;
  record.length = length;
  response->outputs[index].adopted = data;
  response->outputs[index].release = release;
  return WLP_OK;
}

// On failure the row set stays with the caller.
int zowlpResponse_setRowSet(zowlpResponse* response, int index,
                            zowlpRowSet* rowSet) {
  int status = checkOutput(response, index, WLP_TYPE_ROWSET);
  if (status != WLP_OK) return status;
  if (!rowSet) return WLP_ERR_ARGUMENT;
  // Setting the row set it already holds must not destroy it on the way.
  if (response->outputs[index].rowSet == rowSet &&
      response->records[index].value.rowSet == rowSet) {
    return WLP_OK;
  }
  resetOutput(response, index).value.rowSet = rowSet;
  response->outputs[index].rowSet = rowSet;
  return WLP_OK;
}

// ---- Test hooks --------------------------------------------------------------

void zowlpResponse_testFailParameters(zowlpResponse* response, int status) {
  if (response) response->failParametersStatus = status;
}

void zowlpRowSet_testFailNextRowAt(zowlpRowSet* rowSet, int rowIndex, int status) {
  if (!rowSet) return;
  rowSet->failNextAt = status != WLP_OK ? rowIndex : -1;
  rowSet->failNextStatus = status;
}

void zowlpRowSet_testFailAddRowAt(zowlpRowSet* rowSet, int rowIndex, int status) {
  if (!rowSet) return;
  rowSet->failAddAt = status != WLP_OK ? rowIndex : -1;
  rowSet->failAddStatus = status;
}

int zowlpTestLiveObjects() { return g_liveObjects.load(std::memory_order_relaxed); }

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

// Responses of proxy calls on the wire-level parameter protocol.
//
// Responses cross a C boundary, so nothing here may throw: allocation failures
// become WLP_ERR_MEMORY (or a null response), and every entry point checks its
// pointers.

#include <new>

#include "wire_objects.h"

using zowlp::nullRecord;

// A row set is destroyed only while the record still points to it: a caller
// that cleared the record has taken the row set over.
void zowlpResponse::dropOutput(size_t index) {
  zowlp::Output& out = outputs[index];
  out.buffer.reset();
  if (out.adopted && out.release) out.release(out.adopted);
  out.adopted = nullptr;
  out.release = nullptr;
  if (out.rowSet && records[index].value.rowSet == out.rowSet) {
    zowlpRowSet_destroy(out.rowSet);
  }
  out.rowSet = nullptr;
}

namespace {

struct SpareResponse {
  void* memory = nullptr;
  ~SpareResponse() { ::operator delete(memory); }
};
thread_local SpareResponse t_spareResponse;

}  // namespace

// AddressSanitizer is left to see every response's memory die with it.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool kKeepSpare = false;
#else
constexpr bool kKeepSpare = true;
#endif

void* zowlpResponse::operator new(size_t size) {
  if (void* memory = kKeepSpare ? t_spareResponse.memory : nullptr) {
    t_spareResponse.memory = nullptr;
    return memory;
  }
  return ::operator new(size);
}

void zowlpResponse::operator delete(void* memory) {
  if (kKeepSpare && t_spareResponse.memory == nullptr) {
    t_spareResponse.memory = memory;
    return;
  }
  ::operator delete(memory);
}

namespace {

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
  std::unique_ptr<char[]> copy = zowlp::copyBuffer(data, length);
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

zowlpResponse* zowlpResponse_create(const char* signature) {
  if (!signature || !zowlp::isValidTypeList(signature, true)) return nullptr;
  try {
    auto response = std::make_unique<zowlpResponse>();
    const size_t count = std::strlen(signature);
    response->records.resize(count);
    response->outputs.resize(count);
    for (size_t i = 0; i < count; ++i) {
      response->records[i] = nullRecord(static_cast<unsigned char>(signature[i]));
    }
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
  if (int injected = response->failParameters.statusAt(0)) {
    response->failParameters = {};
    return injected;
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

}  // extern "C"

#include "record_conversion.h"

#include <cstring>
#include <memory>
#include <new>
#include <vector>

#include "call_scope.h"
#include "native_buffers.h"
#include "zojni.h"

namespace zojni {
namespace {

// The status of a JNI allocation that left an exception behind.
int pendingFailure(JNIEnv* env, int otherwise) {
  if (!env->ExceptionCheck()) return otherwise;
  env->ExceptionClear();
  return ZOJNI_ERR_MEMORY;
}

bool isPlainAscii(const char* text, size_t length) {
  for (size_t i = 0; i < length; ++i) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    if (c == 0 || c >= 0x80) return false;
  }
  return text[length] == '\0';
}

void appendUtf8(uint32_t cp, std::string* out) {
  if (cp < 0x80) {
    out->push_back(static_cast<char>(cp));
  } else if (cp < 0x800) {
    out->push_back(static_cast<char>(0xC0 | (cp >> 6)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else if (cp < 0x10000) {
    out->push_back(static_cast<char>(0xE0 | (cp >> 12)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else {
    out->push_back(static_cast<char>(0xF0 | (cp >> 18)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out->push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  }
}

void freeHeapBytes(void* data) { delete[] static_cast<char*>(data); }

int rowSetToJava(JNIEnv* env, const RuntimeClasses& rc, const zowlpRowSet* rows,
                 jobject* out) {
  const char* types = zowlpRowSet_columnTypes(rows);
  std::string codes = types != nullptr ? types : "";
  for (char c : codes) {
    if (!isWireType(c) || c == WLP_TYPE_ROWSET) return ZOJNI_ERR_INPUT_TYPE;
  }
  LocalRef<jstring> typeText(env, env->NewStringUTF(codes.c_str()));
  if (env->ExceptionCheck() || !typeText) return pendingFailure(env, ZOJNI_ERR_MEMORY);
  LocalRef<jobject> set(env, env->NewObject(rc.rowSetClass.asClass(), rc.rowSetNew,
                                            typeText.get()));
  if (env->ExceptionCheck() || !set) return pendingFailure(env, ZOJNI_ERR_MEMORY);
  int count = zowlpRowSet_getRows(rows);
  const jsize columns = static_cast<jsize>(codes.size());
  for (int i = 0; i < count; ++i) {
    zowlpParameter* row = nullptr;
    if (zowlpRowSet_rowAt(rows, i, &row) != WLP_OK || row == nullptr) {
      return ZOJNI_ERR_INPUT_TYPE;
    }
    LocalRef<jobjectArray> values(
        env, env->NewObjectArray(columns, rc.objectClass.asClass(), nullptr));
    if (env->ExceptionCheck() || !values) return pendingFailure(env, ZOJNI_ERR_MEMORY);
    for (jsize c = 0; c < columns; ++c) {
      if (row[c].type != codes[c]) return ZOJNI_ERR_INPUT_TYPE;
      jobject value = nullptr;
      int status = toJava(env, rc, row[c], &value);
      if (status != ZOJNI_OK) return status;
      LocalRef<jobject> owned(env, value);
      env->SetObjectArrayElement(values.get(), c, value);
    }
    LocalRef<jobject> self(env, env->CallObjectMethod(set.get(), rc.rowSetAdd, values.get()));
    if (env->ExceptionCheck()) return pendingFailure(env, ZOJNI_ERR_INPUT_TYPE);
  }
  *out = set.release();
  return ZOJNI_OK;
}

// Bytes of an output value into output `index`: adopted when they are a native
// buffer of this call, copied otherwise.
int bytesOutput(JNIEnv* env, const RuntimeClasses& rc, jobject value, CallScope* scope,
                zowlpResponse* response, int index) {
  if (env->IsInstanceOf(value, rc.byteArrayClass.asClass())) {
    jbyteArray array = static_cast<jbyteArray>(value);
    jsize n = env->GetArrayLength(array);
    // Copied straight into a buffer the response adopts: one copy, and no
    // allocation while the JVM holds the array for us. The NUL after the bytes
    // matches what the response's own copies carry.
    std::unique_ptr<char[]> copy(new (std::nothrow) char[static_cast<size_t>(n) + 1]);
    if (!copy) return ZOJNI_ERR_MEMORY;
    env->GetByteArrayRegion(array, 0, n, reinterpret_cast<jbyte*>(copy.get()));
    if (env->ExceptionCheck()) return pendingFailure(env, ZOJNI_ERR_MEMORY);
    copy[n] = '\0';
    if (zowlpResponse_adoptBytes(response, index, copy.get(), n, &freeHeapBytes) != WLP_OK) {
      return ZOJNI_ERR_MEMORY;
    }
    copy.release();
    return ZOJNI_OK;
  }
  if (!env->IsInstanceOf(value, rc.byteBufferClass.asClass())) return ZOJNI_ERR_OUTPUT_TYPE;
  char* base = static_cast<char*>(env->GetDirectBufferAddress(value));
  if (base == nullptr) {  // a heap buffer
    LocalRef<jbyteArray> copy(env, static_cast<jbyteArray>(env->CallStaticObjectMethod(
        rc.nativeMemoryClass.asClass(), rc.heapRemaining, value)));
    if (env->ExceptionCheck() || !copy) return pendingFailure(env, ZOJNI_ERR_MEMORY);
    return bytesOutput(env, rc, copy.get(), scope, response, index);
  }
  const jint position = env->GetIntField(value, rc.bufferPosition);
  const jint limit = env->GetIntField(value, rc.bufferLimit);
  if (position < 0 || limit < position) return ZOJNI_ERR_OUTPUT_TYPE;
  if (position == 0 && scope != nullptr && scope->adopt(base)) {
    if (zowlpResponse_adoptBytes(response, index, base, limit, &freeNativeBuffer) != WLP_OK) {
      freeNativeBuffer(base);
      return ZOJNI_ERR_MEMORY;
    }
    return ZOJNI_OK;
  }
  return zowlpResponse_setBytes(response, index, base + position, limit - position) == WLP_OK
             ? ZOJNI_OK
             : ZOJNI_ERR_MEMORY;
}

int rowSetFromJava(JNIEnv* env, const RuntimeClasses& rc, jobject set, zowlpRowSet** out);

// One Java value as a record of type `code`; texts point into `storage`, which
// the caller keeps until the record has been copied.
int toRecord(JNIEnv* env, const RuntimeClasses& rc, jobject value, char code,
             zowlpParameter* record, std::string* storage) {
  std::memset(record, 0, sizeof(*record));
  record->type = code;
  if (value == nullptr) return ZOJNI_OK;
  record->present = 1;
  switch (code) {
    case WLP_TYPE_OBJECT:
      if (!env->IsInstanceOf(value, rc.longClass.asClass())) return ZOJNI_ERR_OUTPUT_TYPE;
      record->value.object = env->GetLongField(value, rc.longValue);
      return ZOJNI_OK;
    case WLP_TYPE_BOOL:
      if (!env->IsInstanceOf(value, rc.booleanClass.asClass())) return ZOJNI_ERR_OUTPUT_TYPE;
      record->value.boolean = env->GetBooleanField(value, rc.booleanValue) ? 1 : 0;
      return ZOJNI_OK;
    case WLP_TYPE_INT:
      if (!env->IsInstanceOf(value, rc.integerClass.asClass())) return ZOJNI_ERR_OUTPUT_TYPE;
      record->value.integer = env->GetIntField(value, rc.intValue);
      return ZOJNI_OK;
    case WLP_TYPE_STRING:
      if (!env->IsInstanceOf(value, rc.stringClass.asClass())) return ZOJNI_ERR_OUTPUT_TYPE;
      if (!javaToUtf8(env, static_cast<jstring>(value), storage)) {
        return pendingFailure(env, ZOJNI_ERR_MEMORY);
      }
      record->value.string = storage->c_str();
      record->length = static_cast<int32_t>(storage->size());
      return ZOJNI_OK;
    case WLP_TYPE_BYTES: {
      if (env->IsInstanceOf(value, rc.byteArrayClass.asClass())) {
        jbyteArray array = static_cast<jbyteArray>(value);
        storage->resize(static_cast<size_t>(env->GetArrayLength(array)));
        env->GetByteArrayRegion(array, 0, static_cast<jsize>(storage->size()),
                                reinterpret_cast<jbyte*>(&(*storage)[0]));
      } else if (env->IsInstanceOf(value, rc.byteBufferClass.asClass())) {
        LocalRef<jbyteArray> copy(env, static_cast<jbyteArray>(env->CallStaticObjectMethod(
            rc.nativeMemoryClass.asClass(), rc.heapRemaining, value)));
        if (env->ExceptionCheck() || !copy) return pendingFailure(env, ZOJNI_ERR_MEMORY);
        return toRecord(env, rc, copy.get(), code, record, storage);
      } else {
        return ZOJNI_ERR_OUTPUT_TYPE;
      }
      record->value.bytes = storage->data();
      record->length = static_cast<int32_t>(storage->size());
      return ZOJNI_OK;
    }
    default:
      return ZOJNI_ERR_OUTPUT_TYPE;
  }
}

// Reads the bulk form of RowSet.encode() with every count checked against what
// is left, so that a malformed array is refused instead of read past its end.
class BulkReader {
 public:
  BulkReader(const char* data, size_t size) : at_(data), end_(data + size) {}
  bool take(size_t n, const char** bytes) {
    if (static_cast<size_t>(end_ - at_) < n) return false;
    *bytes = at_;
    at_ += n;
    return true;
  }
  bool byte(unsigned char* v) {
    const char* b;
    if (!take(1, &b)) return false;
    *v = static_cast<unsigned char>(*b);
    return true;
  }
  template <typename T>
  bool little(T* v) {
    const char* b;
    if (!take(sizeof(T), &b)) return false;
    uint64_t x = 0;
    for (size_t i = 0; i < sizeof(T); ++i) x |= uint64_t(static_cast<unsigned char>(b[i])) << (8 * i);
    *v = static_cast<T>(x);
    return true;
  }
  bool done() const { return at_ == end_; }

 private:
  const char* at_;
  const char* end_;
};

int rowSetFromJava(JNIEnv* env, const RuntimeClasses& rc, jobject set, zowlpRowSet** out) {
  if (!env->IsInstanceOf(set, rc.rowSetClass.asClass())) return ZOJNI_ERR_OUTPUT_TYPE;
  LocalRef<jbyteArray> encoded(env,
                               static_cast<jbyteArray>(env->CallObjectMethod(set, rc.rowSetEncode)));
  if (env->ExceptionCheck()) return pendingFailure(env, ZOJNI_ERR_OUTPUT_TYPE);
  if (!encoded) return ZOJNI_ERR_OUTPUT_TYPE;  // a row holds what its column cannot
  // One array per row set, copied into memory this thread keeps for the next.
  thread_local std::vector<char> bytes;
  const jsize size = env->GetArrayLength(encoded.get());
  try {
    bytes.resize(static_cast<size_t>(size));
  } catch (const std::bad_alloc&) {
    return ZOJNI_ERR_MEMORY;
  }
  env->GetByteArrayRegion(encoded.get(), 0, size, reinterpret_cast<jbyte*>(bytes.data()));
  if (env->ExceptionCheck()) return pendingFailure(env, ZOJNI_ERR_MEMORY);
  BulkReader in(bytes.data(), bytes.size());
  int32_t columns = 0;
  const char* codes = nullptr;
  if (!in.little(&columns) || columns <= 0 || columns > 255 ||
      !in.take(static_cast<size_t>(columns), &codes)) {
    return ZOJNI_ERR_OUTPUT_TYPE;
  }
  const std::string types(codes, static_cast<size_t>(columns));
  std::unique_ptr<zowlpRowSet, ZowlpRowSetDeleter> rows(zowlpRowSet_create(types.c_str()));
  if (!rows) return ZOJNI_ERR_MEMORY;
  int32_t count = 0;
  if (!in.little(&count) || count < 0) return ZOJNI_ERR_OUTPUT_TYPE;
  zowlpParameter records[256];
  for (int32_t r = 0; r < count; ++r) {
    for (int32_t c = 0; c < columns; ++c) {
      zowlpParameter& record = records[c];
      std::memset(&record, 0, sizeof record);
      record.type = static_cast<unsigned char>(types[c]);
      unsigned char present = 0;
      if (!in.byte(&present) || present > 1) return ZOJNI_ERR_OUTPUT_TYPE;
      record.present = present;
      if (present == 0) continue;
      bool ok = true;
      switch (record.type) {
        case WLP_TYPE_BOOL: {
          unsigned char b = 0;
          ok = in.byte(&b);
          record.value.boolean = b != 0 ? 1 : 0;
          break;
        }
        case WLP_TYPE_INT: ok = in.little(&record.value.integer); break;
        case WLP_TYPE_OBJECT: ok = in.little(&record.value.object); break;
        default: {  // texts and bytes
          int32_t length = 0;
          const char* data = nullptr;
          ok = in.little(&length) && length >= 0 && in.take(static_cast<size_t>(length), &data);
          record.value.bytes = data;
          record.length = length;
        }
      }
      if (!ok) return ZOJNI_ERR_OUTPUT_TYPE;
    }
    // Texts are not NUL-terminated in the array; the row set's copies are.
    const int added = zowlpRowSet_addRow(rows.get(), records);
    if (added != WLP_OK) return added == WLP_ERR_TYPE ? ZOJNI_ERR_OUTPUT_TYPE : ZOJNI_ERR_MEMORY;
  }
  if (!in.done()) return ZOJNI_ERR_OUTPUT_TYPE;
  *out = rows.release();
  return ZOJNI_OK;
}

}  // namespace

bool isWireType(int32_t code) {
  return code == WLP_TYPE_BYTES || code == WLP_TYPE_BOOL || code == WLP_TYPE_INT ||
         code == WLP_TYPE_OBJECT || code == WLP_TYPE_ROWSET || code == WLP_TYPE_STRING;
}

jstring newJavaString(JNIEnv* env, const char* utf8, size_t length) {
  if (isPlainAscii(utf8, length)) return env->NewStringUTF(utf8);
  const RuntimeClasses* rc = loadedRuntimeClasses();
  if (rc == nullptr) return nullptr;
  LocalRef<jbyteArray> bytes(env, env->NewByteArray(static_cast<jsize>(length)));
  if (!bytes) return nullptr;
  env->SetByteArrayRegion(bytes.get(), 0, static_cast<jsize>(length),
                          reinterpret_cast<const jbyte*>(utf8));
  return static_cast<jstring>(env->NewObject(rc->stringClass.asClass(), rc->stringFromBytes,
                                             bytes.get(), rc->utf8Charset.get()));
}

bool javaToUtf8(JNIEnv* env, jstring text, std::string* out) {
  out->clear();
  jsize n = env->GetStringLength(text);
  if (n == 0) return true;
  // Copied out first: the conversion below allocates as it goes, which it may
  // not do while the JVM holds the string for us.
  std::vector<jchar> chars(static_cast<size_t>(n));
  env->GetStringRegion(text, 0, n, chars.data());
  if (env->ExceptionCheck()) return false;
  out->reserve(static_cast<size_t>(n) + 8);
  for (jsize i = 0; i < n; ++i) {
    uint32_t unit = chars[i];
    if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < n && chars[i + 1] >= 0xDC00 &&
        chars[i + 1] <= 0xDFFF) {
      appendUtf8(0x10000 + ((unit - 0xD800) << 10) + (chars[i + 1] - 0xDC00), out);
      ++i;
    } else if (unit >= 0xD800 && unit <= 0xDFFF) {
      appendUtf8(0xFFFD, out);  // a lone surrogate has no UTF-8 form
    } else {
      appendUtf8(unit, out);
    }
  }
  return true;
}

int toJava(JNIEnv* env, const RuntimeClasses& rc, const zowlpParameter& record,
           jobject* out) {
  *out = nullptr;
  if (!isWireType(record.type)) return ZOJNI_ERR_INPUT_TYPE;
  if (!record.present) return ZOJNI_OK;
  switch (record.type) {
    case WLP_TYPE_OBJECT:
      *out = env->CallStaticObjectMethod(rc.longClass.asClass(), rc.longValueOf,
                                         static_cast<jlong>(record.value.object));
      break;
    case WLP_TYPE_BOOL:
      *out = env->CallStaticObjectMethod(rc.booleanClass.asClass(), rc.booleanValueOf,
                                         record.value.boolean ? JNI_TRUE : JNI_FALSE);
      break;
    case WLP_TYPE_INT:
      *out = env->CallStaticObjectMethod(rc.integerClass.asClass(), rc.integerValueOf,
                                         static_cast<jint>(record.value.integer));
      break;
    case WLP_TYPE_STRING: {
      // A text that its length disagrees with is refused, not guessed at; the
      // NUL is looked for no further than one past the length.
      const size_t length = static_cast<size_t>(record.length);
      if (record.value.string == nullptr || record.length < 0 ||
          strnlen(record.value.string, length + 1) != length) {
        return ZOJNI_ERR_ARGUMENT;
      }
      *out = newJavaString(env, record.value.string, length);
      break;
    }
    case WLP_TYPE_BYTES: {
      if (record.length < 0 || (record.value.bytes == nullptr && record.length > 0)) {
        return ZOJNI_ERR_ARGUMENT;
      }
      static char empty = 0;
      void* data = record.length > 0 ? const_cast<void*>(record.value.bytes) : &empty;
      LocalRef<jobject> writable(env, env->NewDirectByteBuffer(data, record.length));
      if (!writable) return pendingFailure(env, ZOJNI_ERR_MEMORY);
      // The caller's bytes are lent, not given: Java may read them only.
      *out = env->CallObjectMethod(writable.get(), rc.asReadOnlyBuffer);
      break;
    }
    case WLP_TYPE_ROWSET:
      if (record.value.rowSet == nullptr) return ZOJNI_ERR_ARGUMENT;
      return rowSetToJava(env, rc, record.value.rowSet, out);
  }
  if (*out == nullptr || env->ExceptionCheck()) {
    if (*out != nullptr) env->DeleteLocalRef(*out);
    *out = nullptr;
    return pendingFailure(env, ZOJNI_ERR_MEMORY);
  }
  return ZOJNI_OK;
}

int toResponse(JNIEnv* env, const RuntimeClasses& rc, jobjectArray outputs,
               const char* signature, CallScope* scope, zowlpResponse** response) {
  *response = nullptr;
  const size_t count = std::strlen(signature);
  if (count == 0) return ZOJNI_OK;  // nothing to return, whatever the method gave
  if (outputs == nullptr ||
      env->GetArrayLength(outputs) != static_cast<jsize>(count)) {
    return ZOJNI_ERR_OUTPUT_TYPE;
  }
  std::unique_ptr<zowlpResponse, ZowlpResponseDeleter> r(zowlpResponse_create(signature));
  if (!r) return ZOJNI_ERR_MEMORY;
  for (size_t i = 0; i < count; ++i) {
    const int index = static_cast<int>(i);
    LocalRef<jobject> value(env, env->GetObjectArrayElement(outputs, static_cast<jsize>(i)));
    if (!value) continue;  // the output stays null
    int status = ZOJNI_OK;
    const char code = signature[i];
    if (code == WLP_TYPE_BYTES) {
      status = bytesOutput(env, rc, value.get(), scope, r.get(), index);
    } else if (code == WLP_TYPE_ROWSET) {
      zowlpRowSet* rows = nullptr;
      status = rowSetFromJava(env, rc, value.get(), &rows);
      if (status == ZOJNI_OK && zowlpResponse_setRowSet(r.get(), index, rows) != WLP_OK) {
        zowlpRowSet_destroy(rows);
        status = ZOJNI_ERR_MEMORY;
      }
    } else if (isWireType(code)) {
      zowlpParameter record;
      std::string storage;
      status = toRecord(env, rc, value.get(), code, &record, &storage);
      if (status == ZOJNI_OK) {
        int set = WLP_OK;
        switch (code) {
          case WLP_TYPE_OBJECT: set = zowlpResponse_setObject(r.get(), index, record.value.object); break;
          case WLP_TYPE_BOOL: set = zowlpResponse_setBool(r.get(), index, record.value.boolean != 0); break;
          case WLP_TYPE_INT: set = zowlpResponse_setInt(r.get(), index, record.value.integer); break;
          default: set = zowlpResponse_setString(r.get(), index, storage.c_str(),
                                                 static_cast<int>(storage.size()));
        }
        if (set != WLP_OK) status = ZOJNI_ERR_MEMORY;
      }
    } else {
      status = ZOJNI_ERR_OUTPUT_TYPE;
    }
    if (status != ZOJNI_OK) return status;
  }
  *response = r.release();
  return ZOJNI_OK;
}

}  // namespace zojni

// Row sets of the wire-level parameter protocol, and the type codes they share
// with responses.
//
// Everything here crosses a C boundary, so nothing may throw: allocation
// failures become WLP_ERR_MEMORY (or a null object), and every entry point
// checks its pointers.

#include <mutex>
#include <new>

#include "wire_objects.h"

namespace zowlp {

namespace {

#if defined(__SANITIZE_ADDRESS__)
#define ZOWLP_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZOWLP_ADDRESS_SANITIZER 1
#endif
#endif

#ifdef ZOWLP_ADDRESS_SANITIZER
constexpr size_t kKeptBlocks = 0;
#else
// 8 MiB: a listing of about 13,000 entries reuses every block of the one before.
constexpr size_t kKeptBlocks = 128;
#endif

struct KeptBlocks {
  std::mutex lock;
  std::vector<void*> blocks;
};

// Never destroyed: row sets may still be released while the process exits.
KeptBlocks* keptBlocks() {
  static KeptBlocks* kept = [] {
    auto* made = new (std::nothrow) KeptBlocks;
    if (made != nullptr) {
      try {
        made->blocks.reserve(kKeptBlocks);
      } catch (const std::bad_alloc&) {
        delete made;
        made = nullptr;
      }
    }
    return made;
  }();
  return kept;
}

}  // namespace

void* takeBlock() {
  if (KeptBlocks* kept = kKeptBlocks > 0 ? keptBlocks() : nullptr) {
    std::lock_guard<std::mutex> hold(kept->lock);
    if (!kept->blocks.empty()) {
      void* block = kept->blocks.back();
      kept->blocks.pop_back();
      return block;
    }
  }
  return ::operator new(kBlockBytes);
}

void giveBlock(void* block) {
  if (KeptBlocks* kept = kKeptBlocks > 0 ? keptBlocks() : nullptr) {
    std::lock_guard<std::mutex> hold(kept->lock);
    // Reserved up front: keeping a block never allocates.
    if (kept->blocks.size() < kKeptBlocks) {
      kept->blocks.push_back(block);
      return;
    }
  }
  ::operator delete(block);
}

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

// The text or bytes of a string or bytes record.
const void* bufferOf(const zowlpParameter& record) {
  return record.type == WLP_TYPE_STRING ? static_cast<const void*>(record.value.string)
                                        : record.value.bytes;
}

// Checks one record against its column; the bytes of a present text or byte
// buffer (with the NUL a copy gets) are added to `bytes`.
int checkRecord(const zowlpParameter& from, int columnType, size_t* bytes) {
  if (from.type != columnType) return WLP_ERR_TYPE;
  if (!from.present) return WLP_OK;
  switch (columnType) {
    case WLP_TYPE_STRING:
    case WLP_TYPE_BYTES: {
      const void* data = bufferOf(from);
      if (from.length < 0 || (data == nullptr && from.length > 0)) {
        return WLP_ERR_ARGUMENT;
      }
      *bytes += static_cast<size_t>(from.length) + 1;
      return WLP_OK;
    }
    case WLP_TYPE_BOOL:
    case WLP_TYPE_INT:
    case WLP_TYPE_OBJECT:
      return WLP_OK;
    default:
      return WLP_ERR_TYPE;
  }
}

// Copies a checked record into `slot`, its text or bytes to `*text`.
void copyRecord(const zowlpParameter& from, int columnType, zowlpParameter* slot,
                char** text) {
  *slot = nullRecord(columnType);
  if (!from.present) return;
  slot->present = 1;
  switch (columnType) {
    case WLP_TYPE_STRING:
    case WLP_TYPE_BYTES: {
      const void* data = bufferOf(from);
      char* copy = *text;
      if (from.length > 0) std::memcpy(copy, data, static_cast<size_t>(from.length));
      copy[from.length] = '\0';
      *text += static_cast<size_t>(from.length) + 1;
      if (columnType == WLP_TYPE_STRING) {
        slot->value.string = copy;
      } else {
        slot->value.bytes = copy;
      }
      slot->length = from.length;
      return;
    }
    case WLP_TYPE_BOOL:
      slot->value.boolean = from.value.boolean ? 1 : 0;
      return;
    case WLP_TYPE_INT:
      slot->value.integer = from.value.integer;
      return;
    default:
      slot->value.object = from.value.object;
      return;
  }
}

// Nothing is taken from the arenas until the whole row has passed its checks.
int addRowChecked(zowlpRowSet* rowSet, const zowlpParameter* row) {
  const size_t columns = rowSet->columns.size();
  size_t bytes = 0;
  for (size_t i = 0; i < columns; ++i) {
    int status = checkRecord(row[i], static_cast<unsigned char>(rowSet->columns[i]), &bytes);
    if (status != WLP_OK) return status;
  }
  zowlpParameter* records = rowSet->records.take(columns);
  char* text = bytes > 0 ? rowSet->texts.take(bytes) : nullptr;
  for (size_t i = 0; i < columns; ++i) {
    copyRecord(row[i], static_cast<unsigned char>(rowSet->columns[i]), &records[i], &text);
  }
  rowSet->rows.push_back(records);
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
  *row = rowSet->rows[rowSet->cursor++];
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
  *row = rowSet->rows[index];
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

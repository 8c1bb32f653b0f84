// The objects behind the opaque row-set and response handles, shared by the two
// files that implement them.
#pragma once

#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "zowlp.h"

#ifdef ZOH_TEST_HOOKS
#include <atomic>
#endif

namespace zowlp {

#ifdef ZOH_TEST_HOOKS
// Row sets and responses alive in the process, so that tests can detect leaks.
inline std::atomic<int> g_liveObjects{0};
struct LiveCount {
  LiveCount() { g_liveObjects.fetch_add(1, std::memory_order_relaxed); }
  LiveCount(const LiveCount&) = delete;
  LiveCount& operator=(const LiveCount&) = delete;
  ~LiveCount() { g_liveObjects.fetch_sub(1, std::memory_order_relaxed); }
};
// A status that an operation returns instead of working, once it reaches `at`.
struct InjectedFailure {
  long at = -1;
  int status = 0;
  int statusAt(size_t index) const {
    return at >= 0 && index == static_cast<size_t>(at) ? status : WLP_OK;
  }
};
#else
// Shipped builds count nothing and inject nothing: the checks fold away.
struct LiveCount {};
struct InjectedFailure {
  constexpr int statusAt(size_t) const { return WLP_OK; }
};
#endif

// A valid list of codes, or false. Row sets pass allowRowSet false: a row set
// nested in a row would have no owner that could ever destroy it.
bool isValidTypeList(const char* codes, bool allowRowSet);

inline zowlpParameter nullRecord(int type) {
  zowlpParameter record;
  std::memset(&record, 0, sizeof record);
  record.type = type;
  return record;
}

// A heap copy of `length` bytes, plus a NUL so that a copied text stays a C
// string; null when out of memory.
std::unique_ptr<char[]> copyBuffer(const void* data, int length);

// The largest block of a row set's storage, and the only size kept for reuse.
inline constexpr size_t kBlockBytes = 64 * 1024;

// Row sets come and go with every listing, and a listing of 10,000 entries
// fills about 6 MiB of blocks. Freed, those megabytes sat at the top of the C
// library's heap, which handed them back to the kernel, and the next listing
// took a page fault for every 4 KiB it wrote: a third of an HDFS walk's time.
// Full-size blocks are therefore kept for the next row set, up to a bound.
// Shipped builds only: under AddressSanitizer every block goes back to the
// allocator, so that a row read after its row set is gone is still caught.
void* takeBlock();              // kBlockBytes, uninitialised; throws std::bad_alloc
void giveBlock(void* block);    // a block from takeBlock

// Storage that hands out pieces and never moves them, so that the pointers
// handed out by nextRow and rowAt stay valid while the row set grows. Blocks
// double from a small first one, so a row set of one entry stays small and a
// listing of thousands makes a few dozen allocations instead of several per row.
// T must be trivial: pieces are handed out uninitialised.
template <typename T>
class Arena {
 public:
  Arena() = default;
  Arena(const Arena&) = delete;
  Arena& operator=(const Arena&) = delete;
  ~Arena() {
    for (T* block : full_) giveBlock(block);
  }

  // `n` uninitialised pieces; throws std::bad_alloc.
  T* take(size_t n) {
    if (n > left_) {
      const size_t size = n > next_ ? n : next_;
      if (size == kLargest) {
        // Room first, so that the block is never lost to a failed push.
        if (full_.size() == full_.capacity()) full_.reserve(full_.size() * 2 + 4);
        full_.push_back(static_cast<T*>(takeBlock()));
        at_ = full_.back();
      } else {
        other_.emplace_back(new T[size]);
        at_ = other_.back().get();
      }
      left_ = size;
      if (next_ < kLargest) next_ *= 2;
      if (next_ > kLargest) next_ = kLargest;
    }
    T* piece = at_;
    at_ += n;
    left_ -= n;
    return piece;
  }

 private:
  static_assert(std::is_trivial_v<T>, "pieces are handed out uninitialised");
  static constexpr size_t kLargest = kBlockBytes / sizeof(T);
  std::vector<T*> full_;  // blocks of kLargest, from takeBlock
  std::vector<std::unique_ptr<T[]>> other_;
  T* at_ = nullptr;
  size_t left_ = 0;
  size_t next_ = 512 / sizeof(T) > 0 ? 512 / sizeof(T) : 1;
};

// One output of a response and what the response owns behind it.
struct Output {
  std::unique_ptr<char[]> buffer;
  void* adopted = nullptr;
  void (*release)(void*) = nullptr;
  zowlpRowSet* rowSet = nullptr;
};

// A fixed number of elements, sized once: a response of up to kInline outputs
// (every call the library makes) keeps them inside itself.
template <typename T, size_t kInline>
class Slots {
 public:
  // Called once, on a fresh object; throws std::bad_alloc.
  void resize(size_t n) {
    if (n > kInline) {
      heap_.reset(new T[n]());
      data_ = heap_.get();
    }
    size_ = n;
  }
  size_t size() const { return size_; }
  bool empty() const { return size_ == 0; }
  T* data() { return data_; }
  T& operator[](size_t i) { return data_[i]; }

 private:
  T inline_[kInline];
  std::unique_ptr<T[]> heap_;
  T* data_ = inline_;
  size_t size_ = 0;
};

}  // namespace zowlp

struct zowlpRowSet {
  zowlp::LiveCount live;
  std::string columns;
  std::vector<zowlpParameter*> rows;  // each the first of its row's records
  zowlp::Arena<zowlpParameter> records;
  zowlp::Arena<char> texts;  // the texts and bytes the records point to
  // Reading is logically const for the owner of the row set, but moves the cursor.
  mutable size_t cursor = 0;
  zowlp::InjectedFailure failNext;
  zowlp::InjectedFailure failAdd;
};

struct zowlpResponse {
  // A call's response lives until the next call on the same thread, as a read's
  // does until the next read: its memory is kept per thread for the next one.
  static void* operator new(size_t size);
  static void operator delete(void* memory);

  zowlp::LiveCount live;
  zowlp::Slots<zowlpParameter, 4> records;
  zowlp::Slots<zowlp::Output, 4> outputs;
  bool hasError = false;
  int errorCode = 0;
  std::string errorText;
  zowlp::InjectedFailure failParameters;

  ~zowlpResponse() {
    for (size_t i = 0; i < outputs.size(); ++i) dropOutput(i);
  }
  // Frees what the response holds behind output `index`.
  void dropOutput(size_t index);
};

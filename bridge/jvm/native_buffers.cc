#include "native_buffers.h"

#include <cstdlib>
#include <mutex>
#include <new>

namespace zojni {
namespace {

// A header before the bytes remembers the capacity, so that a returned buffer
// can be matched to a later request. 16 bytes keep the bytes aligned.
struct alignas(16) Header {
  std::size_t capacity;
};

// Buffers below this size are cheap for malloc itself; above it, reuse pays.
constexpr std::size_t kPooledMinimum = 64 * 1024;
constexpr int kSlots = 4;

// A spare is only looked at under the lock, so no other thread can take and
// free it while its capacity is read. Only pooled sizes reach the lock, and
// they come with a read of at least 64 KiB, beside which it costs nothing.
std::mutex g_spareLock;
Header* g_spare[kSlots];

Header* headerOf(void* data) { return static_cast<Header*>(data) - 1; }

// Reuse only a buffer that is not much larger than asked, so that small reads
// do not pin large blocks.
bool fits(const Header* h, std::size_t capacity) {
  return h->capacity >= capacity && h->capacity / 2 <= capacity;
}

// One buffer per thread, of any size, kept without a lock: a stream of reads
// on one thread gives each read's memory back before the next one asks.
struct ThreadSpare {
  Header* buffer = nullptr;
  ~ThreadSpare() { std::free(buffer); }
};
thread_local ThreadSpare t_spare;

Header* takeSpare(std::size_t capacity) {
  std::lock_guard<std::mutex> hold(g_spareLock);
  for (Header*& slot : g_spare) {
    if (slot != nullptr && fits(slot, capacity)) {
      Header* h = slot;
      slot = nullptr;
      return h;
    }
  }
  return nullptr;
}

bool keepSpare(Header* h) {
  std::lock_guard<std::mutex> hold(g_spareLock);
  for (Header*& slot : g_spare) {
    if (slot == nullptr) {
      slot = h;
      return true;
    }
  }
  return false;
}

}  // namespace

void* allocateNativeBuffer(std::size_t capacity) {
  if (Header* h = t_spare.buffer; h != nullptr && fits(h, capacity)) {
    t_spare.buffer = nullptr;
    return h + 1;
  }
  if (capacity >= kPooledMinimum) {
    if (Header* h = takeSpare(capacity)) return h + 1;
  }
  Header* h = static_cast<Header*>(std::malloc(sizeof(Header) + (capacity > 0 ? capacity : 1)));
  if (h == nullptr) return nullptr;
  h->capacity = capacity;
  return h + 1;
}

void freeNativeBuffer(void* data) {
  if (data == nullptr) return;
  Header* h = headerOf(data);
  if (t_spare.buffer == nullptr) {
    t_spare.buffer = h;
    return;
  }
  if (h->capacity >= kPooledMinimum && keepSpare(h)) return;
  std::free(h);
}

}  // namespace zojni

#include "native_buffers.h"

#include <atomic>
#include <cstdlib>
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
std::atomic<Header*> g_spare[kSlots];

Header* headerOf(void* data) { return static_cast<Header*>(data) - 1; }

}  // namespace

void* allocateNativeBuffer(std::size_t capacity) {
  if (capacity >= kPooledMinimum) {
    for (auto& slot : g_spare) {
      Header* h = slot.load(std::memory_order_relaxed);
      // Reuse only a buffer that is not much larger than asked, so that small
      // reads do not pin large blocks.
      if (h != nullptr && h->capacity >= capacity && h->capacity / 2 <= capacity &&
          slot.compare_exchange_strong(h, nullptr, std::memory_order_acquire)) {
        return h + 1;
      }
    }
  }
  Header* h = static_cast<Header*>(std::malloc(sizeof(Header) + (capacity > 0 ? capacity : 1)));
  if (h == nullptr) return nullptr;
  h->capacity = capacity;
  return h + 1;
}

void freeNativeBuffer(void* data) {
  if (data == nullptr) return;
  Header* h = headerOf(data);
  if (h->capacity >= kPooledMinimum) {
    for (auto& slot : g_spare) {
      Header* empty = nullptr;
      if (slot.compare_exchange_strong(empty, h, std::memory_order_release)) return;
    }
  }
  std::free(h);
}

}  // namespace zojni

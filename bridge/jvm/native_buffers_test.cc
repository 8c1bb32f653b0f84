// The spare buffers of bytes outputs (the thread's own, then the shared pool):
// reuse by size, and many readers at once (this program also runs under
// ThreadSanitizer).
#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

#include "native_buffers.h"

namespace {

using zojni::allocateNativeBuffer;
using zojni::freeNativeBuffer;

constexpr std::size_t kKiB = 1024;

TEST(NativeBuffers, LargeBuffersComeBackOnlyForRequestsOfTheirSize) {
  void* large = allocateNativeBuffer(128 * kKiB);
  ASSERT_NE(large, nullptr);
  freeNativeBuffer(large);
  // Much smaller, or larger, than the spare: fresh memory.
  void* half = allocateNativeBuffer(63 * kKiB);
  void* larger = allocateNativeBuffer(129 * kKiB);
  EXPECT_NE(half, large);
  EXPECT_NE(larger, large);
  void* again = allocateNativeBuffer(100 * kKiB);
  EXPECT_EQ(again, large);
  std::memset(again, 1, 128 * kKiB);
  for (void* p : {half, larger, again}) freeNativeBuffer(p);

  // A small buffer, a null one and zero bytes are valid requests and releases.
  void* small = allocateNativeBuffer(1000);
  std::memset(small, 1, 1000);
  freeNativeBuffer(small);
  freeNativeBuffer(nullptr);
  void* zero = allocateNativeBuffer(0);
  EXPECT_NE(zero, nullptr);
  freeNativeBuffer(zero);
}

// More readers than spares, each with its own sizes: a buffer is never handed
// to two of them, and never freed while another one looks at it.
TEST(NativeBuffers, ConcurrentReadersNeverShareOrLoseABuffer) {
  constexpr int kThreads = 8;
  constexpr int kRounds = 500;
  std::vector<std::thread> threads;
  std::vector<int> corrupt(kThreads, 0);
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([t, &corrupt] {
      for (int i = 0; i < kRounds; ++i) {
        const std::size_t size = 64 * kKiB + static_cast<std::size_t>((t * 7919 + i * 104729) % (96 * kKiB));
        auto* bytes = static_cast<unsigned char*>(allocateNativeBuffer(size));
        if (bytes == nullptr) {
          ++corrupt[t];
          continue;
        }
        bytes[0] = bytes[size - 1] = static_cast<unsigned char>(t);
        std::this_thread::yield();
        if (bytes[0] != t || bytes[size - 1] != t) ++corrupt[t];
        freeNativeBuffer(bytes);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int t = 0; t < kThreads; ++t) EXPECT_EQ(corrupt[t], 0) << "thread " << t;
}

}  // namespace

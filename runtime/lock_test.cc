#include "zob_lock.h"

#include <gtest/gtest.h>

#include <thread>
#include <vector>

namespace {

TEST(ZoLockTest, ExcludesOtherThreads) {
  ZoLockHandle lock = zoLockCreate(0, 0);
  ASSERT_NE(nullptr, lock);
  // A read-modify-write split by a yield loses updates unless the lock holds.
  long counter = 0;
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&] {
      for (int i = 0; i < 20000; ++i) {
        ZoLockGuard guard(lock);
        long seen = counter;
        if (i % 1000 == 0) std::this_thread::yield();
        counter = seen + 1;
      }
    });
  }
  for (std::thread& t : threads) t.join();
  EXPECT_EQ(80000, counter);
  zoLockDestroy(lock);
}

}  // namespace

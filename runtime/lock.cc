#include "zob_lock.h"

#include <atomic>
#include <mutex>
#include <new>

struct ZoLock {
  std::mutex mutex;
};

#ifdef ZOH_TEST_HOOKS
namespace {

// Lets tests drive the "no lock could be made" paths of their callers.
std::atomic<int> failCreateCount{0};

bool consumeInjectedFailure() {
  int remaining = failCreateCount.load();
  while (remaining > 0) {
    if (failCreateCount.compare_exchange_weak(remaining, remaining - 1)) return true;
  }
  return false;
}

}  // namespace

void zoLockTestFailCreate(int count) { failCreateCount.store(count < 0 ? 0 : count); }
#endif

ZoLockHandle zoLockCreate(int /*kind*/, int /*flags*/) {
#ifdef ZOH_TEST_HOOKS
  if (consumeInjectedFailure()) return nullptr;
#endif
  return new (std::nothrow) ZoLock;
}

int zoLockGet(ZoLockHandle lock, int /*wait*/, int /*count*/) {
  if (lock == nullptr) return -1;
  lock->mutex.lock();
  return 0;
}

int zoLockRelease(ZoLockHandle lock) {
  if (lock == nullptr) return -1;
  lock->mutex.unlock();
  return 0;
}

void zoLockDestroy(ZoLockHandle lock) { delete lock; }

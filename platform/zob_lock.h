// Locks of the platform. Non-recursive: a thread that holds a lock and asks for
// it again deadlocks.
#pragma once

#include "zob_export.h"

struct ZoLock;
typedef ZoLock* ZoLockHandle;

// A new lock, or null when none can be made. The arguments are reserved (the
// library passes 0, 0).
ZOB_API ZoLockHandle zoLockCreate(int kind, int flags);
// Blocks until the calling thread holds the lock. `wait` and `count` are reserved
// (the library passes 1, 1). Returns 0.
ZOB_API int zoLockGet(ZoLockHandle lock, int wait, int count);
ZOB_API int zoLockRelease(ZoLockHandle lock);
ZOB_API void zoLockDestroy(ZoLockHandle lock);

// Holds a platform lock for one scope.
class ZoLockGuard {
 public:
  explicit ZoLockGuard(ZoLockHandle lock) : lock_(lock) { zoLockGet(lock_, 1, 1); }
  ~ZoLockGuard() { zoLockRelease(lock_); }
  ZoLockGuard(const ZoLockGuard&) = delete;
  ZoLockGuard& operator=(const ZoLockGuard&) = delete;

 private:
  ZoLockHandle lock_;
};

#ifdef ZOH_TEST_HOOKS
#include "zob_test_hooks.h"
#endif

#include "bridge_harness.h"

#include <malloc.h>

namespace jvmtest {

long nativeHeapInUse() {
  struct mallinfo2 info = mallinfo2();
  return static_cast<long>(info.uordblks + info.hblkhd);
}

}  // namespace jvmtest

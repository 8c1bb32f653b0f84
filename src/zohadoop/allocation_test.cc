// Objects are allocated without throwing; a refused allocation becomes message
// 444 and no half-made object is left behind.
#include <gmock/gmock.h>

#include <memory>
#include <new>

#include "ZOHadoopCfg.h"
#include "zohadoop/core_test_support.h"

namespace {
// Armed by a test for the next non-throwing allocation on its own thread only;
// the library's containers use the throwing form and are not affected.
thread_local bool failNextNothrowNew = false;
}  // namespace

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  if (failNextNothrowNew) {
    failNextNothrowNew = false;
    return nullptr;
  }
  try {
    return ::operator new(size);
  } catch (...) {
    return nullptr;
  }
}

namespace {

class AllocationTest : public CoreTest {};

TEST_F(AllocationTest, RefusedAllocationsBecomeMessage444) {
  ZobString err;
  failNextNothrowNew = true;
  EXPECT_EQ(zoHadoopCreate(&err), nullptr);
  EXPECT_TRUE(isMessage(err, 444)) << err.str();
  // Nothing was constructed, so nothing was logged.
  EXPECT_TRUE(log_.of("ZO.Hadoop").empty());

  InstanceOwner hadoop = makeInstance();
  failNextNothrowNew = true;
  EXPECT_EQ(hadoop->createConfiguration(&err), nullptr);
  EXPECT_TRUE(isMessage(err, 444)) << err.str();
  // The proxy is acquired before the allocation (every child kind shares it);
  // no configuration was asked for, and the next one is made.
  EXPECT_THAT(bridge().eventLog(), ::testing::ElementsAre("create HadoopClient"));
  EXPECT_TRUE(log_.of("ZO.Hadoop.Configuration").empty());
  EXPECT_NE(hadoop->createConfiguration(&err), nullptr) << err.str();
}

}  // namespace

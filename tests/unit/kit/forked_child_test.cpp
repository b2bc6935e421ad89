// Singletons in a child that was forked while a thread of its parent held their locks.
#include <gtest/gtest.h>

#include "cficontextsingleton.h"
#include "support/exiting_child.h"

namespace {

using namespace qmfi_pdk_4_4;

class Counted : public virtual CFiRefCount {};

struct ForkedPlugin;

TEST(ForkedChild, EndsThoughALockOfASingletonsObjectIsHeld) {
  const auto object = CFiContextSingleton<Counted, ForkedPlugin>::instance(false);
  const CFiCountLock lock(object->countMutex());
  EXPECT_EQ(statusOfExitingChild(), 0);
}

}  // namespace

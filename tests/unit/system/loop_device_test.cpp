// Loop devices as far as nobody needs to be root: tests of the testbed and the host attach real ones.
#include "system/loop_device.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/sysmacros.h>

#include <cerrno>

namespace qmfi_system {
namespace {

TEST(LoopDevice, IsKnownByItsNumber) {
  EXPECT_TRUE(isLoopDevice(makedev(7, 0)));
  EXPECT_TRUE(isLoopDevice(makedev(7, 300)));
  EXPECT_FALSE(isLoopDevice(makedev(8, 0)));
  EXPECT_EQ(loopDevice(12), makedev(7, 12));
}

TEST(LoopDevice, HasNoBackingWhereThereIsNone) {
  EXPECT_FALSE(loopBacking("/dev/null"));
  EXPECT_FALSE(loopBacking("/nowhere"));
  EXPECT_EQ(backingFileName(makedev(1, 3)), "");
}

TEST(LoopDevice, CannotBeAttachedWhereThereIsNone) {
  const Descriptor file(open("/dev/null", O_RDWR | O_CLOEXEC));
  EXPECT_FALSE(attachLoopDevice("/nowhere", file.get()).valid());
  EXPECT_EQ(errno, ENOENT);
  EXPECT_FALSE(attachLoopDevice("/dev/null", file.get()).valid());
  EXPECT_EQ(errno, ENOTTY);
}

TEST(LoopDevice, CannotBeDetachedWhereThereIsNone) {
  EXPECT_EQ(detachLoopDevice("/nowhere"), ENOENT);
  EXPECT_EQ(detachLoopDevice("/dev/null"), ENOTTY);
}

TEST(FreeLoopDevices, AreAskedForAtTheirDriver) {
  const Descriptor control(open("/dev/null", O_RDWR | O_CLOEXEC));
  FreeLoopDevices devices(control);
  EXPECT_LT(devices.next(), 0);
  EXPECT_EQ(errno, ENOTTY);
}

TEST(FreeLoopDevices, AreTriedAgainOnlyWhileSomebodyElseHoldsOne) {
  const Descriptor none;
  FreeLoopDevices devices(none);
  EXPECT_TRUE(devices.mayTryAgain(EBUSY));
  EXPECT_FALSE(devices.mayTryAgain(ENOENT));
  EXPECT_FALSE(devices.mayTryAgain(EPERM));
}

}  // namespace
}  // namespace qmfi_system

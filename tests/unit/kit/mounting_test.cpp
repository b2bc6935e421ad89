// How options of a mount become what the kernel is asked for.
#include <gtest/gtest.h>

#include "cfimounting.h"

namespace {

using namespace qmfi_pdk_4_4;

TEST(MountRequest, TellsFlagsFromWhatIsTheFileSystems) {
  const CFiMountRequest request = mountRequestOf("ro,nosuid,relatime,inode64,logbufs=8,nodev");
  EXPECT_EQ(request.flags, static_cast<unsigned long>(MS_RDONLY | MS_NOSUID | MS_RELATIME | MS_NODEV));
  EXPECT_EQ(request.data, "inode64,logbufs=8");
}

TEST(MountRequest, LeavesOutWhatIsShownOnly) {
  const CFiMountRequest request = mountRequestOf("rw,seclabel,rw");
  EXPECT_EQ(request.flags, 0UL);
  EXPECT_EQ(request.data, "");
}

TEST(MountRequest, HasEachOptionOnce) {
  EXPECT_EQ(mountRequestOf("nouuid,uuid,nouuid,uid").data, "nouuid,uuid,uid");
}

TEST(Unmount, OfWhatIsNoMountPointFailsWithAMessage) {
  try {
    unmountFileSystem("/no/such/directory", 0, CFiUnmount::byForce);
    FAIL();
  } catch (const CFiFailure& failure) {
    EXPECT_EQ(failure.status(), CFI_STATUS_FAILED);
    EXPECT_EQ(failure.id(), "MSG_ERROR_UNMOUNT");
    EXPECT_EQ(failure.arguments().front(), "/no/such/directory");
  }
}

TEST(MountPoint, ThatIsGoneIsRemovedAlready) {
  EXPECT_NO_THROW(removeMountPoint("/no/such/directory"));
}

TEST(MountedThere, IsForDevicesOnly) {
  try {
    isMountedThere("/dev/null", "/proc");
    FAIL();
  } catch (const CFiFailure& failure) {
    EXPECT_EQ(failure.status(), CFI_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(failure.id(), "MSG_ERROR_NOT_A_DEVICE");
  }
}

}  // namespace

// The mount points of paths.
#include "system/mount_point.h"

#include <gtest/gtest.h>

namespace qmfi_system {
namespace {

TEST(MountPoint, IsWhereTheFileSystemOfAPathIsMounted) {
  EXPECT_EQ(mountPointAbove("/proc/sys/kernel"), "/proc");
  EXPECT_EQ(mountPointAbove("/proc/"), "/proc");
  EXPECT_EQ(mountPointAbove("/"), "/");
}

TEST(MountPoint, IsFoundBehindSymbolicLinks) {
  EXPECT_EQ(mountPointAbove("/proc/self/root/proc/version"), "/proc");
}

TEST(MountPoint, OfNothingIsNone) {
  EXPECT_EQ(mountPointAbove("/proc/nothing/here"), "");
}

}  // namespace
}  // namespace qmfi_system

// What is told of thaws that fail.
#include "snapshot/thaw.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace qmfi_host {
namespace {

TEST(FailedThaw, LeavesItUncertainWhetherTheFileSystemIsFrozen) {
  for (const int error : {EIO, EPERM, ENXIO}) {
    const HostError failure = cannotBeThawed("/mnt/a", error);
    EXPECT_EQ(failure.exitStatus(), ExitStatus::freezeUncertain) << error;
    EXPECT_EQ(failure.object(), "/mnt/a");
  }
  EXPECT_STREQ(cannotBeThawed("/mnt/a", EIO).what(),
               "the file system on /mnt/a could not be thawed: Input/output error");
}

TEST(FailedThaw, OfAFileSystemThatCannotBeFrozenLeavesNothingUncertain) {
  for (const int error : {EOPNOTSUPP, ENOTTY}) {
    EXPECT_EQ(cannotBeThawed("/mnt/a", error).exitStatus(), ExitStatus::failed) << error;
  }
}

}  // namespace
}  // namespace qmfi_host

// The volume layer where it refuses: what it does with real volumes is tested with them.
#include "volume/reflink_splitter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/stat.h>

#include "../runtime/temporary_directory.h"
#include "failure/host_error.h"
#include "snapshot/thaw.h"
#include "volume/device_content.h"
#include "volume/loop_device.h"

namespace qmfi_host {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

TEST(ReflinkSplitter, RefusesAVolumeThatDoesNotConsistOfAFile) {
  EXPECT_THAT([] { ReflinkSplitter().plan("/dev/null", "17b4f33e"); },
              ThrowsMessage<HostError>("the volume /dev/null cannot be split: it does not consist of a file"));
  EXPECT_THAT([] { ReflinkSplitter().plan("/nonexistent", "17b4f33e"); },
              ThrowsMessage<HostError>("the device /nonexistent cannot be read: No such file or directory"));
}

TEST(ReflinkSplitter, FindsOutBeforeTheFreezeThatBlocksCannotBeShared) {
  const TemporaryDirectory directory;
  directory.write("volume", std::string(8192, 'x'));
  // No file system shares blocks with /dev/shm's.
  const SplitPlan plan{"/dev/x", "/dev/x-1", directory.file("volume"), "/dev/shm/qmfi-splitter-test", {}};
  EXPECT_THAT([&] { ReflinkSplitter().prepare(plan); },
              ThrowsMessage<HostError>(HasSubstr(" does not share blocks between files: ")));
  unlink(plan.snapshotFile.c_str());
}

TEST(ReflinkSplitter, DoesNotTakeAFileThatIsThereAlready) {
  const TemporaryDirectory directory;
  directory.write("volume", "x");
  directory.write("taken", "somebody else's");
  EXPECT_THROW(ReflinkSplitter().prepare({"/dev/x", "/dev/x-1", directory.file("volume"), directory.file("taken"), {}}),
               HostError);
  EXPECT_EQ(directory.read("taken"), "somebody else's");
}

TEST(ReflinkSplitter, ReleasesWhatIsNotThereWithoutAWord) {
  EXPECT_NO_THROW(
      ReflinkSplitter().release({"/dev/x", "/dev/shm/none", "/dev/shm/none", "/dev/shm/none", "/dev/shm/none"}));
}

TEST(ReflinkSplitter, ReleaseRemovesTheSnapshotsFile) {
  const TemporaryDirectory directory;
  directory.write("snapshot", "x");
  ReflinkSplitter().release({"/dev/x", "/dev/shm/none", "/dev/shm/none", directory.file("snapshot"), {}});
  EXPECT_FALSE(std::filesystem::exists(directory.file("snapshot")));
}

TEST(LoopDevice, IsNotOverAFileWhenOneOfThemIsMissingOrAnother) {
  const TemporaryDirectory directory;
  directory.write("file", "x");
  EXPECT_FALSE(isLoopDeviceOver("/dev/null", directory.file("file")));
  EXPECT_FALSE(isLoopDeviceOver("/nonexistent", directory.file("file")));
  EXPECT_FALSE(isLoopDeviceOver(directory.file("file"), directory.file("file")));
}

TEST(Thaw, LeavesAFileSystemAloneThatIsNotTheDevices) {
  EXPECT_NO_THROW(thawFileSystems({{"/proc", "/dev/null", FITHAW}, {"/nonexistent", "/nonexistent", FITHAW}}));
}

TEST(DeviceContent, IsAskedOfBlockDevicesOnly) {
  EXPECT_THAT([] { requireUnusedDevice("/dev/null"); }, ThrowsMessage<HostError>("/dev/null is not a block device"));
  EXPECT_THAT([] { requireUnusedDevice("/nonexistent"); },
              ThrowsMessage<HostError>("/nonexistent cannot be read: No such file or directory"));
}

}  // namespace
}  // namespace qmfi_host

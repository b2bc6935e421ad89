// Which mount points are opened. What is done to a file system is looked at where some are mounted.
#include "snapshot/mounted_file_system.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "failure/host_error.h"
#include "support/temporary_directory.h"

namespace qmfi_host {
namespace {

using testing::ThrowsMessage;

TEST(MountedFileSystemTest, IsNotOpenedByAPathThatIsNone) {
  EXPECT_THAT(
      [] {
        KernelFileSystems().open({"/none", "/dev/null"});
      },
      ThrowsMessage<HostError>("/none cannot be opened: No such file or directory"));
}

TEST(MountedFileSystemTest, IsNotOpenedByAFile) {
  EXPECT_THAT(
      [] {
        KernelFileSystems().open({"/dev/null", "/dev/null"});
      },
      ThrowsMessage<HostError>("/dev/null cannot be opened: Not a directory"));
}

// Opening it would wait for whoever writes to it.
TEST(MountedFileSystemTest, IsNotOpenedByAPipe) {
  const TemporaryDirectory directory;
  const std::string pipe = directory.path() + "/pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  EXPECT_THAT(
      [&] {
        KernelFileSystems().open({pipe, "/dev/null"});
      },
      ThrowsMessage<HostError>(pipe + " cannot be opened: Not a directory"));
}

TEST(MountedFileSystemTest, IsNotThatOfADeviceThatIsGone) {
  EXPECT_THAT(
      [] {
        KernelFileSystems().open({"/proc", "/dev/none"});
      },
      ThrowsMessage<HostError>("/dev/none cannot be read: No such file or directory"));
}

TEST(MountedFileSystemTest, IsNotThatOfWhatIsNoBlockDevice) {
  EXPECT_THAT(
      [] {
        KernelFileSystems().open({"/proc", "/dev/null"});
      },
      ThrowsMessage<HostError>(
          "/proc does not lead to the file system of /dev/null: another one has been mounted there, or the path "
          "has been changed; nothing was frozen, and \"findmnt --target /proc\" shows what is there"));
}

}  // namespace
}  // namespace qmfi_host

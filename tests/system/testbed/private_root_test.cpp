// The private root: what a program finds in it.
// The testbed is started with --set QUIESCENCE_TIMEOUT=10 --set QUIESCENCE_SERIAL_QUIESCENCE=1 and, for what stays, in
// the build tree's directory tests/system/testbed.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "build_tree.h"
#include "support/program_run.h"
#include "support/text_file.h"

namespace testbed_test {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;

mode_t modeOf(const std::string& path) {
  struct stat status {};
  return lstat(path.c_str(), &status) == 0 ? status.st_mode : 0;
}

TEST(PrivateRoot, TheMountTableIsARegularFile) {
  EXPECT_TRUE(S_ISREG(modeOf("/etc/mtab")));
}

TEST(PrivateRoot, TemporaryFilesAreForEverybody) {
  EXPECT_EQ(modeOf("/tmp"), static_cast<mode_t>(S_IFDIR | 01777));
  EXPECT_EQ(modeOf("/dev/shm"), static_cast<mode_t>(S_IFDIR | 01777));
}

TEST(PrivateRoot, TheUsualDevicesWork) {
  struct stat status {};
  ASSERT_EQ(stat("/dev/null", &status), 0);
  EXPECT_EQ(status.st_rdev, makedev(1, 3));
  EXPECT_EQ(status.st_mode, static_cast<mode_t>(S_IFCHR | 0666));
  const int terminal = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
  ASSERT_GE(terminal, 0);
  EXPECT_EQ(grantpt(terminal), 0);
  EXPECT_EQ(unlockpt(terminal), 0);
  EXPECT_STREQ(ptsname(terminal), "/dev/pts/0");
  close(terminal);
  EXPECT_EQ(run({"/bin/bash", "-c", "cat <(echo text) | tee /dev/stderr >/dev/stdout"}).output, "text\ntext\n");
}

TEST(PrivateRoot, NoDiskOfTheMachineIsInSight) {
  for (const auto& entry : fs::recursive_directory_iterator("/dev")) {
    struct stat status {};
    if (lstat(entry.path().c_str(), &status) == 0 && S_ISBLK(status.st_mode)) {
      EXPECT_EQ(major(status.st_rdev), 7u) << entry.path();
    }
  }
}

TEST(PrivateRoot, AVolumeHasABlockAndARawDevice) {
  struct stat block {};
  struct stat raw {};
  ASSERT_EQ(stat("/dev/qm/dsk/dg1/spare", &block), 0);
  ASSERT_EQ(stat("/dev/qm/rdsk/dg1/spare", &raw), 0);
  EXPECT_EQ(block.st_mode, static_cast<mode_t>(S_IFBLK | 0600));
  EXPECT_EQ(block.st_rdev, raw.st_rdev);
}

TEST(PrivateRoot, ADeviceLeadsToItsVolumeFile) {
  struct stat block {};
  ASSERT_EQ(stat("/dev/qm/dsk/dg1/spare", &block), 0);
  EXPECT_EQ(textOf("/sys/dev/block/7:" + std::to_string(minor(block.st_rdev)) + "/loop/backing_file"),
            "/qmfs-pool/dg1/spare\n");
  EXPECT_EQ(fs::file_size("/qmfs-pool/dg1/spare"), 320u << 20);
}

TEST(PrivateRoot, SettingsLandInTheConfiguration) {
  EXPECT_EQ(textOf("/etc/qmfi/qmfsfi.conf"),
            "[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT=10\nQUIESCENCE_SERIAL_QUIESCENCE=1\n");
}

TEST(PrivateRoot, TheLogDirectoryIsThere) {
  EXPECT_EQ(modeOf("/var/log/qmfi"), static_cast<mode_t>(S_IFDIR | 0700));
}

TEST(PrivateRoot, WhatTheBuildTreeHasBuiltIsInPlace) {
  const fs::path tree = QMFI_BINARY_DIR;
  for (const auto& [built, installed] : std::vector<std::pair<fs::path, fs::path>>{
           {"lib/libqmfsfi.so", "/usr/lib/qmfi/providers/libqmfsfi.so"},
           {"lib/qmfsfi.provider", "/usr/lib/qmfi/providers/qmfsfi.provider"},
           {"lib/libqmfi_pdk.so.4", "/usr/lib/x86_64-linux-gnu/libqmfi_pdk.so.4"},
           {"lib/qmfi/status-keeper", "/usr/lib/x86_64-linux-gnu/qmfi/status-keeper"},
           {"bin/qmfi", "/usr/bin/qmfi"},
           {"testbed/programs/mount.qmfs", "/sbin/mount.qmfs"},
           {"testbed/programs/umount.xfs", "/sbin/umount.xfs"}}) {
    if (!fs::exists(tree / built)) continue;
    EXPECT_TRUE(textOf(tree / built) == textOf(installed)) << installed;
  }
}

TEST(PrivateRoot, TheCommandStartsWhereItsCallerIs) {
  EXPECT_EQ(fs::current_path(), fs::path(QMFI_BINARY_DIR) / "tests/system/testbed");
}

TEST(PrivateRoot, OnlyProcessesOfTheTestbedAreInSight) {
  EXPECT_THAT(textOf("/proc/1/cmdline"), HasSubstr("qmfs-testbed-run"));
  EXPECT_EQ(getppid(), 1);
}

TEST(PrivateRoot, NothingInsideCanKillTheSupervisor) {
  EXPECT_EQ(kill(1, SIGKILL), 0);
  EXPECT_EQ(kill(1, SIGTERM), 0);
  EXPECT_EQ(kill(1, 0), 0);
}

TEST(PrivateRoot, FilesCanBeWrittenEverywhere) {
  for (const fs::path directory : {"/usr/lib", "/etc", "/tmp", "/var/tmp", QMFI_SOURCE_DIR}) {
    const fs::path file = directory / "qmfs-testbed-trace";
    std::ofstream(file) << "text";
    EXPECT_EQ(textOf(file), "text") << file;
  }
}

TEST(PrivateRoot, SharedMemoryIsItsOwn) {
  EXPECT_EQ(textOf("/proc/sysvipc/shm").find('\n'), textOf("/proc/sysvipc/shm").size() - 1) << "only the heading";
  EXPECT_GE(shmget(IPC_PRIVATE, 4096, IPC_CREAT | 0600), 0);
}

}  // namespace
}  // namespace testbed_test

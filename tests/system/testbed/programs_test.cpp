// The file system's own programs in the testbed: mkfs, fsck, fstyp, qmumount, and its package.
// Volumes: "data" mounted on /mnt/data, "spare" blank.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>

#include "support/freeze_requests.h"
#include "support/mount_lines.h"
#include "support/program_run.h"
#include "support/text_file.h"

namespace testbed_test {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

const std::string spareDevice = "/dev/qm/dsk/dg1/spare";
const std::string mountPoint = "/mnt/place";
const std::string fstyp = "/opt/KRIBqmfs/sbin/fstyp";
const std::string qmumount = "/opt/KRIB/bin/qmumount";

class Programs : public testing::Test {
 protected:
  void SetUp() override {
    mkdir(mountPoint.c_str(), 0755);
    run({"/bin/dd", "if=/dev/zero", "of=" + spareDevice, "bs=1M", "count=1"});
  }

  void TearDown() override {
    run({"/bin/umount", mountPoint});
    rmdir(mountPoint.c_str());
  }

  static int formatSpare() { return run({"/sbin/mkfs", "-t", "qmfs", "/dev/qm/rdsk/dg1/spare"}).status; }
  static Outcome mountSpare() { return run({"/bin/mount", "-t", "qmfs", spareDevice, mountPoint}); }
  static int checkSpare() { return run({"/sbin/fsck", "-y", "-t", "qmfs", spareDevice}).status; }
};

TEST_F(Programs, FstypNamesQmfs) {
  const Outcome outcome = run({fstyp, "/dev/qm/dsk/dg1/data"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, "qmfs\n");
}

TEST_F(Programs, FstypKnowsOtherTypesByTheirNames) {
  ASSERT_EQ(run({"/sbin/mkfs.xfs", "-q", "-K", "-f", spareDevice}).status, 0);
  EXPECT_EQ(run({fstyp, spareDevice}).output, "xfs\n");
}

TEST_F(Programs, FstypFailsOnABlankVolume) {
  const Outcome outcome = run({fstyp, spareDevice});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output, "fstyp: /dev/qm/dsk/dg1/spare: no file system is known there\n");
}

TEST_F(Programs, MkfsFormatsThroughTheRawDeviceWhateverWasThere) {
  EXPECT_EQ(formatSpare(), 0);
  EXPECT_EQ(formatSpare(), 0);
  EXPECT_EQ(mountSpare().status, 0);
}

TEST_F(Programs, FsckPassesACleanFileSystem) {
  ASSERT_EQ(formatSpare(), 0);
  EXPECT_EQ(checkSpare(), 0);
  EXPECT_EQ(mountSpare().status, 0);
}

TEST_F(Programs, FsckFailsOnABlankVolume) {
  EXPECT_EQ(checkSpare(), 8);
}

TEST_F(Programs, ADirtyFileSystemMountsOnlyAfterFsck) {
  ASSERT_EQ(formatSpare(), 0);
  ASSERT_EQ(run({"/opt/KRIBqmfs/sbin/markdirty", spareDevice}).status, 0);
  EXPECT_EQ(mountSpare().status, 32);
  EXPECT_EQ(checkSpare(), 0);
  EXPECT_EQ(mountSpare().status, 0);
}

TEST_F(Programs, FsckReplaysALogFirst) {
  ASSERT_EQ(formatSpare(), 0);
  ASSERT_EQ(mountSpare().status, 0);
  std::ofstream(mountPoint + "/file") << "text";
  // What a machine that has lost its power leaves behind: a log with work in it.
  ASSERT_EQ(run({"/usr/sbin/xfs_io", "-x", "-c", "shutdown -f", mountPoint}).status, 0);
  ASSERT_EQ(run({"/bin/umount", mountPoint}).status, 0);
  ASSERT_EQ(run({"/sbin/xfs_repair", spareDevice}).status, 2) << "the log was to be dirty";
  EXPECT_EQ(checkSpare(), 0);
  ASSERT_EQ(mountSpare().status, 0);
  EXPECT_EQ(access((mountPoint + "/file").c_str(), F_OK), 0);
}

TEST_F(Programs, FsckLeavesOtherTypesToThemselves) {
  ASSERT_EQ(run({"/sbin/mkfs.xfs", "-q", "-K", "-f", spareDevice}).status, 0);
  EXPECT_EQ(run({"/sbin/fsck", "-y", spareDevice}).status, 0);
}

TEST_F(Programs, FsckRefusesAMountedFileSystem) {
  EXPECT_EQ(run({"/sbin/fsck", "-y", "-t", "qmfs", "/dev/qm/dsk/dg1/data"}).status, 8);
}

TEST_F(Programs, QmumountUnmounts) {
  ASSERT_EQ(formatSpare(), 0);
  ASSERT_EQ(mountSpare().status, 0);
  EXPECT_EQ(run({qmumount, mountPoint}).status, 0);
  EXPECT_THAT(mountLines(mountPoint), IsEmpty());
}

TEST_F(Programs, QmumountWithoutForceIsRefusedWhileBusy) {
  ASSERT_EQ(formatSpare(), 0);
  ASSERT_EQ(mountSpare().status, 0);
  const OpenDirectory user(mountPoint);
  const Outcome outcome = run({qmumount, mountPoint});
  EXPECT_EQ(outcome.status, 32);
  EXPECT_THAT(outcome.output, HasSubstr("busy"));
  EXPECT_THAT(mountLines(mountPoint), SizeIs(1));
}

TEST_F(Programs, AForcedQmumountTakesTheFileSystemFromItsUsers) {
  ASSERT_EQ(formatSpare(), 0);
  ASSERT_EQ(mountSpare().status, 0);
  const int file = open((mountPoint + "/file").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_EQ(write(file, "x", 1), 1);
  const Outcome outcome = run({qmumount, "-o", "force", mountPoint});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, "");
  EXPECT_THAT(mountLines(mountPoint), IsEmpty());
  EXPECT_EQ(write(file, "x", 1), -1);
  EXPECT_EQ(errno, EIO);
  close(file);
  ASSERT_EQ(mountSpare().status, 0);
  EXPECT_EQ(textOf(mountPoint + "/file"), "x") << "what was written before is not lost";
}

TEST_F(Programs, AForcedQmumountOfNothingFails) {
  EXPECT_EQ(run({qmumount, "-o", "force", mountPoint}).status, 32);
}

TEST_F(Programs, AForcedQmumountRemovesALineThatNoMountBelongsTo) {
  ASSERT_EQ(formatSpare(), 0);
  ASSERT_EQ(mountSpare().status, 0);
  // Without its helper umount leaves the line where it is.
  ASSERT_EQ(run({"/bin/umount", "-i", mountPoint}).status, 0);
  ASSERT_THAT(mountLines(mountPoint), SizeIs(1));
  EXPECT_EQ(run({qmumount, "-o", "force", mountPoint}).status, 0);
  EXPECT_THAT(mountLines(mountPoint), IsEmpty());
}

TEST_F(Programs, QmumountExplainsItselfOtherwise) {
  for (const auto& words : std::vector<std::vector<std::string>>{
           {qmumount}, {qmumount, "-h"}, {qmumount, "-o", "gently", mountPoint}, {qmumount, "-o", "force"}}) {
    const Outcome outcome = run(words);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "usage: qmumount [-o force] MOUNTPOINT\n");
  }
}

TEST_F(Programs, ThePackageIsInstalledForEveryEnvironment) {
  for (const auto& environment : std::vector<std::vector<std::string>>{{}, {"LC_ALL=C", "PATH=/bin"}, {"HOME=/root"}}) {
    const Outcome outcome = run({"/bin/rpm", "-qa"}, environment);
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(outcome.output, "KRIBqmfs-7.0.0-1.noarch\n");
  }
}

TEST_F(Programs, ThePackageCanBeTakenAway) {
  const std::string database = "/var/lib/qmfs-testbed/rpm/rpmdb.sqlite";
  const std::string kept = textOf(database);
  EXPECT_EQ(run({"/bin/rpm", "-e", "--justdb", "KRIBqmfs"}).status, 0);
  EXPECT_EQ(run({"/bin/rpm", "-qa"}).output, "");
  std::ofstream(database, std::ios::binary) << kept;
}

}  // namespace
}  // namespace testbed_test

// Mounting and unmounting qmfs file systems in the testbed, and what /etc/mtab says about them.
// Volumes: "data" mounted on /mnt/data, "spare" formatted by nobody.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <fstream>
#include <thread>

#include "support/freeze_requests.h"
#include "support/mount_lines.h"
#include "support/program_run.h"
#include "support/text_file.h"

namespace testbed_test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;

const std::string dataDevice = "/dev/qm/dsk/dg1/data";
const std::string spareDevice = "/dev/qm/dsk/dg1/spare";
const std::string mountPoint = "/mnt/place";

// Each test begins and ends with "data" mounted, "spare" blank and an unused directory `mountPoint`.
class Mounts : public testing::Test {
 protected:
  void SetUp() override { mkdir(mountPoint.c_str(), 0755); }

  void TearDown() override {
    run({"/bin/umount", mountPoint});
    rmdir(mountPoint.c_str());
    if (mountLines("/mnt/data").empty()) run({"/bin/mount", "-t", "qmfs", dataDevice, "/mnt/data"});
    run({"/bin/dd", "if=/dev/zero", "of=" + spareDevice, "bs=1M", "count=1"});
  }

  static int mountSpare(const std::string& options) {
    EXPECT_EQ(run({"/sbin/mkfs", "-t", "qmfs", "/dev/qm/rdsk/dg1/spare"}).status, 0);
    return run({"/bin/mount", "-t", "qmfs", "-o", options, spareDevice, mountPoint}).status;
  }
};

TEST_F(Mounts, AVolumeWithAMountPointIsMountedAndTakesFiles) {
  std::ofstream("/mnt/data/file") << "text";
  EXPECT_EQ(textOf("/mnt/data/file"), "text");
  struct stat inside {};
  struct stat outside {};
  ASSERT_EQ(stat("/mnt/data", &inside), 0);
  ASSERT_EQ(stat("/mnt", &outside), 0);
  EXPECT_NE(inside.st_dev, outside.st_dev);
}

TEST_F(Mounts, TheMountTableHasOneLineForIt) {
  EXPECT_THAT(mountLines("/mnt/data"), ElementsAre("/dev/qm/dsk/dg1/data /mnt/data qmfs rw 0 0"));
}

TEST_F(Mounts, UmountTakesTheLineOutAndMountPutsItBack) {
  ASSERT_EQ(run({"/bin/umount", "/mnt/data"}).status, 0);
  EXPECT_THAT(mountLines("/mnt/data"), IsEmpty());
  ASSERT_EQ(run({"/bin/mount", "-t", "qmfs", dataDevice, "/mnt/data"}).status, 0);
  EXPECT_THAT(mountLines("/mnt/data"), SizeIs(1));
}

TEST_F(Mounts, ABusyUmountSaysSoAndKeepsTheLine) {
  const OpenDirectory user("/mnt/data");
  const Outcome outcome = run({"/bin/umount", "/mnt/data"});
  EXPECT_EQ(outcome.status, 32);
  EXPECT_THAT(outcome.output, HasSubstr("busy"));
  EXPECT_THAT(mountLines("/mnt/data"), SizeIs(1));
}

TEST_F(Mounts, OptionsThatOnlyQmfsKnowsStayVisible) {
  ASSERT_EQ(mountSpare("log,noatime,mincache=closesync"), 0);
  EXPECT_THAT(mountLines(mountPoint),
              ElementsAre(spareDevice + " " + mountPoint + " qmfs rw,noatime,log,mincache=closesync 0 0"));
}

TEST_F(Mounts, AnOptionThatNobodyKnowsIsRefused) {
  EXPECT_EQ(mountSpare("surely_unknown"), 32);
  EXPECT_THAT(mountLines(mountPoint), IsEmpty());
}

TEST_F(Mounts, AReadOnlyMountRefusesWrites) {
  ASSERT_EQ(mountSpare("ro,delaylog"), 0);
  EXPECT_THAT(mountLines(mountPoint), ElementsAre(spareDevice + " " + mountPoint + " qmfs ro,delaylog 0 0"));
  struct statvfs status {};
  ASSERT_EQ(statvfs(mountPoint.c_str(), &status), 0);
  EXPECT_TRUE((status.f_flag & ST_RDONLY) != 0);
}

TEST_F(Mounts, ARemountReplacesTheOptions) {
  ASSERT_EQ(mountSpare("noatime"), 0);
  ASSERT_EQ(run({"/bin/mount", "-t", "qmfs", "-o", "remount,log,mincache=closesync", spareDevice, mountPoint}).status,
            0);
  EXPECT_THAT(mountLines(mountPoint),
              ElementsAre(spareDevice + " " + mountPoint + " qmfs rw,log,mincache=closesync 0 0"));
  ASSERT_EQ(run({"/bin/mount", "-t", "qmfs", "-o", "remount,delaylog", spareDevice, mountPoint}).status, 0);
  EXPECT_THAT(mountLines(mountPoint), ElementsAre(spareDevice + " " + mountPoint + " qmfs rw,delaylog 0 0"));
}

TEST_F(Mounts, ADoubledOptionFlagCountsAsOne) {
  ASSERT_EQ(run({"/sbin/mkfs", "-t", "qmfs", "/dev/qm/rdsk/dg1/spare"}).status, 0);
  ASSERT_EQ(run({"/bin/mount", "-t", "qmfs", "-o", "-o", "mincache=closesync", spareDevice, mountPoint}).status, 0);
  EXPECT_THAT(mountLines(mountPoint), ElementsAre(spareDevice + " " + mountPoint + " qmfs rw,mincache=closesync 0 0"));
}

TEST_F(Mounts, ABlankVolumeIsNotMounted) {
  const Outcome outcome = run({"/bin/mount", "-t", "qmfs", spareDevice, mountPoint});
  EXPECT_EQ(outcome.status, 32);
  EXPECT_EQ(outcome.output, "mount.qmfs: /dev/qm/dsk/dg1/spare holds no qmfs file system\n");
  EXPECT_THAT(mountLines(mountPoint), IsEmpty());
}

TEST_F(Mounts, ABlankInAMountPointIsWrittenInOctal) {
  const std::string directory = "/mnt/two words";
  ASSERT_EQ(mkdir(directory.c_str(), 0755), 0);
  ASSERT_EQ(run({"/sbin/mkfs", "-t", "qmfs", "/dev/qm/rdsk/dg1/spare"}).status, 0);
  ASSERT_EQ(run({"/bin/mount", "-t", "qmfs", spareDevice, directory}).status, 0);
  EXPECT_THAT(mountLines("/mnt/two\\040words"), SizeIs(1));
  EXPECT_EQ(run({"/bin/umount", directory}).status, 0);
  EXPECT_THAT(mountLines("/mnt/two\\040words"), IsEmpty());
  EXPECT_EQ(rmdir(directory.c_str()), 0);
}

TEST_F(Mounts, MountsAtTheSameTimeAllGetTheirLine) {
  constexpr int count = 8;
  const auto directory = [](int number) { return "/mnt/many" + std::to_string(number); };
  std::vector<std::thread> mounters;
  for (int i = 0; i < count; ++i) {
    mkdir(directory(i).c_str(), 0755);
    mounters.emplace_back([&, i] { run({"/bin/mount", "-t", "qmfs", dataDevice, directory(i)}); });
  }
  for (auto& mounter : mounters) mounter.join();
  for (int i = 0; i < count; ++i) {
    EXPECT_THAT(mountLines(directory(i)), SizeIs(1)) << i;
    run({"/bin/umount", directory(i)});
    EXPECT_THAT(mountLines(directory(i)), IsEmpty()) << i;
    rmdir(directory(i).c_str());
  }
}

TEST_F(Mounts, TheListingOfTypeQmfsComesFromTheMountTable) {
  const Outcome outcome = run({"/bin/mount", "-t", "qmfs"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, "/dev/qm/dsk/dg1/data on /mnt/data type qmfs (rw)\n");
}

}  // namespace
}  // namespace testbed_test

// What is traced about a mount point and a device that could not be unmounted or mounted.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include <string>
#include <vector>

#include "command_word_of.h"
#include "support/allocation_faults.h"
#include "support/temporary_directory.h"
#include "unmount_machinery.h"

namespace {

using testing::ElementsAre;

using UnmountDump = UnmountMachinery;

template <typename Value>
std::string tagged(const std::string& name, Value value) {
  return "<statData." + name + ">" + std::to_string(value) + "</statData." + name + ">";
}

std::string describe(const struct stat& status) {
  return tagged("st_mode", status.st_mode) + tagged("st_dev", status.st_dev) + tagged("st_nlink", status.st_nlink) +
         tagged("st_uid", status.st_uid) + tagged("st_gid", status.st_gid) + tagged("st_atime", status.st_atime) +
         tagged("st_ctime", status.st_ctime);
}

TEST_F(UnmountDump, DescribesDeviceMountPointUsersAndMountedFileSystems) {
  const TemporaryDirectory directory;
  const std::string& path = directory.path();
  struct stat mountPoint {};
  struct stat device {};
  ASSERT_EQ(::stat(path.c_str(), &mountPoint), 0);
  ASSERT_EQ(::stat("/dev/null", &device), 0);
  m_commands.answerNext({0, 0, {" 12", " 34"}, {}});
  m_commands.answerNext({0, 0, {"a on b", "c on d"}, {}});

  const std::string mounts = "Dumping information about mounted devices using command /bin/mount -t qmfs a on bc on d";
  EXPECT_EQ(m_plugin.dumpMountInformation(wordOf(path), "/dev/null"), mounts);

  EXPECT_THAT(m_commands.events(), ElementsAre("/sbin/fuser " + path, "/bin/mount -t qmfs "));
  for (const RecordedCommand& command : m_commands.commands()) {
    EXPECT_EQ(command.timeoutSeconds, 600);
  }
  EXPECT_THAT(
      trace(),
      ElementsAre(
          "L3 dumpInformationDevice = Dumping device information for device /dev/null\n"
          "Dumping stat information for device /dev/null" +
              describe(device) + tagged("st_dev", device.st_dev) + tagged("st_rdev", device.st_rdev),
          "L3 dumpInformationMount = Dumping stat information for mount point " + path + describe(mountPoint),
          "L3 dumpInformationFuser: FUSER_CMD = /sbin/fuser " + path,
          "L3 dumpInformationFuser = Dumping fuser data for mountpoint using command /sbin/fuser " + path + " 12 34",
          "L3 dumpInformationMountCmd: MOUNT_CMD = /bin/mount -t qmfs ", "L3 Command : /bin/mount -t qmfs ",
          "L3 dumpInformationMountCmd = " + mounts));
}

TEST_F(UnmountDump, WhoseProbesFailNeverThrows) {
  m_commands.answerNext({5, 0, {"slow"}, {}});
  m_commands.answerNext({7, 0, {}, {}});
  const std::string mounts =
      "Dumping information about mounted devices using command /bin/mount -t qmfs Mount command failed to print mount "
      "information with  error code 7and output ";
  EXPECT_EQ(m_plugin.dumpMountInformation(wordOf("/nowhere/a"), "/nowhere/v"), mounts);
  EXPECT_THAT(
      trace(),
      ElementsAre("L3 dumpInformationDevice = Dumping device information for device /nowhere/v\n"
                  "Stat information failed for the device /nowhere/vwith error code 2",
                  "L3 dumpInformationMount = Dumping stat information for mount point /nowhere/a"
                  "Stat information failed for the mount point /nowhere/awith error code 2",
                  "L3 dumpInformationFuser: FUSER_CMD = /sbin/fuser /nowhere/a",
                  "L3 dumpInformationFuser = Dumping fuser data for mountpoint using command /sbin/fuser /nowhere/a"
                  "fuser command failed to print usage information with  error code 5and output slow",
                  "L3 dumpInformationMountCmd: MOUNT_CMD = /bin/mount -t qmfs ", "L3 Command : /bin/mount -t qmfs ",
                  "L3 dumpInformationMountCmd = " + mounts));
}

TEST_F(UnmountDump, TellsTheErrorOfTheLookUpWhateverTheMachineDoesAfterIt) {
  const std::string path = "/nowhere/" + std::string(1000, 'x');
  setErrnoInAllocations(true);
  m_plugin.dumpMountInformation(wordOf(path), path);
  setErrnoInAllocations(false);
  const std::vector<std::string> records = trace();
  ASSERT_LE(2U, records.size());
  EXPECT_EQ(records[0], "L3 dumpInformationDevice = Dumping device information for device " + path +
                            "\nStat information failed for the device " + path + "with error code 2");
  EXPECT_EQ(records[1], "L3 dumpInformationMount = Dumping stat information for mount point " + path +
                            "Stat information failed for the mount point " + path + "with error code 2");
}

}  // namespace

// The provider's commands, unmounts and diagnostic dump with a command pipe that the test answers: what no call from
// outside reaches, and what would take minutes.
#include "qmfs_plugin.h"
#include "recorded_commands.h"
#include "support/trace_capture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

namespace {

using namespace qmfi_pdk_4_4;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* plainly = "/bin/umount  /mnt/a";

class UnmountMachinery : public testing::Test {
 protected:
  UnmountMachinery() {
    recordedCommands = &m_commands;
    m_plugin.registerTraceLog(m_capture.log());
    m_commands.setMountTable("/dev/qm/dsk/dg1/vol1 /mnt/a qmfs rw 0 0\n");
  }
  ~UnmountMachinery() override { recordedCommands = nullptr; }

  // The records but those of entered and left functions.
  std::vector<std::string> trace() const {
    std::vector<std::string> records;
    for (const std::string& record : m_capture.records()) {
      if (record.find(" Function ") == std::string::npos) {
        records.push_back(record);
      }
    }
    return records;
  }

  int unmount() { return m_plugin.QmFSUmount(m_mountPoint.data(), false); }
  // The exit status that an unmount throws.
  std::optional<int> thrownByUnmount() {
    try {
      unmount();
    } catch (int status) {
      return status;
    }
    return std::nullopt;
  }
  // What a retry throws.
  std::optional<EFiExecPipe> thrownByRetry(int retries, int sleepSeconds) {
    try {
      m_plugin.umountRetry(plainly, retries, sleepSeconds);
    } catch (const EFiExecPipe& error) {
      return error;
    }
    return std::nullopt;
  }

  RecordedCommands m_commands;
  TraceCapture m_capture;
  CQmFSPlugin m_plugin;
  std::string m_mountPoint = "/mnt/a";
};

// Retries.

TEST_F(UnmountMachinery, RetryWithoutAttemptsThrowsAtOnceWithoutRunningTheCommand) {
  for (const int retries : {0, -1}) {
    const auto error = thrownByRetry(retries, 2);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->getCode(), KFI_EXEC_PIPE_SUCCESS);
    EXPECT_EQ(error->getText(), "");
  }
  EXPECT_THAT(m_commands.events(), IsEmpty());
  EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(UnmountMachinery, RetrySleepsBeforeEveryAttemptAndTwiceAsLongEachTime) {
  m_commands.answerNext({11, 1, {"busy"}, {}});
  m_commands.answerNext({11, 1, {"busy"}, {}});
  m_commands.answerNext({11, 1, {"busy"}, {}});
  EXPECT_EQ(m_plugin.umountRetry(plainly, 3, 5), 32);
  EXPECT_THAT(m_commands.events(), ElementsAre("sleep 5", plainly, "sleep 10", plainly, "sleep 20", plainly));
}

TEST_F(UnmountMachinery, RetryStartsEveryAttemptWithEmptyOutputAndTheUsualTime) {
  m_commands.answerNext({11, 1, {"busy", "and more"}, {}});
  m_commands.answerNext({11, 1, {"something else"}, {}});
  const auto error = thrownByRetry(2, 0);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->getText(), "something else");
  for (const RecordedCommand& command : m_commands.commands()) {
    EXPECT_EQ(command.timeoutSeconds, 600);
    EXPECT_EQ(command.reserved, "");
    EXPECT_EQ(command.linesBefore, 0U);
  }
}

TEST_F(UnmountMachinery, RetryThatRunsOutOfTimeIsTriedAgainAndThrowsTheLastError) {
  m_commands.answerNext({5, 0, {}, {}});
  m_commands.answerNext({5, 0, {"late"}, {}});
  const auto error = thrownByRetry(2, 1);
  ASSERT_TRUE(error);
  EXPECT_EQ(error->getCode(), KFI_EXEC_PIPE_READ_TIMEOUT);
  EXPECT_THAT(trace(), ElementsAre("L3 Retrying umount... slept time '1' sec and retry attempt '1'.",
                                   "L2 Exec Pipe failed with error code [5]",
                                   "L2 Command [/bin/umount  /mnt/a] failed with error code [0] and output []",
                                   "L3 Retrying umount... slept time '2' sec and retry attempt '2'.",
                                   "L2 Exec Pipe failed with error code [5]",
                                   "L2 Command [/bin/umount  /mnt/a] failed with error code [0] and output [late]"));
}

// The command runner.

TEST_F(UnmountMachinery, ExecutedCommandGetsItsOwnTimeAndAppendsItsOutput) {
  m_commands.answerNext({0, 0, {"new"}, {}});
  std::vector<std::string> output = {"old"};
  int exitStatus = 77;
  EXPECT_EQ(m_plugin.executeCommand("/bin/true", output, exitStatus, 12), 0);
  EXPECT_EQ(exitStatus, 77);
  EXPECT_THAT(output, ElementsAre("old", "new"));
  ASSERT_EQ(m_commands.commands().size(), 1U);
  EXPECT_EQ(m_commands.commands()[0].timeoutSeconds, 12);
  EXPECT_EQ(m_commands.commands()[0].reserved, "");
  EXPECT_THAT(trace(), ElementsAre("L6 executeCommand - Command : /bin/true"));
}

TEST_F(UnmountMachinery, ExecutedCommandThatEndsWithAStatusSetsIt) {
  m_commands.answerNext({11, 9, {"one ", "two"}, {}});
  std::vector<std::string> output;
  int exitStatus = 77;
  EXPECT_EQ(m_plugin.executeCommand("/bin/x", output, exitStatus, 600), 11);
  EXPECT_EQ(exitStatus, 9);
  EXPECT_THAT(trace(),
              ElementsAre("L6 executeCommand - Command : /bin/x",
                          "L2 executeCommand - Exec Pipe failed with error code [11] and message [one two]",
                          "L2 executeCommand - Command [/bin/x] failed with error code [9] and message [one two]"));
}

TEST_F(UnmountMachinery, ExecutedCommandThatRunsOutOfTimeSaysSo) {
  m_commands.answerNext({5, 0, {"so far"}, {}});
  std::vector<std::string> output;
  int exitStatus = 77;
  EXPECT_EQ(m_plugin.executeCommand("/bin/x", output, exitStatus, 600), 5);
  EXPECT_EQ(exitStatus, 77);
  EXPECT_THAT(trace(), ElementsAre("L6 executeCommand - Command : /bin/x",
                                   "L2 executeCommand - Exec Pipe failed with error code [5] and message [so far]",
                                   "L2 executeCommand - Command [/bin/x] has timmedout"));
}

TEST_F(UnmountMachinery, ExecutedCommandThatFailsOtherwiseLeavesTheStatusAlone) {
  for (const int code : {1, 2, 3, 4, 6, 7, 8, 9, 10, 12, 13}) {
    m_commands.answerNext({code, 5, {}, {}});
    std::vector<std::string> output;
    int exitStatus = 77;
    EXPECT_EQ(m_plugin.executeCommand("/bin/x", output, exitStatus, 600), code);
    EXPECT_EQ(exitStatus, 77);
    EXPECT_EQ(trace().back(),
              "L2 executeCommand - Exec Pipe failed with error code [" + std::to_string(code) + "] and message []");
  }
}

// The simple commands.

struct SimpleCommand {
  const char* line;
  std::function<void(CQmFSPlugin&)> run;
};

const SimpleCommand SIMPLE_COMMANDS[] = {
    {"/bin/mkdir -p  /mnt/a", [](CQmFSPlugin& plugin) { plugin.createMntPoint("/mnt/a"); }},
    {"/bin/rmdir  /mnt/a", [](CQmFSPlugin& plugin) { plugin.removeMntPoint("/mnt/a"); }},
    {"/sbin/mkfs -t qmfs  /dev/v", [](CQmFSPlugin& plugin) { plugin.mkfs("/dev/v"); }},
    {"/sbin/fsck -y -t qmfs  /dev/v", [](CQmFSPlugin& plugin) { plugin.fsck("/dev/v"); }},
    {"/bin/mount -t qmfs  -o rw /dev/v /mnt/a", [](CQmFSPlugin& plugin) { plugin.mount("/mnt/a", "/dev/v", "rw"); }},
    {"/bin/mount -t qmfs  /dev/v /mnt/a", [](CQmFSPlugin& plugin) { plugin.mount("/mnt/a", "/dev/v", ""); }},
};

TEST_F(UnmountMachinery, SimpleCommandsAreTracedAndRunOnceForAtMostTenMinutes) {
  for (const SimpleCommand& command : SIMPLE_COMMANDS) {
    command.run(m_plugin);
    EXPECT_EQ(trace().back(), std::string("L3 Command : ") + command.line);
    EXPECT_EQ(m_commands.commands().back().line, command.line);
    EXPECT_EQ(m_commands.commands().back().timeoutSeconds, 600);
    EXPECT_EQ(m_commands.commands().back().reserved, "");
  }
  EXPECT_EQ(m_commands.commands().size(), std::size(SIMPLE_COMMANDS));
  EXPECT_EQ(trace().size(), std::size(SIMPLE_COMMANDS));
}

TEST_F(UnmountMachinery, SimpleCommandsThatFailThrowThePipesErrorWithoutARetry) {
  for (const int code : {5, 7, 11}) {
    for (const SimpleCommand& command : SIMPLE_COMMANDS) {
      const std::size_t before = m_commands.commands().size();
      m_commands.answerNext({code, 3, {"busy ", "wrong"}, {}});
      try {
        command.run(m_plugin);
        ADD_FAILURE() << command.line;
      } catch (const EFiExecPipe& error) {
        EXPECT_EQ(error.getCode(), code);
        EXPECT_EQ(error.getExitStatus(), 3);
        EXPECT_EQ(error.getText(), "busy wrong");
      }
      EXPECT_EQ(m_commands.commands().size(), before + 1);
      EXPECT_EQ(trace().back(), std::string("L1 command '") + command.line + "' failed with message 'busy wrong'.");
    }
  }
}

TEST_F(UnmountMachinery, ConversionBetweenPlatformsIsNotOffered) {
  for (const char* const device : {"/dev/qm/dsk/dg1/vol1", "", "no device"}) {
    EXPECT_EQ(m_plugin.fscdsconv(device), 4);
  }
  EXPECT_THAT(m_commands.events(), IsEmpty());
  EXPECT_THAT(trace(), IsEmpty());
}

// Unmounts.

TEST_F(UnmountMachinery, UnmountWithoutAMountPointRunsNothing) {
  EXPECT_EQ(m_plugin.QmFSUmount(nullptr, false), 3);
  EXPECT_EQ(m_plugin.QmFSUmount(nullptr, true), 3);
  EXPECT_THAT(m_commands.events(), IsEmpty());
  EXPECT_THAT(trace(), ElementsAre("L1 Mount point is not specified", "L1 Mount point is not specified"));
}

TEST_F(UnmountMachinery, UnmountThatRunsOutOfTimeIsAFailureLikeAnyOther) {
  m_commands.answerNext({5, 0, {"waiting"}, {}});
  EXPECT_EQ(thrownByUnmount(), 0);
  EXPECT_EQ(m_commands.commands()[0].timeoutSeconds, 600);
  EXPECT_THAT(trace(),
              ElementsAre("L6 CQmFSPlugin::QmFSUmount calling qmfs_getsubobj for node : /mnt/a",
                          "L3 Command : /bin/umount  /mnt/a", "L6 executeCommand - Command : /bin/umount  /mnt/a",
                          "L2 executeCommand - Exec Pipe failed with error code [5] and message [waiting]",
                          "L2 executeCommand - Command [/bin/umount  /mnt/a] has timmedout",
                          "L2 execPipe.Exec failed with errorCode [5] message waiting",
                          "L2 execPipe.Exec failed with errorCode [5] message waiting", "L1 unmount failed"));
}

TEST_F(UnmountMachinery, UnmountThatRunsOutOfTimeWhileBusyIsTriedAgain) {
  m_commands.answerNext({5, 0, {"busy"}, {}});
  EXPECT_EQ(unmount(), 0);
  EXPECT_THAT(m_commands.events(), ElementsAre(plainly, "sleep 2", plainly));
}

TEST_F(UnmountMachinery, UnmountThatRunsOutOfTimeAndLeavesNothingMountedIsSuccess) {
  m_commands.answerNext({5, 0, {}, [this] { m_commands.setMountTable(""); }});
  EXPECT_EQ(unmount(), 0);
  EXPECT_EQ(trace().back(), "L2 unmountDevice - Device unmount was succesful");
}

TEST_F(UnmountMachinery, FailedUnmountIsNoSuccessWhenTheMountTableCannotBeReadAfterwards) {
  m_commands.answerNext({11, 4, {"odd"}, [this] { m_commands.hideMountTable(); }});
  EXPECT_EQ(thrownByUnmount(), 4);
}

TEST_F(UnmountMachinery, UnmountRefusesAMountPointThatACommandCannotCarry) {
  m_commands.setMountTable(
      "/dev/v /with\\040blank qmfs rw 0 0\n/dev/v /with\\011tab qmfs rw 0 0\n"
      "/dev/v /with\\012feed qmfs rw 0 0\n");
  for (std::string mountPoint : {"/with blank", "/with\ttab", "/with\nfeed"}) {
    EXPECT_EQ(m_plugin.QmFSUmount(mountPoint.data(), false), 3);
    EXPECT_EQ(m_plugin.QmFSUmount(mountPoint.data(), true), 3);
  }
  EXPECT_THAT(m_commands.events(), IsEmpty());
}

TEST_F(UnmountMachinery, MountStatusTellsNothingMountedFromMountedAndUnknown) {
  EXPECT_EQ(m_plugin.getMountStatus("/mnt/a"), 2);
  EXPECT_EQ(m_plugin.getMountStatus("/mnt/b"), 1);
  m_commands.setMountTable("/dev/v /mnt/a xfs rw 0 0\n");
  EXPECT_EQ(m_plugin.getMountStatus("/mnt/a"), 1);
  m_commands.hideMountTable();
  EXPECT_EQ(m_plugin.getMountStatus("/mnt/a"), 3);
  EXPECT_THAT(trace(), IsEmpty());
}

// The dump.

template <typename Value>
std::string tagged(const std::string& name, Value value) {
  return "<statData." + name + ">" + std::to_string(value) + "</statData." + name + ">";
}

std::string describe(const struct stat& status) {
  return tagged("st_mode", status.st_mode) + tagged("st_dev", status.st_dev) + tagged("st_nlink", status.st_nlink) +
         tagged("st_uid", status.st_uid) + tagged("st_gid", status.st_gid) + tagged("st_atime", status.st_atime) +
         tagged("st_ctime", status.st_ctime);
}

TEST_F(UnmountMachinery, DumpDescribesDeviceMountPointUsersAndMountedFileSystems) {
  const TemporaryDirectory directory;
  const std::string path = directory.path();
  struct stat mountPoint {};
  struct stat device {};
  ASSERT_EQ(::stat(path.c_str(), &mountPoint), 0);
  ASSERT_EQ(::stat("/dev/null", &device), 0);
  m_commands.answerNext({0, 0, {" 12", " 34"}, {}});
  m_commands.answerNext({0, 0, {"a on b", "c on d"}, {}});

  const std::string mounts = "Dumping information about mounted devices using command /bin/mount -t qmfs a on bc on d";
  EXPECT_EQ(m_plugin.dumpMountInformation(path, "/dev/null"), mounts);

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

TEST_F(UnmountMachinery, DumpWhoseProbesFailNeverThrows) {
  m_commands.answerNext({5, 0, {"slow"}, {}});
  m_commands.answerNext({7, 0, {}, {}});
  const std::string mounts =
      "Dumping information about mounted devices using command /bin/mount -t qmfs Mount command failed to print mount "
      "information with  error code 7and output ";
  EXPECT_EQ(m_plugin.dumpMountInformation("/nowhere/a", "/nowhere/v"), mounts);
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

}  // namespace

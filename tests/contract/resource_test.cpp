// Plain storage resources: devices formatted and brought online.
#include "operations_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string DEVICE = "/dev/qm/dsk/dg/vol1";

// The time at which the clock is stopped, and its stamp.
constexpr std::time_t testTime = 1794732330;

std::string temporaryMountPoint() {
  std::tm local{};
  localtime_r(&testTime, &local);
  char path[32];
  strftime(path, sizeof path, "/tmp_%d%m%Y%H%M%S", &local);
  return path;
}

// Format.

class Format : public OperationsTest {
 protected:
  void SetUp() override {
    OperationsTest::SetUp();
    importedCalls().stopClock(testTime);
    m_mountPoint = temporaryMountPoint();
    programs.answer("/bin/mkdir", Answer().makesDirectory());
    programs.answer("/bin/mount", Answer().mounts(DEVICE + " " + m_mountPoint + " qmfs rw 0 0"));
    programs.answer("/bin/umount", Answer().unmounts());
  }
  void TearDown() override {
    std::filesystem::remove(m_mountPoint);
    OperationsTest::TearDown();
  }

  int format(const std::string& device = DEVICE, char* type = "qmfs"_text, int flags = 1) {
    std::string name = device;
    char* devices[] = {name.data()};
    return plugin.format(devices, 1, nullptr, type, nullptr, flags, &paths, &pathCount);
  }
  bool isTemporaryDirectoryLeft() const { return std::filesystem::exists(m_mountPoint); }

  TraceRecord made() const { return {3, "Command : /bin/mkdir -p  " + m_mountPoint}; }
  TraceRecord mounted() const { return {3, "Command : /bin/mount -t qmfs  -o rw " + DEVICE + " " + m_mountPoint}; }
  TraceRecord lookedUp() const {
    return {6, "CQmFSPlugin::QmFSUmount calling qmfs_getsubobj for node : " + m_mountPoint};
  }

  std::string m_mountPoint;
  char** paths = nullptr;
  int pathCount = -1;
};

const TraceRecord FORMATTED{3, "Command : /sbin/mkfs -t qmfs  /dev/qm/rdsk/dg/vol1"};

TEST_F(Format, MakesAFileSystemOnTheRawDeviceAndProvesThatItCanBeMounted) {
  EXPECT_EQ(format(), 0);
  EXPECT_THAT(programs.commands(),
              ElementsAre("/sbin/mkfs -t qmfs /dev/qm/rdsk/dg/vol1", "/bin/mkdir -p " + m_mountPoint,
                          "/bin/mount -t qmfs -o rw " + DEVICE + " " + m_mountPoint, "/bin/umount " + m_mountPoint));
  EXPECT_THAT(trace(),
              ElementsAre(FORMATTED, made(), mounted(), lookedUp(), traced(3, "Command : /bin/umount  " + m_mountPoint),
                          traced(6, "executeCommand - Command : /bin/umount  " + m_mountPoint)));
  EXPECT_FALSE(isTemporaryDirectoryLeft());
  EXPECT_THAT(messages(), IsEmpty());
  EXPECT_EQ(paths, nullptr);
  EXPECT_EQ(pathCount, -1);
}

TEST_F(Format, TakesOtherDevicesAsTheyAre) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"/dev/sdb1", "/dev/sdb1"}, {"/dev/qm/rdsk/dg/vol1", "/dev/qm/rdsk/dg/vol1"}, {"/dev/qm/dsk2", "/dev/qm/rdsk2"}};
  for (const auto& [device, raw] : cases) {
    programs.answer("/bin/mount", Answer());
    programs.forget();
    EXPECT_EQ(format(device), 0);
    EXPECT_EQ(programs.commands()[0], "/sbin/mkfs -t qmfs " + raw);
    EXPECT_EQ(programs.commands()[2], "/bin/mount -t qmfs -o rw " + device + " " + m_mountPoint);
  }
}

TEST_F(Format, WithoutATypeFormatsToo) {
  EXPECT_EQ(format(DEVICE, nullptr), 0);
  EXPECT_EQ(programs.commands().size(), 4u);
}

TEST_F(Format, WithBitZeroOfItsFlagsClearRunsNothingAndReturnsZero) {
  for (const int flags : {0, 2, ~1}) {
    EXPECT_EQ(format(DEVICE, "qmfs"_text, flags), 0);
    EXPECT_EQ(plugin.format(nullptr, 0, nullptr, nullptr, nullptr, flags, nullptr, nullptr), 0);
  }
  EXPECT_THAT(trace(), IsEmpty());
  expectNothingDone();
}

TEST_F(Format, AnyOtherTypeIsRefused) {
  for (char* const type : {"QMFS"_text, "qmfs2"_text, "qmf"_text, "xfs"_text, ""_text}) {
    for (const int flags : {0, 1}) {
      forget();
      EXPECT_EQ(format(DEVICE, type, flags), 3);
      EXPECT_THAT(trace(), ElementsAre(traced(1, std::string("type ") + type + " is not supported by qmfs provider")));
    }
  }
  EXPECT_EQ(plugin.format(nullptr, 0, nullptr, "xfs"_text, nullptr, 1, nullptr, nullptr), 3);
  expectNothingDone();
}

TEST_F(Format, WithoutADeviceIsInvalid) {
  char* none[] = {nullptr};
  EXPECT_EQ(plugin.format(nullptr, 1, nullptr, nullptr, nullptr, 1, nullptr, nullptr), 3);
  EXPECT_EQ(plugin.format(none, 1, nullptr, nullptr, nullptr, 1, nullptr, nullptr), 3);
  EXPECT_THAT(trace(), IsEmpty());
  expectNothingDone();
}

TEST_F(Format, RefusesADeviceThatACommandCannotCarry) {
  for (const std::string& path : UNUSABLE_PATHS) {
    forget();
    EXPECT_EQ(format(path), 3) << path;
    EXPECT_THAT(trace(), ElementsAre(traced(4, "Not a valid device path [" + path + "]")));
    expectNothingDone();
  }
}

TEST_F(Format, EachCommandThatFailsEndsIt) {
  struct Case {
    const char* program;
    std::size_t commands;
    bool isDirectoryLeft;
    TraceRecord command;
  };
  const Case cases[] = {
      {"/sbin/mkfs", 1, false, FORMATTED}, {"/bin/mkdir", 2, false, made()}, {"/bin/mount", 3, true, mounted()}};
  for (const Case& one : cases) {
    programs.answerNext(one.program, Answer().complains("went ").complains("wrong").exits(1));
    // The directory is only made by a mkdir that succeeds.
    forget();
    EXPECT_EQ(format(), 6) << one.program;
    EXPECT_EQ(programs.commands().size(), one.commands);
    const TraceRecords all = trace();
    ASSERT_EQ(all.size(), one.commands + 1);
    EXPECT_EQ(all[one.commands - 1], one.command);
    const std::string command = one.command.text.substr(std::string("Command : ").size());
    EXPECT_EQ(all.back(), traced(1, "command '" + command + "' failed with message 'went wrong'."));
    expectExecPipeMessage("KFI_EXEC_PIPE_CMD_FAILED", "went wrong");
    EXPECT_EQ(isTemporaryDirectoryLeft(), one.isDirectoryLeft);
  }
}

TEST_F(Format, AnUnmountThatStaysBusyIsNoFailureAndLeavesTheDirectory) {
  programs.answer("/bin/umount", Answer().complains("busy").exits(1));
  EXPECT_EQ(format(), 0);
  EXPECT_TRUE(isTemporaryDirectoryLeft());
  EXPECT_EQ(trace().back(), traced(1, "Device to be unmounted is busy"));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Format, AnUnmountThatThrowsLeavesTheDirectory) {
  programs.answer("/bin/umount", Answer().complains("denied").exits(5));
  EXPECT_EQ(format(), 6);
  EXPECT_TRUE(isTemporaryDirectoryLeft());
  expectExitStatusMessage(5);
}

TEST_F(Format, AnUnreadableMountTableIsNoFailureAndLeavesTheDirectory) {
  programs.answer("/bin/mount", Answer());
  table.makeUnreadable();
  EXPECT_EQ(format(), 0);
  EXPECT_TRUE(isTemporaryDirectoryLeft());
  EXPECT_EQ(trace().back(), traced(1, "Mount point entry lookup failed"));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Format, AMountThatLeftNothingMountedIsNotUnmounted) {
  programs.answer("/bin/mount", Answer());
  EXPECT_EQ(format(), 0);
  EXPECT_EQ(programs.commands().size(), 3u);
  EXPECT_FALSE(isTemporaryDirectoryLeft());
}

TEST_F(Format, ADirectoryThatCannotBeRemovedIsNoError) {
  programs.answer("/bin/mkdir", Answer());
  EXPECT_EQ(format(), 0);
}

}  // namespace

// The commands: how they are written, found and judged.
#include <fstream>

#include "operations_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

const std::string DEVICE = "/dev/qm/dsk/dg1/vol1";

const std::vector<std::string> umountPrograms = {"/opt/KRIB/bin/qmumount",    "/sbin/fs/qmfs/qmumount",
                                                 "/usr/lib/fs/qmfs/qmumount", "/opt/KRIB/bin/umount",
                                                 "/usr/lib/fs/qmfs/umount",   "/opt/KRIBqmfs/sbin/umount"};
const std::vector<std::string> fstypPrograms = {
    "/opt/KRIBqmfs/sbin/fstyp", "/opt/KRIB/bin/fstyp", "/usr/lib/fs/qmfs/fstyp",
    "/usr/sbin/fstyp",          "/sbin/fstyp",         "/etc/fstyp"};

class Commands : public OperationsTest {
 protected:
  void TearDown() override {
    for (const auto& list : {umountPrograms, fstypPrograms}) {
      for (const auto& program : list) programs.remove(program);
    }
    OperationsTest::TearDown();
  }

  // Leaves only the candidates from that one on. Returns the first that there is then: two directories may be one.
  std::size_t installFrom(const std::vector<std::string>& candidates, std::size_t first) {
    for (const auto& candidate : candidates) programs.remove(candidate);
    for (std::size_t i = first; i < candidates.size(); ++i) programs.install(candidates[i]);
    for (std::size_t i = 0; i < candidates.size(); ++i) {
      if (std::filesystem::exists(candidates[i])) return i;
    }
    return candidates.size();
  }
  static void writePlainFile(const std::string& path) {
    std::filesystem::remove(path);
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path) << "not a program\n";
  }

  int isParent(const std::string& device) {
    std::string text = device;
    parent = -1;
    return plugin.is_parent_pgn(text.data(), &parent, 0);
  }
  // A command that runs alone: the making of a mount point.
  int makeMountPoint() { return plugin.online(nullptr, &restoredNode("/data", DEVICE), 1, 0); }

  int parent = -1;
};

TraceRecords searched(const char* kind, const std::vector<std::string>& candidates, std::size_t found) {
  const std::string name = std::string(kind) + " cmd : ";
  TraceRecords records;
  for (std::size_t i = 0; i < candidates.size() && i <= found; ++i) {
    records.push_back({6, "Searching for " + name + candidates[i]});
  }
  if (found < candidates.size()) records.push_back({3, "Found " + name + candidates[found]});
  return records;
}

// Where programs are found.

TEST_F(Commands, TheFirstUnmountProgramThatExistsIsUsed) {
  for (std::size_t first = 0; first < umountPrograms.size(); ++first) {
    ASSERT_EQ(installFrom(umountPrograms, first), first);
    kfi_domain& node = mountedNode("/data", DEVICE);
    EXPECT_EQ(plugin.online(nullptr, &node, 2, 0), 0);
    EXPECT_THAT(programs.commands(), ElementsAre(umountPrograms[first] + " -o force /data"));
    const std::string command = umountPrograms[first] + " -o force  /data";
    EXPECT_THAT(trace(), ElementsAreArray(joined(
                             TraceRecords{{6, "CQmFSPlugin::QmFSUmount calling qmfs_getsubobj for node : /data"}},
                             searched("umount", umountPrograms, first),
                             TraceRecords{{3, "Command : " + command}, {6, "executeCommand - Command : " + command}})));
  }
}

TEST_F(Commands, TheFirstTypeProgramThatExistsIsUsed) {
  for (std::size_t first = 0; first < fstypPrograms.size(); ++first) {
    const std::size_t found = installFrom(fstypPrograms, first);
    programs.answer(fstypPrograms[found], Answer().prints("qmfs"));
    forget();
    EXPECT_EQ(isParent(DEVICE), 0);
    EXPECT_EQ(parent, 1);
    EXPECT_THAT(programs.commands(), ElementsAre(fstypPrograms[found] + " " + DEVICE));
    EXPECT_THAT(trace(),
                ElementsAreArray(joined(searched("fstype", fstypPrograms, found),
                                        TraceRecords{{3, "Found fstype for device : " + DEVICE + "  as qmfs"}})));
  }
}

TEST_F(Commands, WithoutATypeProgramTheTypeIsUnknown) {
  installFrom(fstypPrograms, fstypPrograms.size());
  EXPECT_EQ(isParent(DEVICE), 0);
  EXPECT_EQ(parent, 0);
  EXPECT_THAT(trace(), ElementsAreArray(joined(searched("fstype", fstypPrograms, fstypPrograms.size()),
                                               TraceRecords{{1, "fstype command is not installed"}})));
  expectNothingDone();
}

TEST_F(Commands, OnlyTheExistenceOfAProgramIsTested) {
  writePlainFile(umountPrograms[0]);
  writePlainFile(fstypPrograms[0]);
  programs.install(umountPrograms[1]);
  programs.install(fstypPrograms[1]);
  programs.answer(fstypPrograms[1], Answer().prints("qmfs"));

  EXPECT_EQ(isParent(DEVICE), 0);
  EXPECT_EQ(parent, 0);
  EXPECT_EQ(plugin.online(nullptr, &mountedNode("/data", DEVICE), 2, 0), 6);
  expectExitStatusMessage(0);
  EXPECT_THAT(programs.commands(), IsEmpty());
}

TEST_F(Commands, ABrokenLinkIsNoProgram) {
  for (const auto& list : {fstypPrograms, umountPrograms}) {
    std::filesystem::remove(list[0]);
    std::filesystem::create_symlink("/nowhere", list[0]);
    programs.install(list[1]);
  }
  EXPECT_EQ(isParent(DEVICE), 0);
  EXPECT_THAT(programs.commands(), ElementsAre(fstypPrograms[1] + " " + DEVICE));
  EXPECT_EQ(plugin.online(nullptr, &mountedNode("/data", DEVICE), 2, 0), 0);
  EXPECT_THAT(programs.commands(), ElementsAre(umountPrograms[1] + " -o force /data"));
}

// The type of a device.

TEST_F(Commands, ADeviceWhoseTypeProgramPrintsNothingHasNoType) {
  EXPECT_EQ(isParent(DEVICE), 0);
  EXPECT_EQ(parent, 0);
  EXPECT_THAT(trace(), ElementsAreArray(joined(
                           searched("fstype", fstypPrograms, 0),
                           TraceRecords{{2, "command '/opt/KRIBqmfs/sbin/fstyp " + DEVICE + "' returned no fstype"}})));
}

TEST_F(Commands, TrailingWhiteSpaceOfAPrintedTypeIsRemoved) {
  struct Case {
    Answer answer;
    std::string type;
  };
  const Case cases[] = {
      {Answer().prints("qmfs\r"), "qmfs"},
      {Answer().prints("qmfs \t\r "), "qmfs"},
      {Answer().printsUnended("qmfs"), "qmfs"},
      {Answer().prints("qmfs").prints("xfs"), "qmfs"},
      {Answer().prints("xfs").prints("qmfs"), "xfs"},
      {Answer().prints(" qmfs"), " qmfs"},
      {Answer().prints("QMFS"), "QMFS"},
      {Answer().prints("qmfs2"), "qmfs2"},
      {Answer().prints(""), ""},
      {Answer().prints(" \t"), ""},
  };
  for (const Case& one : cases) {
    programs.answer(fstypPrograms[0], one.answer);
    forget();
    EXPECT_EQ(isParent(DEVICE), 0);
    EXPECT_EQ(parent, one.type == "qmfs" ? 1 : 0) << one.type;
    EXPECT_EQ(trace().back(), traced(3, "Found fstype for device : " + DEVICE + "  as " + one.type));
  }
}

TEST_F(Commands, ATypeProgramThatFailsGivesNoTypeAndNoError) {
  struct Case {
    Answer answer;
    std::string output;
  };
  const Case cases[] = {
      {Answer().complains("no ").complains("superblock").exits(1), "no superblock"},
      {Answer().prints("qmfs").exits(3), "qmfs"},
      {Answer().complains("dying").diesOf(11), "dying"},
  };
  for (const Case& one : cases) {
    programs.answer(fstypPrograms[0], one.answer);
    forget();
    EXPECT_EQ(isParent(DEVICE), 0);
    EXPECT_EQ(parent, 0);
    EXPECT_EQ(trace().back(),
              traced(2, "command '/opt/KRIBqmfs/sbin/fstyp " + DEVICE + "' failed with message '" + one.output + "'."));
    EXPECT_THAT(messages(), IsEmpty());
  }
}

// How a command fails.

TEST_F(Commands, AProgramThatIsMissingCannotBeStartedOrIsKilledPushesTheNameOfTheCode) {
  programs.remove("/bin/mkdir");
  EXPECT_EQ(makeMountPoint(), 6);
  auto pushed = messages();
  ASSERT_EQ(pushed.size(), 1u);
  EXPECT_EQ(pushed[0].id, "MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION");
  EXPECT_THAT(pushed[0].arguments, ::testing::MatchesRegex("KFI_EXEC_PIPE_EXE_DOES_NOT_EXIST, .*/bin/mkdir.*"));
  EXPECT_EQ(trace().back(), traced(1, "command '/bin/mkdir -p  /data' failed with message ''."));

  writePlainFile("/bin/mkdir");
  EXPECT_EQ(makeMountPoint(), 6);
  pushed = messages();
  ASSERT_EQ(pushed.size(), 1u);
  EXPECT_THAT(pushed[0].arguments,
              ::testing::MatchesRegex("KFI_EXEC_PIPE_CREATE_CHILD_PROCESS_FAILED, .*/bin/mkdir.*"));
  programs.remove("/bin/mkdir");
  programs.install("/bin/mkdir");

  programs.answer("/bin/mkdir", Answer().complains("half").diesOf(9));
  EXPECT_EQ(makeMountPoint(), 6);
  expectExecPipeMessage("KFI_EXEC_PIPE_CMD_KILLED", "half");
  EXPECT_EQ(trace().back(), traced(1, "command '/bin/mkdir -p  /data' failed with message 'half'."));
}

TEST_F(Commands, BothOutputsAreCapturedAndTheLastLineNeedsNoLineFeed) {
  programs.answer("/bin/mkdir", Answer().complains("errors ").printsUnended("output").exits(1));
  EXPECT_EQ(makeMountPoint(), 6);
  expectExecPipeMessage("KFI_EXEC_PIPE_CMD_FAILED", "errors output");
}

TEST_F(Commands, AProgramThatPrintsMegabytesIsAnOrdinaryFailure) {
  constexpr std::size_t bytes = 3 << 20;
  programs.answer("/bin/mkdir", Answer().floods(bytes).exits(1));
  EXPECT_EQ(makeMountPoint(), 6);
  const auto pushed = messages();
  ASSERT_EQ(pushed.size(), 1u);
  EXPECT_GT(pushed[0].arguments.size(), bytes);
}

TEST_F(Commands, WhatASuccessfulProgramPrintsIsNotLookedAt) {
  programs.answer("/bin/mkdir", Answer().complains("busy usage force"));
  programs.answer("/bin/mount", Answer().prints("mount: failed"));
  EXPECT_EQ(makeMountPoint(), 0);
  EXPECT_EQ(programs.commands().size(), 2u);
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Commands, NoShellReadsTheCommandLine) {
  EXPECT_EQ(plugin.online(nullptr, &restoredNode("/data;$(reboot)&*'\"", DEVICE, "rw>x"), 1, 0), 0);
  EXPECT_THAT(programs.commands(), ElementsAre("/bin/mkdir -p /data;$(reboot)&*'\"",
                                               "/bin/mount -t qmfs -o rw>x " + DEVICE + " /data;$(reboot)&*'\""));
}

}  // namespace

// The provider's commands, unmounts and diagnostic dump with a command pipe that the test answers: what no call from
// outside reaches, and what would take minutes.
#include "unmount_machinery.h"

#include <gmock/gmock.h>

#include <cstdint>
#include <cstdlib>
#include <functional>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "cficontextsingleton.h"
#include "cfipluginname.h"
#include "cfiprivatedatamanager.h"
#include "command_word_of.h"
#include "support/domains.h"

namespace {

using namespace qmfi_pdk_4_4;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr const char* plainly = "/bin/umount  /mnt/a";

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

// A pipe whose record says something else than it returned.

TEST_F(UnmountMachinery, CommandHasSucceededWhenThePipeReturnsZeroWhateverItsRecordSays) {
  m_commands.answerNext({0, 9, {}, {}, 11});
  std::vector<std::string> output;
  int exitStatus = 77;
  EXPECT_EQ(m_plugin.executeCommand("/bin/x", output, exitStatus, 600), 0);
  EXPECT_EQ(exitStatus, 77);
  m_commands.answerNext({0, 9, {}, {}, 11});
  EXPECT_NO_THROW(m_plugin.fsck(wordOf("/dev/v")));
  m_commands.answerNext({0, 9, {}, {}, 11});
  EXPECT_EQ(unmount(), 0);
}

TEST_F(UnmountMachinery, CommandHasFailedWithWhatThePipeReturnsAndWithTheTextAndStatusOfItsRecord) {
  m_commands.answerNext({11, 9, {"wrong"}, {}, 0});
  std::vector<std::string> output;
  int exitStatus = 77;
  EXPECT_EQ(m_plugin.executeCommand("/bin/x", output, exitStatus, 600), 11);
  EXPECT_EQ(exitStatus, 9);
  m_commands.answerNext({11, 9, {"wrong"}, {}, 0});
  try {
    m_plugin.fsck(wordOf("/dev/v"));
    ADD_FAILURE() << "it is taken for a success";
  } catch (const EFiExecPipe& error) {
    EXPECT_EQ(error.getCode(), KFI_EXEC_PIPE_CMD_FAILED);
    EXPECT_EQ(error.getExitStatus(), 9);
    EXPECT_EQ(error.getText(), "wrong");
    EXPECT_EQ(error.getWideText(), L"wrong");
  }
}

// The type of a device.

TEST_F(UnmountMachinery, TypeProgramMayTakeTenMinutes) {
  m_commands.install("/etc/fstyp");
  m_commands.answerNext({0, 0, {"qmfs\r"}, {}});
  EXPECT_EQ(m_plugin.getFSType(wordOf("/dev/v")), "qmfs");
  ASSERT_EQ(m_commands.commands().size(), 1U);
  EXPECT_EQ(m_commands.commands()[0].line, "/etc/fstyp /dev/v");
  EXPECT_EQ(m_commands.commands()[0].timeoutSeconds, 600);
  EXPECT_EQ(m_commands.commands()[0].reserved, "");
}

TEST_F(UnmountMachinery, TypeLosesOnlyItsTrailingWhiteSpace) {
  m_commands.install("/etc/fstyp");
  const std::pair<const char*, const char*> cases[] = {
      {"qmfs\n", "qmfs"},      {"qmfs\r\n", "qmfs"}, {"qmfs\t", "qmfs"}, {"qmfs ", "qmfs"},
      {"qmfs\n \t\r", "qmfs"}, {"\nqmfs", "\nqmfs"}, {"qm fs", "qm fs"}, {"qmfs\nxfs\n", "qmfs\nxfs"},
      {"qmfs\v", "qmfs\v"},    {" \n\t\r", ""},
  };
  for (const auto& [printed, type] : cases) {
    m_commands.answerNext({0, 0, {printed, "xfs"}, {}});
    EXPECT_EQ(m_plugin.getFSType(wordOf("/dev/v")), type);
    EXPECT_EQ(trace().back(), std::string("L3 Found fstype for device : /dev/v  as ") + type);
  }
}

// The simple commands.

struct SimpleCommand {
  const char* line;
  std::function<void(CQmFSPlugin&)> run;
};

const SimpleCommand SIMPLE_COMMANDS[] = {
    {"/bin/mkdir -p  /mnt/a", [](CQmFSPlugin& plugin) { plugin.createMntPoint(wordOf("/mnt/a")); }},
    {"/bin/rmdir  /mnt/a", [](CQmFSPlugin& plugin) { plugin.removeMntPoint(wordOf("/mnt/a")); }},
    {"/sbin/mkfs -t qmfs  /dev/v", [](CQmFSPlugin& plugin) { plugin.mkfs(wordOf("/dev/v")); }},
    {"/sbin/fsck -y -t qmfs  /dev/v", [](CQmFSPlugin& plugin) { plugin.fsck(wordOf("/dev/v")); }},
    {"/bin/mount -t qmfs  -o rw /dev/v /mnt/a",
     [](CQmFSPlugin& plugin) { plugin.mount(wordOf("/mnt/a"), wordOf("/dev/v"), "rw"); }},
    {"/bin/mount -t qmfs  /dev/v /mnt/a",
     [](CQmFSPlugin& plugin) { plugin.mount(wordOf("/mnt/a"), wordOf("/dev/v"), ""); }},
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
  EXPECT_THAT(withoutLineNumbers(m_capture.records()),
              testing::Contains("L6 Entering Function fscdsconv [line, qmfs_plugin_command.cpp]").Times(3));
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
    for (const bool force : {false, true}) {
      EXPECT_EQ(m_plugin.QmFSUmount(mountPoint.data(), force), 3);
      EXPECT_EQ(trace().back(), "L4 Not a valid mount point path [" + mountPoint + "]");
    }
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

// Operations that use the machinery.

// A plug-in that has a factory for private data, as after its start.
class StartedMachinery : public UnmountMachinery {
 protected:
  StartedMachinery() { manager()->setProviderFactory(m_factory); }
  ~StartedMachinery() override { manager()->setProviderFactory(CFiPrivateDataFactorySPtr()); }

  CFiPrivateDataFactorySPtr m_factory{new CFiPrivateDataConcreteFactory<CQmFSPrivateData>()};

 private:
  static auto manager() -> decltype(CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(false)) {
    return CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>::instance(false);
  }
};

TEST_F(StartedMachinery, AlternateTreeIsBuiltWithOnePipeAndAnEmptyOutputForEachCommand) {
  kfi_domain domain = domainNamed("/data");
  std::string provider = "qmfsfi";
  domain.fid_provider = provider.data();
  qmfi_objid* snapObjects[] = {identifierOf("/dev/snap")};
  qmfi_objid* alternate = nullptr;
  m_commands.answerNext({0, 0, {"made"}, {}});
  EXPECT_EQ(m_plugin.buildAltTree(&domain, provider.data(), nullptr, snapObjects, 1, &alternate), 0);
  const auto& commands = m_commands.commands();
  ASSERT_EQ(commands.size(), 2U);
  EXPECT_EQ(commands[0].textBefore, "");
  EXPECT_EQ(commands[1].textBefore, "made");
  for (const RecordedCommand& command : commands) {
    EXPECT_EQ(command.timeoutSeconds, 600);
    EXPECT_EQ(command.linesBefore, 0U);
    EXPECT_EQ(command.reserved, "");
  }
  EXPECT_EQ(m_factory->deallocate(&domain), 0);
}

TEST_F(UnmountMachinery, EnableFailsWhenItsListOfDevicesIsGoneAtTheSecondLook) {
  m_commands.setMountTable("");
  kfi_domain node = domainNamed("/data");
  node.fid_attr = KFI_ATTR_ACCESS_DISABLED;
  kfi_subobj_list devices{identifierOf("/dev/v"), nullptr};
  kfi_node_subobj_list list{&node, &devices, nullptr};
  // Another thread of the framework does so while the device is looked up.
  m_commands.doWhenMountTableIsRead([&] { list.subobjs = nullptr; });
  EXPECT_EQ(m_plugin.enableAccess(&list, 0, 0, 0), 6);
  EXPECT_THAT(trace(), ElementsAre("L6 Calling qmfs_getmnt for : /dev/v",
                                   "L6 As CFiPrivateDataSPtr is null, using readonly mount options",
                                   "L1 Subobj list is not set "));
  EXPECT_THAT(m_commands.events(), IsEmpty());
  EXPECT_EQ(node.fid_attr, static_cast<std::uint32_t>(KFI_ATTR_ACCESS_DISABLED));
}

TEST_F(StartedMachinery, ImportThatCannotReuseAMountAfterAllRefusesAnUnusableDevice) {
  m_commands.setMountTable("");
  m_commands.setMountTableOnce("/dev/v /alt qmfs rw 0 0\n");
  kfi_domain domain = domainNamed("/data");
  std::string name = "/data";
  std::string alternateName = "/alt";
  kfi_subobj_entry entries[] = {{name.data(), alternateName.data()}, {nullptr, nullptr}};
  domain.fid_subobjs = entries;
  qmfi_objid* snapObjects[] = {identifierOf("/dev/with blank")};
  qmfi_objid* alternate = nullptr;
  EXPECT_EQ(m_plugin.importTreeNode(&domain, nullptr, snapObjects, 1, &alternate), 3);
  EXPECT_THAT(m_commands.events(), ElementsAre("/bin/mkdir -p  /alt"));
  EXPECT_EQ(trace().back(), "L4 Not a valid device path [/dev/with blank]");
  EXPECT_EQ(alternate, nullptr);
}

TEST_F(UnmountMachinery, DeportOfAMountPointThatACommandCannotCarryIsRefusedAlsoWhenItIsUnmountedMeanwhile) {
  m_commands.setMountTable("");
  m_commands.setMountTableOnce("/dev/v /with\\040blank qmfs rw 0 0\n");
  kfi_domain alternate = domainNamed("/with blank");
  EXPECT_EQ(m_plugin.deportTree(nullptr, &alternate, nullptr), 3);
  EXPECT_EQ(trace().back(), "L4 Not a valid mount point path [/with blank]");
  EXPECT_THAT(m_commands.events(), IsEmpty());
}

TEST_F(UnmountMachinery, MountOfAResourceIsRepeatedWhenTheMountTableCannotBeReadAfterItFailed) {
  m_commands.answerNext({});
  m_commands.answerNext({11, 32, {"dirty"}, [this] { m_commands.hideMountTable(); }});
  std::string device = "/dev/v";
  std::string mountPoint = "/mnt/v";
  char* devices[] = {device.data()};
  char** paths = nullptr;
  int count = 0;
  EXPECT_EQ(m_plugin.onlineResource(devices, 1, mountPoint.data(), nullptr, nullptr, nullptr, 0, &paths, &count), 0);
  EXPECT_THAT(m_commands.events(), ElementsAre("/bin/mkdir -p  /mnt/v", "/bin/mount -t qmfs  /dev/v /mnt/v",
                                               "/sbin/fsck -y -t qmfs  /dev/v", "/bin/mount -t qmfs  /dev/v /mnt/v"));
  for (const RecordedCommand& command : m_commands.commands()) EXPECT_EQ(command.timeoutSeconds, 600);
  ASSERT_EQ(count, 1);
  EXPECT_STREQ(paths[0], "/mnt/v");
  qmfi_free_buf(paths[0], mountPoint.size() + 1);
  std::free(paths);
}

TEST_F(UnmountMachinery, NoListOfDescriptorsIsNothingToClose) {
  EXPECT_NO_FATAL_FAILURE(m_plugin.closeFDList(nullptr, 3));
  EXPECT_THAT(trace(), IsEmpty());
}

}  // namespace

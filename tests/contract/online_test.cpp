// Nodes brought online and taken offline, and snapshots disposed of.
#include "operations_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

const std::string DEVICE = "/dev/qm/dsk/dg1/snap1";

constexpr int bringOnlineMode = 1;
constexpr int takeOfflineMode = 2;

class Online : public OperationsTest {
 protected:
  int bringOnline(kfi_domain& node, kfi_disposition disposition = 0) {
    return plugin.online(nullptr, &node, bringOnlineMode, disposition);
  }
  int takeOffline(kfi_domain& node, kfi_disposition disposition) {
    return plugin.online(nullptr, &node, takeOfflineMode, disposition);
  }
};

// What comes before the commands.
TraceRecords lookedUp(const std::string& device = DEVICE) {
  return {{3, "Child is : " + device}, {6, "Calling qmfs_getmnt"}};
}

TEST_F(Online, MakesTheMountPointAndMountsWithTheNodesOptions) {
  kfi_domain& node = restoredNode("/data_alt", DEVICE, "ro,delaylog");

  EXPECT_EQ(bringOnline(node), 0);

  EXPECT_THAT(programs.commands(),
              ElementsAre("/bin/mkdir -p /data_alt", "/bin/mount -t qmfs -o ro,delaylog " + DEVICE + " /data_alt"));
  EXPECT_THAT(trace(),
              ElementsAreArray(joined(lookedUp(), TraceRecords{{3, "Command : /bin/mkdir -p  /data_alt"},
                                                               {3, "Command : /bin/mount -t qmfs  -o ro,delaylog " +
                                                                       DEVICE + " /data_alt"}})));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Online, UsesTheOptionsAndTheDeviceThatNodeInitialisationFound) {
  table.add("/dev/qm/dsk/dg1/vol1", "/data", "qmfs", "log,ro");
  kfi_domain& node = initialisedNode("/data");
  table.write("");
  forget();
  EXPECT_EQ(bringOnline(node), 0);
  EXPECT_THAT(programs.commands(),
              ElementsAre("/bin/mkdir -p /data", "/bin/mount -t qmfs -o ro /dev/qm/dsk/dg1/vol1 /data"));
}

TEST_F(Online, ANodeWithoutMountOptionsStillGetsTheOptionPart) {
  EXPECT_EQ(bringOnline(restoredNode("/data", DEVICE, "")), 0);
  EXPECT_THAT(trace(), ElementsAreArray(joined(
                           lookedUp(), TraceRecords{{3, "Command : /bin/mkdir -p  /data"},
                                                    {3, "Command : /bin/mount -t qmfs  -o  " + DEVICE + " /data"}})));
}

TEST_F(Online, MountsTheFirstOfSeveralSubObjects) {
  restoredNode("/data", DEVICE);
  kfi_domain& node = restoredNode("/data", "/dev/qm/dsk/dg1/other");
  ASSERT_THAT(subObjectsOf(node), ElementsAre(DEVICE, "/dev/qm/dsk/dg1/other"));
  EXPECT_EQ(bringOnline(node), 0);
  EXPECT_EQ(programs.commands().back(), "/bin/mount -t qmfs -o rw " + DEVICE + " /data");
}

TEST_F(Online, ADeviceMountedOnTheNodesOwnMountPointIsLeftAloneWithoutAnyCommand) {
  kfi_domain& node = restoredNode("/data", DEVICE);
  table.add(DEVICE, "/data", "qmfs", "ro,log");
  EXPECT_EQ(bringOnline(node), 0);
  EXPECT_THAT(trace(), ElementsAreArray(joined(
                           lookedUp(), TraceRecords{{3, "Device: " + DEVICE + " :: mount: /data :: mnt_opts: ro,log"},
                                                    {3, "Device {" + DEVICE + "} is already mounted"}})));
  expectNothingDone();
}

TEST_F(Online, ADeviceMountedOnAnotherDirectoryIsReportedAndNothingIsRun) {
  kfi_domain& node = restoredNode("/data", DEVICE);
  for (const std::string elsewhere : {"/data/", "/elsewhere"}) {
    table.write("");
    // The type does not matter, and the first line of the device decides.
    table.add(DEVICE, elsewhere, "xfs", "rw");
    table.add(DEVICE, "/data", "qmfs", "rw");
    forget();
    EXPECT_EQ(bringOnline(node), 1088);
    EXPECT_THAT(
        trace(),
        ElementsAreArray(joined(
            lookedUp(), TraceRecords{{3, "Device: " + DEVICE + " :: mount: " + elsewhere + " :: mnt_opts: rw"},
                                     {2, "Device {" + DEVICE + "} is mounted on different mount point already"}})));
    expectNothingDone();
  }
}

TEST_F(Online, FailsWhenTheMountTableCannotBeRead) {
  kfi_domain& node = restoredNode("/data", DEVICE);
  table.makeUnreadable();
  EXPECT_EQ(bringOnline(node), 6);
  EXPECT_THAT(trace(), ElementsAreArray(joined(lookedUp(), TraceRecords{{1, "Mount point entry lookup failed"}})));
  expectNothingDone();
}

TEST_F(Online, AMountPointThatCannotBeMadeIsAnError) {
  programs.answer("/bin/mkdir", Answer().prints("one ").prints("two").exits(1));
  EXPECT_EQ(bringOnline(restoredNode("/data", DEVICE)), 6);
  EXPECT_THAT(programs.commands(), ElementsAre("/bin/mkdir -p /data"));
  EXPECT_THAT(trace(),
              ElementsAreArray(joined(
                  lookedUp(), TraceRecords{{3, "Command : /bin/mkdir -p  /data"},
                                           {1, "command '/bin/mkdir -p  /data' failed with message 'one two'."}})));
  expectExecPipeMessage("KFI_EXEC_PIPE_CMD_FAILED", "one two");
}

TEST_F(Online, AMountThatFailsLeavesTheMountPoint) {
  const std::string path = makeDirectory("parent") + "/data";
  programs.answer("/bin/mkdir", Answer().makesDirectory());
  programs.answer("/bin/mount", Answer().complains("bad superblock").exits(32));
  EXPECT_EQ(bringOnline(restoredNode(path, DEVICE, "rw")), 6);
  const std::string command = "/bin/mount -t qmfs  -o rw " + DEVICE + " " + path;
  EXPECT_THAT(trace(),
              ElementsAreArray(joined(
                  lookedUp(), TraceRecords{{3, "Command : /bin/mkdir -p  " + path},
                                           {3, "Command : " + command},
                                           {1, "command '" + command + "' failed with message 'bad superblock'."}})));
  expectExecPipeMessage("KFI_EXEC_PIPE_CMD_FAILED", "bad superblock");
  EXPECT_EQ(programs.commands().size(), 2u);
  EXPECT_TRUE(std::filesystem::is_directory(path));
}

TEST_F(Online, IsInvalidWithoutNodePrivateDataOrSubObject) {
  kfi_domain nameless{};
  qmfi_objid emptyObject{};
  kfi_domain& withoutSubObject = node("/data");
  ASSERT_EQ(plugin.init_node(&withoutSubObject, nullptr, 0, nullptr), 0);
  forget();
  EXPECT_EQ(plugin.online(nullptr, nullptr, bringOnlineMode, 0), 3);
  EXPECT_EQ(bringOnline(nameless), 3);
  nameless.fid_objid = &emptyObject;
  EXPECT_EQ(bringOnline(nameless), 3);
  EXPECT_EQ(bringOnline(node("/new")), 3);
  EXPECT_EQ(bringOnline(withoutSubObject), 3);
  EXPECT_EQ(plugin.online(nullptr, nullptr, takeOfflineMode, 1), 3);
  EXPECT_THAT(trace(), IsEmpty());
  expectNothingDone();
}

TEST_F(Online, RefusesNamesThatACommandCannotCarry) {
  for (const std::string& path : UNUSABLE_PATHS) {
    EXPECT_EQ(bringOnline(restoredNode(path, DEVICE)), 3) << "mount point " << path;
    EXPECT_THAT(trace(),
                ElementsAreArray(joined(lookedUp(), TraceRecords{{4, "Not a valid mount point path [" + path + "]"}})));
    EXPECT_EQ(bringOnline(restoredNode("/node of " + path, "/dev" + path)), 3) << "both " << path;
    EXPECT_EQ(refusals().size(), 1u);
    expectNothingDone();
  }
  EXPECT_EQ(bringOnline(restoredNode("/data", "/dev/with blank")), 3);
  EXPECT_THAT(refusals(), ElementsAre("Not a valid device path [/dev/with blank]"));
  expectNothingDone();
}

TEST_F(Online, MountOptionsMayHoldBlanks) {
  EXPECT_EQ(bringOnline(restoredNode("/data", DEVICE, "rw  -o ro")), 0);
  EXPECT_EQ(programs.commands().back(), "/bin/mount -t qmfs -o rw -o ro " + DEVICE + " /data");
}

// Offline.

TraceRecords unmounted(const std::string& path) {
  return {{6, "CQmFSPlugin::QmFSUmount calling qmfs_getsubobj for node : " + path},
          {6, "Searching for umount cmd : /opt/KRIB/bin/qmumount"},
          {3, "Found umount cmd : /opt/KRIB/bin/qmumount"},
          {3, "Command : /opt/KRIB/bin/qmumount -o force  " + path},
          {6, "executeCommand - Command : /opt/KRIB/bin/qmumount -o force  " + path}};
}

TEST_F(Online, TakingOfflineUnmountsByForceAndKeepsTheMountPoint) {
  for (const kfi_disposition disposition : {0, 2, -1}) {
    const std::string path = makeDirectory("data");
    kfi_domain& node = mountedNode(path, DEVICE);
    EXPECT_EQ(takeOffline(node, disposition), 0);
    EXPECT_THAT(programs.commands(), ElementsAre("/opt/KRIB/bin/qmumount -o force " + path));
    EXPECT_THAT(trace(), ElementsAreArray(unmounted(path)));
  }
}

TEST_F(Online, TakingOfflineWithDispositionOneRemovesTheMountPoint) {
  const std::string path = makeDirectory("data");
  kfi_domain& node = mountedNode(path, DEVICE);
  EXPECT_EQ(takeOffline(node, 1), 0);
  EXPECT_THAT(programs.commands(), ElementsAre("/opt/KRIB/bin/qmumount -o force " + path, "/bin/rmdir " + path));
  EXPECT_THAT(trace(), ElementsAreArray(joined(unmounted(path), TraceRecords{{3, "Command : /bin/rmdir  " + path}})));
}

TEST_F(Online, TakingOfflineNeedsNoPrivateData) {
  table.add(DEVICE, "/data");
  EXPECT_EQ(takeOffline(node("/data"), 0), 0);
  EXPECT_THAT(programs.commands(), ElementsAre("/opt/KRIB/bin/qmumount -o force /data"));
}

TEST_F(Online, TakingOfflineWithDispositionOneRunsNoRmdirWhenTheMountPointIsGone) {
  kfi_domain& node = mountedNode("/nowhere/data", DEVICE);
  EXPECT_EQ(takeOffline(node, 1), 0);
  EXPECT_THAT(programs.commands(), ElementsAre("/opt/KRIB/bin/qmumount -o force /nowhere/data"));
}

TEST_F(Online, TakingOfflineWhatIsNotMountedOnlyRemovesTheMountPoint) {
  const std::string path = makeDirectory("data");
  EXPECT_EQ(takeOffline(restoredNode(path, DEVICE), 1), 0);
  EXPECT_THAT(programs.commands(), ElementsAre("/bin/rmdir " + path));
  EXPECT_THAT(trace(), ElementsAre(traced(6, "CQmFSPlugin::QmFSUmount calling qmfs_getsubobj for node : " + path),
                                   traced(3, "Mountpoint " + path + " is already umounted"),
                                   traced(3, "Command : /bin/rmdir  " + path)));
}

TEST_F(Online, TakingOfflineReturnsTheResultOfAnUnmountThatFailed) {
  kfi_domain& node = restoredNode("/data", DEVICE);
  table.makeUnreadable();
  EXPECT_EQ(takeOffline(node, 1), 6);
  EXPECT_THAT(trace(), ElementsAre(traced(6, "CQmFSPlugin::QmFSUmount calling qmfs_getsubobj for node : /data"),
                                   traced(1, "Mount point entry lookup failed"), traced(1, "Umount failed for /data")));
  expectNothingDone();
}

TEST_F(Online, TakingABusyNodeOfflineReturnsBusyAndKeepsTheMountPoint) {
  const std::string path = makeDirectory("data");
  kfi_domain& node = mountedNode(path, DEVICE);
  programs.answer("/opt/KRIB/bin/qmumount", Answer().complains("busy").exits(1));
  EXPECT_EQ(takeOffline(node, 1), 32);
  EXPECT_EQ(trace().back(), traced(1, "Umount failed for " + path));
  EXPECT_EQ(programs.commands().size(), 6u);
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Online, AnUnmountThatThrowsEndsTakingOfflineWithoutItsOwnTraceLine) {
  const std::string path = makeDirectory("data");
  kfi_domain& node = mountedNode(path, DEVICE);
  programs.answer("/opt/KRIB/bin/qmumount", Answer().complains("not permitted").exits(3));
  EXPECT_EQ(takeOffline(node, 1), 6);
  EXPECT_EQ(trace().back(), traced(1, "unmount failed"));
  expectExitStatusMessage(3);
}

TEST_F(Online, AMountPointThatCannotBeRemovedIsAnErrorAfterTheUnmount) {
  const std::string path = makeDirectory("data");
  kfi_domain& node = mountedNode(path, DEVICE);
  programs.answer("/bin/rmdir", Answer().complains("not empty").exits(1));
  EXPECT_EQ(takeOffline(node, 1), 6);
  EXPECT_THAT(trace(), ElementsAreArray(joined(
                           unmounted(path),
                           TraceRecords{{3, "Command : /bin/rmdir  " + path},
                                        {1, "command '/bin/rmdir  " + path + "' failed with message 'not empty'."}})));
  expectExecPipeMessage("KFI_EXEC_PIPE_CMD_FAILED", "not empty");
}

TEST_F(Online, TakingOfflineRefusesAMountPointThatACommandCannotCarry) {
  const std::string path = makeDirectory("with blank");
  EXPECT_EQ(takeOffline(restoredNode(path, DEVICE), 1), 3);
  EXPECT_THAT(refusals(), ElementsAre("Not a valid mount point path [" + path + "]"));
  std::string written = path;
  written.replace(written.find(' '), 1, "\\040");
  table.add(DEVICE, written);
  EXPECT_EQ(takeOffline(restoredNode(path, DEVICE), 1), 3);
  EXPECT_THAT(refusals(), ElementsAre("Not a valid mount point path [" + path + "]"));
  expectNothingDone();
}

TEST_F(Online, TakingOfflineRunsNoRmdirForAMountPointThatIsALinkToNowhere) {
  const std::string path = makeDirectory("parent") + "/data";
  std::filesystem::create_symlink("/nowhere", path);
  EXPECT_EQ(takeOffline(mountedNode(path, DEVICE), 1), 0);
  EXPECT_THAT(programs.commands(), ElementsAre("/opt/KRIB/bin/qmumount -o force " + path));
}

TEST_F(Online, AnyOtherModeDoesNothing) {
  for (const int mode : {0, 3, -1}) {
    EXPECT_EQ(plugin.online(nullptr, &mountedNode("/data", DEVICE), mode, 1), 0);
    EXPECT_EQ(plugin.online(nullptr, nullptr, mode, 1), 0);
    EXPECT_THAT(trace(), IsEmpty());
    expectNothingDone();
  }
}

// Dispose.

TEST_F(Online, DisposeWithDispositionOneTakesTheNodeOfflineAndRemovesIt) {
  const std::string path = makeDirectory("data");
  kfi_domain& node = mountedNode(path, DEVICE);
  EXPECT_EQ(plugin.dispose(nullptr, &node, nullptr, 1), 0);
  EXPECT_THAT(programs.commands(), ElementsAre("/opt/KRIB/bin/qmumount -o force " + path, "/bin/rmdir " + path));
  EXPECT_THAT(trace(), ElementsAreArray(joined(unmounted(path), TraceRecords{{3, "Command : /bin/rmdir  " + path}})));
}

TEST_F(Online, DisposeWithAnotherDispositionLeavesTheFileSystemMounted) {
  for (const kfi_disposition disposition : {0, 2, -1}) {
    EXPECT_EQ(plugin.dispose(nullptr, &mountedNode("/data", DEVICE), nullptr, disposition), 0);
    EXPECT_EQ(plugin.dispose(nullptr, nullptr, nullptr, disposition), 0);
    EXPECT_THAT(trace(), IsEmpty());
    expectNothingDone();
  }
}

TEST_F(Online, DisposeWithoutANodeIsInvalid) {
  EXPECT_EQ(plugin.dispose(nullptr, nullptr, nullptr, 1), 3);
  expectNothingDone();
}

TEST_F(Online, AnErrorBelowDisposeIsPushedOnce) {
  const std::string path = makeDirectory("data");
  kfi_domain& node = mountedNode(path, DEVICE);
  programs.answer("/bin/rmdir", Answer().complains("not empty").exits(1));
  EXPECT_EQ(plugin.dispose(nullptr, &node, nullptr, 1), 6);
  expectExecPipeMessage("KFI_EXEC_PIPE_CMD_FAILED", "not empty");
}

}  // namespace

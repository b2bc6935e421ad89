// A device's file system brought online as a plain resource.
#include <cstdlib>
#include <cstring>

#include "operations_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

const std::string DEVICE = "/dev/qm/dsk/dg/vol1";

class OnlineResource : public OperationsTest {
 protected:
  void TearDown() override {
    release();
    OperationsTest::TearDown();
  }

  int online(const std::string& device, const char* mountPoint, const char* options = nullptr,
             const char* type = "qmfs") {
    release();
    std::string name = device;
    char* devices[] = {name.data()};
    return plugin.online_resource(devices, 1, const_cast<char*>(mountPoint), const_cast<char*>(type),
                                  const_cast<char*>(options), nullptr, 0, &paths, &pathCount);
  }

  // The path that was handed out, as it is to be given back.
  std::string path() const {
    EXPECT_EQ(pathCount, 1);
    return paths != nullptr && paths[0] != nullptr ? paths[0] : "";
  }
  void expectNoPath() const {
    EXPECT_EQ(paths, nullptr);
    EXPECT_EQ(pathCount, 0);
  }

  char** paths = nullptr;
  int pathCount = 0;

 private:
  void release() {
    if (paths != nullptr) {
      framework.qmfi_free_buf(paths[0], std::strlen(paths[0]) + 1);
      std::free(paths);
    }
    paths = nullptr;
    pathCount = 0;
  }
};

TraceRecord lookedUp(const std::string& device = DEVICE) {
  return {6, "Calling qmfs_getmnt for :" + device};
}

TraceRecord made(const std::string& path) {
  return {3, "Command : /bin/mkdir -p  " + path};
}

// What a mount leaves before its result is known.
TraceRecords run(const std::string& command) {
  return {{3, "Command : " + command}, {6, "executeCommand - Command : " + command}};
}

TEST_F(OnlineResource, MountsOnTheGivenMountPointAndHandsItOut) {
  EXPECT_EQ(online(DEVICE, "/data", "mountOptions=ro,log"), 0);
  EXPECT_EQ(path(), "/data");
  EXPECT_THAT(programs.commands(),
              ElementsAre("/bin/mkdir -p /data", "/bin/mount -t qmfs -o ro,log " + DEVICE + " /data"));
  EXPECT_THAT(trace(), ElementsAreArray(joined(TraceRecords{lookedUp(), made("/data")},
                                               run("/bin/mount -t qmfs  -o ro,log " + DEVICE + " /data"))));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(OnlineResource, ANullOptionsStringMountsWithoutAnyOption) {
  EXPECT_EQ(online(DEVICE, "/data"), 0);
  EXPECT_THAT(trace(), ElementsAreArray(joined(TraceRecords{lookedUp(), made("/data")},
                                               run("/bin/mount -t qmfs  " + DEVICE + " /data"))));
}

TEST_F(OnlineResource, TheOptionStringDecidesOnTheMountOptions) {
  const std::string byDefault = "/bin/mount -t qmfs  -o  -o mincache=closesync  " + DEVICE + " /data";
  const std::vector<std::pair<const char*, std::string>> cases = {
      // Without "mountOptions" the default string brings its own option flag, so that there are two.
      {"", byDefault},
      {"label=x", byDefault},
      {"MountOptions=ro", byDefault},
      {"label=mountOptions=ro", byDefault},
      {"mountOptions=ro", "/bin/mount -t qmfs  -o ro " + DEVICE + " /data"},
      {"label=x;mountOptions=ro,log;size=1", "/bin/mount -t qmfs  -o ro,log " + DEVICE + " /data"},
      {"mountOptions=a=b", "/bin/mount -t qmfs  -o a=b " + DEVICE + " /data"},
      {"mountOptions= rw ", "/bin/mount -t qmfs  -o  rw  " + DEVICE + " /data"},
      {"mountOptions=", "/bin/mount -t qmfs  " + DEVICE + " /data"},
  };
  for (const auto& [options, command] : cases) {
    forget();
    EXPECT_EQ(online(DEVICE, "/data", options), 0) << options;
    EXPECT_THAT(trace(), ElementsAreArray(joined(TraceRecords{lookedUp(), made("/data")}, run(command))));
  }
}

TEST_F(OnlineResource, WithoutAMountPointADeviceIsMountedOnItsOwnNameInTheRoot) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"/dev/qm/dsk/dg/vol1", "/vol1"}, {"/vol1", "/vol1"}, {"vol1", "/vol1"}, {"dg//vol1", "/vol1"}};
  for (const auto& [device, mountPoint] : cases) {
    forget();
    EXPECT_EQ(online(device, nullptr), 0) << device;
    EXPECT_EQ(path(), mountPoint);
    EXPECT_THAT(trace(),
                ElementsAreArray(joined(TraceRecords{{6, "CQmFSPlugin::generateName recieved name : " + device},
                                                     {6, "CQmFSPlugin::generateName generated name : " + mountPoint},
                                                     lookedUp(device),
                                                     made(mountPoint)},
                                        run("/bin/mount -t qmfs  " + device + " " + mountPoint))));
  }
}

TEST_F(OnlineResource, AGeneratedMountPointThatIsOnlyASlashIsRefused) {
  for (const std::string device : {"/dev/qm/dsk/dg/", "/"}) {
    forget();
    EXPECT_EQ(online(device, nullptr), 3) << device;
    EXPECT_THAT(refusals(), ElementsAre("Not a valid mount point path [/]"));
    expectNoPath();
  }
  expectNothingDone();
  // The same one given is what was asked for.
  EXPECT_EQ(online(DEVICE, "/"), 0);
}

TEST_F(OnlineResource, ADeviceIsLookedUpByTheNameThatIsGiven) {
  const std::string raw = "/dev/qm/rdsk/dg/vol1";
  table.add(DEVICE, "/data");
  EXPECT_EQ(online(raw, "/data"), 0);
  EXPECT_THAT(programs.commands(), ElementsAre("/bin/mkdir -p /data", "/bin/mount -t qmfs " + DEVICE + " /data"));

  table.write("");
  table.add(raw, "/elsewhere");
  forget();
  EXPECT_EQ(online(raw, "/data"), 1088);
  EXPECT_THAT(trace(), ElementsAre(lookedUp(raw), traced(3, "Device: " + raw + " :: mntPoint: /elsewhere"),
                                   traced(1, "Device {" + raw + "} is mounted on different mount point already")));
  expectNothingDone();
}

TEST_F(OnlineResource, ARawDeviceIsMountedByItsBlockDevice) {
  EXPECT_EQ(online("/dev/qm/rdsk/dg/vol1", "/data"), 0);
  EXPECT_THAT(trace(), ElementsAreArray(joined(TraceRecords{lookedUp("/dev/qm/rdsk/dg/vol1"), made("/data")},
                                               run("/bin/mount -t qmfs  " + DEVICE + " /data"))));
}

TEST_F(OnlineResource, AnEmptyMountPointCountsAsGiven) {
  EXPECT_EQ(online(DEVICE, ""), 0);
  EXPECT_EQ(path(), "");
  EXPECT_THAT(trace(),
              ElementsAreArray(joined(TraceRecords{lookedUp(), made("")}, run("/bin/mount -t qmfs  " + DEVICE + " "))));
}

TEST_F(OnlineResource, ADeviceMountedOnTheRequestedMountPointReturnsItWithoutMount) {
  table.add(DEVICE, "/data", "xfs");
  EXPECT_EQ(online(DEVICE, "/data"), 0);
  EXPECT_EQ(path(), "/data");
  EXPECT_THAT(trace(), ElementsAre(lookedUp(), traced(3, "Device: " + DEVICE + " :: mntPoint: /data"),
                                   traced(3, "Device {" + DEVICE + "} is already mounted")));
  expectNothingDone();
}

TEST_F(OnlineResource, ADeviceMountedOnTheGeneratedMountPointReturnsItToo) {
  table.add(DEVICE, "/vol1");
  EXPECT_EQ(online(DEVICE, nullptr), 0);
  EXPECT_EQ(path(), "/vol1");
  expectNothingDone();
}

TEST_F(OnlineResource, ADeviceMountedOnAnotherMountPointIsReported) {
  for (const std::string elsewhere : {"/data/", "/elsewhere"}) {
    table.write("");
    table.add(DEVICE, elsewhere);
    forget();
    EXPECT_EQ(online(DEVICE, "/data"), 1088);
    EXPECT_THAT(trace(), ElementsAre(lookedUp(), traced(3, "Device: " + DEVICE + " :: mntPoint: " + elsewhere),
                                     traced(1, "Device {" + DEVICE + "} is mounted on different mount point already")));
    expectNoPath();
  }
  expectNothingDone();
}

TEST_F(OnlineResource, FailsWhenTheMountTableCannotBeRead) {
  table.makeUnreadable();
  EXPECT_EQ(online(DEVICE, "/data"), 6);
  EXPECT_THAT(trace(), ElementsAre(lookedUp(), traced(1, "Mount point entry lookup failed")));
  expectNoPath();
  expectNothingDone();
}

TEST_F(OnlineResource, AnyOtherTypeIsRefused) {
  for (const char* const type : {"QMFS", "qmfs ", "xfs", ""}) {
    forget();
    EXPECT_EQ(online(DEVICE, "/data", nullptr, type), 3);
    EXPECT_THAT(trace(), ElementsAre(traced(1, std::string("type ") + type + " is not supported by qmfs provider")));
    expectNoPath();
  }
  expectNothingDone();
  EXPECT_EQ(online(DEVICE, "/data", nullptr, nullptr), 0);
}

TEST_F(OnlineResource, WithoutOutArgumentsIsInvalidAndTouchesNothing) {
  std::string name = DEVICE;
  char* devices[] = {name.data()};
  char* old[] = {name.data()};
  char** list = old;
  int count = 7;
  EXPECT_EQ(plugin.online_resource(devices, 1, nullptr, "xfs"_text, nullptr, nullptr, 0, nullptr, &count), 3);
  EXPECT_EQ(plugin.online_resource(devices, 1, nullptr, nullptr, nullptr, nullptr, 0, &list, nullptr), 3);
  EXPECT_EQ(count, 7);
  EXPECT_EQ(list, old);
  EXPECT_THAT(trace(), IsEmpty());
  expectNothingDone();
}

TEST_F(OnlineResource, ClearsItsOutArgumentsBeforeItRefuses) {
  std::string name = DEVICE;
  char* devices[] = {name.data()};
  char* none[] = {nullptr};
  struct Case {
    char** devices;
    char* type;
  };
  for (const Case& one : {Case{devices, "xfs"_text}, Case{nullptr, nullptr}, Case{none, nullptr}}) {
    char** list = devices;
    int count = 7;
    EXPECT_EQ(plugin.online_resource(one.devices, 1, "/data"_text, one.type, nullptr, nullptr, 0, &list, &count), 3);
    EXPECT_EQ(list, nullptr);
    EXPECT_EQ(count, 0);
  }
  expectNothingDone();
}

TEST_F(OnlineResource, RefusesNamesThatACommandCannotCarry) {
  for (const std::string& name : UNUSABLE_PATHS) {
    forget();
    EXPECT_EQ(online(name, "/data"), 3) << "device " << name;
    EXPECT_THAT(trace(), ElementsAre(lookedUp(name), traced(4, "Not a valid device path [" + name + "]")));
    forget();
    EXPECT_EQ(online(DEVICE, name.c_str()), 3) << "mount point " << name;
    EXPECT_THAT(trace(), ElementsAre(lookedUp(), traced(4, "Not a valid mount point path [" + name + "]")));
    forget();
    EXPECT_EQ(online("/dev" + name, nullptr), 3) << "generated for " << name;
    EXPECT_THAT(refusals(), ElementsAre("Not a valid device path [/dev" + name + "]"));
    expectNoPath();
  }
  expectNothingDone();
}

TEST_F(OnlineResource, AMountPointThatCannotBeMadeIsAnError) {
  programs.answer("/bin/mkdir", Answer().complains("no ").complains("room").exits(4));
  EXPECT_EQ(online(DEVICE, "/data"), 6);
  EXPECT_THAT(programs.commands(), ElementsAre("/bin/mkdir -p /data"));
  EXPECT_THAT(trace(), ElementsAre(lookedUp(), made("/data"),
                                   traced(1, "QMFS:onlineResource -execPipe.Exec failed with errorCode [11]"),
                                   traced(1,
                                          "QMFS:onlineResource - command '/bin/mkdir -p  /data' failed with "
                                          "errorCode [4] message 'no room'.")));
  expectExecPipeMessage("KFI_EXEC_PIPE_CMD_FAILED", "no room");
  expectNoPath();
}

TEST_F(OnlineResource, WithoutMemoryForThePathIsAnError) {
  const std::string mountPoint = "/data-of-this-test";
  importedCalls().failBuffer(mountPoint.size() + 1);
  EXPECT_EQ(online(DEVICE, mountPoint.c_str()), 6);
  const auto pushed = messages();
  ASSERT_EQ(pushed.size(), 1u);
  EXPECT_EQ(pushed[0].id, "MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION");
  expectNoPath();
}

// A mount that fails.

class FailingMount : public OnlineResource {
 protected:
  const std::string m_mount = "/bin/mount -t qmfs  " + DEVICE + " /data";
  const std::string m_fsck = "/sbin/fsck -y -t qmfs  " + DEVICE;

  // What a mount leaves that ended with a status and left nothing mounted.
  TraceRecords failure(const std::string& output, int exitStatus = 32) const {
    return joined(reported(output, exitStatus),
                  TraceRecords{{2, "CQMFS::onlineResource - mount command failed to mount device"}});
  }
  TraceRecords reported(const std::string& output, int exitStatus = 32) const {
    return joined(TraceRecords{{3, "Command : " + m_mount}}, executedAndFailed(m_mount, exitStatus, output),
                  TraceRecords{{2, "qmfs::onlineResource - execPipe returned with error code [11]"},
                               {2, "qmfs::onlineResource - mount command [" + m_mount + "] failed with errorCode [" +
                                       std::to_string(exitStatus) + "] message '" + output + "'."}});
  }
  TraceRecords checkedAfter(const std::string& output) const {
    return {{2, "Mount command failed with message '" + output + "' trying fsck."}, {3, "Command : " + m_fsck}};
  }
  static TraceRecords start() { return {lookedUp(), made("/data")}; }
};

TEST_F(FailingMount, IsTriedAgainAfterAnFsckOfTheBlockDevice) {
  programs.answerNext("/bin/mount", Answer().complains("dirty ").complains("log").exits(32));
  EXPECT_EQ(online("/dev/qm/rdsk/dg/vol1", "/data"), 0);
  EXPECT_EQ(path(), "/data");
  EXPECT_THAT(programs.commands(),
              ElementsAre("/bin/mkdir -p /data", "/bin/mount -t qmfs " + DEVICE + " /data",
                          "/sbin/fsck -y -t qmfs " + DEVICE, "/bin/mount -t qmfs " + DEVICE + " /data"));
  EXPECT_THAT(trace(), ElementsAreArray(joined(TraceRecords{lookedUp("/dev/qm/rdsk/dg/vol1"), made("/data")},
                                               failure("dirty log"), checkedAfter("dirty log"), run(m_mount))));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(FailingMount, ThatFailsTwiceRunsFsckExactlyOnceBetweenTheAttempts) {
  programs.answerNext("/bin/mount", Answer().complains("first").exits(32));
  programs.answerNext("/bin/mount", Answer().complains("second").exits(1));
  programs.answer("/bin/mount", Answer().prints("list"));
  programs.answer("/sbin/fuser", Answer().prints("4711"));
  EXPECT_EQ(online(DEVICE, "/data"), 6);
  EXPECT_THAT(
      programs.commands(),
      ElementsAre("/bin/mkdir -p /data", "/bin/mount -t qmfs " + DEVICE + " /data", "/sbin/fsck -y -t qmfs " + DEVICE,
                  "/bin/mount -t qmfs " + DEVICE + " /data", "/sbin/fuser /data", "/bin/mount -t qmfs"));
  EXPECT_THAT(trace(),
              ElementsAreArray(joined(
                  start(), failure("first"), checkedAfter("first"), failure("second", 1),
                  TraceRecords{{1, "Mount command failed with message 'second'."},
                               {3,
                                "dumpInformationMount = Dumping stat information for mount point /data"
                                "Stat information failed for the mount point /datawith error code 2"},
                               {3, "dumpInformationFuser: FUSER_CMD = /sbin/fuser /data"},
                               {3,
                                "dumpInformationFuser = Dumping fuser data for mountpoint using command /sbin/fuser "
                                "/data4711"},
                               {3, "dumpInformationMountCmd: MOUNT_CMD = /bin/mount -t qmfs "},
                               {3, "Command : /bin/mount -t qmfs "},
                               {3,
                                "dumpInformationMountCmd = Dumping information about mounted devices using command "
                                "/bin/mount -t qmfs list"}})));
  expectExecPipeMessage("KFI_EXEC_PIPE_CMD_FAILED", "second");
  expectNoPath();
}

TEST_F(FailingMount, ThatNeverthelessLeftTheDeviceMountedIsSuccess) {
  const std::string line = DEVICE + " /data qmfs rw 0 0";
  const TraceRecords found = {{2, "CQMFS::onlineResource - device is mounted on mountPoint"}};
  programs.answer("/bin/mount", Answer().mounts(line).complains("no mtab").exits(16));
  EXPECT_EQ(online(DEVICE, "/data"), 0);
  EXPECT_EQ(path(), "/data");
  EXPECT_THAT(trace(), ElementsAreArray(joined(start(), reported("no mtab", 16), found)));
  EXPECT_EQ(programs.commands().size(), 2u);

  // The same in the second attempt.
  table.write("");
  forget();
  programs.answerNext("/bin/mount", Answer().complains("dirty").exits(32));
  EXPECT_EQ(online(DEVICE, "/data"), 0);
  EXPECT_THAT(trace(), ElementsAreArray(
                           joined(start(), failure("dirty"), checkedAfter("dirty"), reported("no mtab", 16), found)));
}

TEST_F(FailingMount, ThatLeftAnotherTypeMountedIsAFailure) {
  programs.answerNext("/bin/mount", Answer().mounts(DEVICE + " /data xfs rw 0 0").exits(32));
  EXPECT_EQ(online(DEVICE, "/data"), 0);
  EXPECT_EQ(programs.commands().size(), 4u);
}

TEST_F(FailingMount, WhoseFsckFailsIsNotTriedAgain) {
  for (const int status : {1, 4, 8}) {
    programs.answer("/bin/mount", Answer().complains("dirty").exits(32));
    programs.answer("/sbin/fsck", Answer().complains("uncorrected").exits(status));
    forget();
    EXPECT_EQ(online(DEVICE, "/data"), 6);
    EXPECT_EQ(programs.commands().size(), 3u);
    EXPECT_THAT(trace(), ElementsAreArray(
                             joined(start(), failure("dirty"), checkedAfter("dirty"),
                                    TraceRecords{{1, "command '" + m_fsck + "' failed with message 'uncorrected'."}})));
    expectExecPipeMessage("KFI_EXEC_PIPE_CMD_FAILED", "uncorrected");
    expectNoPath();
  }
}

TEST_F(FailingMount, ThatDidNotEndByItselfIsReportedWithoutAStatus) {
  programs.answerNext("/bin/mount", Answer().complains("dying").diesOf(9));
  EXPECT_EQ(online(DEVICE, "/data"), 0);
  EXPECT_THAT(trace(),
              ElementsAreArray(
                  joined(start(), run(m_mount),
                         TraceRecords{{2, "executeCommand - Exec Pipe failed with error code [12] and message [dying]"},
                                      {2, "qmfs::onlineResource - execPipe returned with error code [12]"},
                                      {2, "CQMFS::onlineResource - mount command failed to mount device"}},
                         checkedAfter("dying"), run(m_mount))));
}

TEST_F(FailingMount, LeavesTheMountPoint) {
  const std::string directory = makeDirectory("parent") + "/data";
  programs.answer("/bin/mkdir", Answer().makesDirectory());
  programs.answer("/bin/mount", Answer().exits(32));
  EXPECT_EQ(online(DEVICE, directory.c_str()), 6);
  EXPECT_TRUE(std::filesystem::is_directory(directory));
}

}  // namespace

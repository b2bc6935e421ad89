// Snapshots of real file systems through qmfi.
// Volumes: "a", "b" and "c" mounted on /mnt/a, /mnt/b and /mnt/c.
#include <fcntl.h>
#include <linux/loop.h>
#include <sched.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "host_fixture.h"
#include "support/mount_lines.h"
#include "support/temporary_directory.h"
#include "support/text_file.h"
#include "support/writer.h"
#include "system/pipe.h"

namespace host_test {
namespace {

namespace fs = std::filesystem;

using testbed_test::mountLines;
using testbed_test::run;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::MatchesRegex;

using SnapshotTest = HostTest;

void writeEverywhere(const std::string& text) {
  for (const char* mountPoint : {"/mnt/a", "/mnt/b", "/mnt/c"}) {
    std::ofstream(std::string(mountPoint) + "/file") << text << mountPoint;
  }
}

void remove(const Snapshot& snapshot) {
  const auto outcome = qmfi({"snapshot", "delete", snapshot.id});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, "snapshot " + snapshot.id + " deleted\n");
}

// The kernel's line about what a process sees mounted on a directory; empty when that is nothing.
std::string mountInfo(const std::string& process, const std::string& directory) {
  for (const std::string& line : linesOf("/proc/" + process + "/mountinfo")) {
    if (line.find(" " + directory + " ") != std::string::npos) return line;
  }
  return {};
}

// A process with mounts of its own, which those of the test propagate to where they are shared.
class OtherMountNamespace {
 public:
  OtherMountNamespace() {
    qmfi_system::Pipe ready = qmfi_system::makePipe();
    qmfi_system::Pipe end = qmfi_system::makePipe();
    m_process = fork();
    if (m_process == 0) {
      end.writeEnd.reset();
      char byte = 0;
      if (unshare(CLONE_NEWNS) != 0 || write(ready.writeEnd.get(), &byte, 1) != 1) _exit(1);
      _exit(read(end.readEnd.get(), &byte, 1) == 0 ? 0 : 1);
    }
    m_end = std::move(end.writeEnd);
    ready.writeEnd.reset();
    char byte = 0;
    EXPECT_EQ(read(ready.readEnd.get(), &byte, 1), 1);
  }
  OtherMountNamespace(const OtherMountNamespace&) = delete;
  OtherMountNamespace& operator=(const OtherMountNamespace&) = delete;
  ~OtherMountNamespace() {
    m_end.reset();
    waitpid(m_process, nullptr, 0);
  }

  std::string process() const { return std::to_string(m_process); }

 private:
  pid_t m_process;
  qmfi_system::Descriptor m_end;
};

TEST_F(SnapshotTest, OfOneFileSystemIsCreatedListedAndDeleted) {
  const Snapshot snapshot = create({"/mnt/a"}, {"--name", "nightly"});
  EXPECT_EQ(snapshot.name, "nightly");
  ASSERT_EQ(snapshot.nodes.size(), 1U);
  EXPECT_EQ(snapshot.nodes[0].mountPoint, "/mnt/a");
  EXPECT_EQ(snapshot.nodes[0].device, "/dev/qm/dsk/dg1/a");
  EXPECT_EQ(snapshot.nodes[0].snapshotDevice, "/dev/qm/dsk/dg1/a-" + snapshot.id);
  EXPECT_THAT(mountLines(snapshot.nodes[0].alternate),
              ElementsAre(snapshot.nodes[0].snapshotDevice + " " + snapshot.nodes[0].alternate + " qmfs ro 0 0"));

  ASSERT_EQ(listedSnapshots().size(), 1U);
  EXPECT_EQ(listedSnapshots()[0].id, snapshot.id);
  EXPECT_EQ(qmfi({"snapshot", "delete", "nightly"}).status, 0);
  EXPECT_THAT(listedSnapshots(), IsEmpty());
}

// As "show --json" prints it, as a pattern.
std::string jsonOfA(const Snapshot& snapshot, const std::string& state) {
  const std::string mounted = state == "ready" ? "true" : "false";
  const std::string time = "\"[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\\.[0-9]{6}Z\"";
  const std::string number = "[1-9][0-9]*";
  const std::string receipt = "  \"receipt\": \\{\n    \"level\": \"group\",\n    \"begin\": " + time +
                              ",\n    \"end\": " + time + ",\n    \"since_start_us\": " + number +
                              ",\n    \"split_began_us\": " + number + ",\n    \"split_ended_us\": " + number +
                              ",\n    \"over_us\": " + std::to_string(snapshot.frozenMicroseconds) +
                              ",\n    \"may_end_us\": " + number +
                              ",\n    \"file_systems\": \\[\n      \\{\n        \"mount_point\": \"/mnt/a\",\n        "
                              "\"freeze_asked_us\": 0,\n        \"frozen_us\": " +
                              number + ",\n        \"proven_us\": " + number +
                              ",\n        \"thaw_asked_us\": " + number + ",\n        \"thawed_us\": " + number +
                              ",\n        \"thaw\": \"no_failure\",\n        \"longest_stall_us\": " + number +
                              "\n      \\}\n    \\]\n  \\},\n";
  return "\\{\n  \"id\": \"" + snapshot.id + "\",\n  \"name\": \"nightly\",\n  \"state\": \"" + state +
         "\",\n  \"phase\": \"" + state +
         "\",\n  \"created\": \"[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z\",\n  \"frozen_us\": " +
         std::to_string(snapshot.frozenMicroseconds) + ",\n  \"size\": [1-9][0-9]*,\n  \"mounted\": " + mounted +
         ",\n" + receipt +
         "  \"nodes\": \\[\n    \\{\n      \"mount_point\": \"/mnt/a\",\n      \"device\": \"/dev/qm/dsk/dg1/a\",\n"
         "      \"snapshot_device\": \"/dev/qm/dsk/dg1/a-" +
         snapshot.id + "\",\n      \"alternate\": \"" + snapshot.nodes.at(0).alternate +
         "\",\n      \"provider\": \"qmfsfi\",\n      \"splitter\": \"reflink\",\n      \"size\": [1-9][0-9]*,\n      "
         "\"mounted\": " +
         mounted + ",\n      \"needs\": [1-9][0-9]*,\n      \"free\": [1-9][0-9]*\n    \\}\n  \\]\n\\}\n";
}

// As "show" prints it, as a pattern.
std::string textOfA(const Snapshot& snapshot, const std::string& state) {
  const bool isMounted = state == "ready";
  const std::string size = "[0-9]+\\.[0-9] [KMG]iB";
  return "snapshot   " + snapshot.id +
         "\nname       nightly\ncreated    [0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\n"
         "frozen for [0-9]+\\.[0-9] ms\nproven     group\nstate      " +
         state + "\nmounted    " + (isMounted ? "yes" : "no") + "\nsize       " + size +
         "\n/mnt/a \\(/dev/qm/dsk/dg1/a, qmfsfi\\)\n  -> " + snapshot.nodes.at(0).alternate + " \\(/dev/qm/dsk/dg1/a-" +
         snapshot.id + "\\), " + (isMounted ? "" : "not ") + "mounted, " + size +
         " by reflink\n     a full overwrite needs " + size + " of " + size +
         " free\n     frozen from [0-9]+\\.[0-9] ms to [0-9]+\\.[0-9] ms, proven at [0-9]+\\.[0-9] ms; writes waited "
         "[0-9]+\\.[0-9] ms at most\n";
}

TEST_F(SnapshotTest, OfAGroupProvesThatAllItsFileSystemsWereFrozenAtOneTime) {
  const Snapshot snapshot = create({"/mnt/a", "/mnt/b"}, {"--require", "group"});
  EXPECT_THAT(qmfi({"snapshot", "show", snapshot.id}).output, HasSubstr("\nproven     group\n"));
  const auto known = nlohmann::json::parse(qmfi({"snapshot", "show", snapshot.id, "--json"}).output);
  const auto& receipt = known.at("receipt");
  EXPECT_EQ(receipt.at("level"), "group");
  ASSERT_EQ(receipt.at("file_systems").size(), 2U);
  EXPECT_EQ(receipt.at("file_systems")[0].at("mount_point"), "/mnt/a");
  EXPECT_EQ(receipt.at("file_systems")[1].at("mount_point"), "/mnt/b");
  for (const auto& fileSystem : receipt.at("file_systems")) {
    EXPECT_LE(fileSystem.at("frozen_us"), fileSystem.at("proven_us"));
    EXPECT_LE(fileSystem.at("proven_us"), receipt.at("split_began_us"));
    EXPECT_LE(receipt.at("split_ended_us"), fileSystem.at("thaw_asked_us"));
  }
  remove(snapshot);
}

TEST_F(SnapshotTest, OfWhichSomethingUnknownIsToBeProvenIsRefused) {
  const auto outcome = qmfi({"snapshot", "create", "/mnt/a", "--require", "most"});
  EXPECT_EQ(outcome.status, 2);
  EXPECT_EQ(outcome.output, "qmfi: \"most\" is no level of what is proven: there are none and group\n");
  EXPECT_THAT(listedSnapshots(), IsEmpty());
}

TEST_F(SnapshotTest, IsShownByItsNameAndByItsIdForPeopleAndForPrograms) {
  const Snapshot snapshot = create({"/mnt/a"}, {"--name", "nightly"});
  EXPECT_GT(snapshot.frozenMicroseconds, 0);
  for (const std::string& word : {std::string("nightly"), snapshot.id}) {
    EXPECT_THAT(qmfi({"snapshot", "show", word, "--json"}).output, MatchesRegex(jsonOfA(snapshot, "ready")));
    EXPECT_THAT(qmfi({"snapshot", "show", word}).output, MatchesRegex(textOfA(snapshot, "ready")));
  }
  EXPECT_EQ(qmfi({"snapshot", "unmount", "nightly"}).status, 0);
  EXPECT_THAT(qmfi({"snapshot", "show", "nightly", "--json"}).output, MatchesRegex(jsonOfA(snapshot, "unmounted")));
  EXPECT_THAT(qmfi({"snapshot", "show", "nightly"}).output, MatchesRegex(textOfA(snapshot, "unmounted")));
  remove(snapshot);
}

TEST_F(SnapshotTest, OfThreeFileSystemsHoldsWhatWasThereAtTheFreeze) {
  writeEverywhere("before ");
  const Snapshot snapshot = create({"/mnt/c", "/mnt/a", "/mnt/b"});
  writeEverywhere("after ");
  ASSERT_EQ(snapshot.nodes.size(), 3U);
  EXPECT_EQ(snapshot.name, snapshot.id);
  EXPECT_GT(snapshot.frozenMicroseconds, 0);
  EXPECT_EQ(snapshot.nodes[0].mountPoint, "/mnt/c");
  for (const SnapshotNode& node : snapshot.nodes) {
    EXPECT_EQ(textOf(node.alternate + "/file"), "before " + node.mountPoint);
    EXPECT_EQ(textOf(node.mountPoint + "/file"), "after " + node.mountPoint);
    EXPECT_LT(open((node.alternate + "/new").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600), 0);
    EXPECT_EQ(errno, EROFS);
  }
  remove(snapshot);
}

// The free loop device that the next user is given, held as a mount holds it that came too late for its last file.
class HeldFreeDevice {
 public:
  HeldFreeDevice() : m_control(open("/dev/loop-control", O_RDWR | O_CLOEXEC)) {
    // Others of this machine take free devices, too: what was taken meanwhile is not the next one any more.
    for (;;) {
      const int number = ioctl(m_control, LOOP_CTL_GET_FREE);
      m_held = open(("/dev/loop" + std::to_string(number)).c_str(), O_RDONLY | O_EXCL | O_CLOEXEC);
      if (number < 0 || (m_held >= 0 && ioctl(m_control, LOOP_CTL_GET_FREE) == number)) return;
      close(m_held);
    }
  }
  HeldFreeDevice(const HeldFreeDevice&) = delete;
  HeldFreeDevice& operator=(const HeldFreeDevice&) = delete;
  ~HeldFreeDevice() {
    close(m_held);
    close(m_control);
  }

  bool valid() const { return m_held >= 0; }

 private:
  int m_control;
  int m_held = -1;
};

TEST_F(SnapshotTest, GetsAnotherLoopDeviceWhileTheFreeOneIsHeld) {
  const HeldFreeDevice held;
  ASSERT_TRUE(held.valid());
  remove(create({"/mnt/a", "/mnt/b"}));
}

TEST_F(SnapshotTest, IsTakenFromUnderAWriter) {
  const testbed_test::Writer writer("/mnt/a/written");
  ASSERT_TRUE(writer.waitForProgress());
  remove(create({"/mnt/a", "/mnt/b"}));
  EXPECT_TRUE(writer.waitForProgress());
}

TEST_F(SnapshotTest, DevicesBelongToRootAlone) {
  const Snapshot snapshot = create({"/mnt/a"});
  const fs::path paths[] = {snapshot.nodes[0].snapshotDevice, "/dev/qm/rdsk/dg1/a-" + snapshot.id,
                            "/qmfs-pool/dg1/a-" + snapshot.id, "/var/lib/qmfi/state.db", "/var/lib/qmfi/lock"};
  for (const fs::path& path : paths) {
    EXPECT_EQ(fs::status(path).permissions(), fs::perms::owner_read | fs::perms::owner_write) << path;
  }
  EXPECT_EQ(fs::status("/var/lib/qmfi").permissions(), fs::perms::owner_all);
  remove(snapshot);
}

TEST_F(SnapshotTest, IsMountedAsOneTreeThatOnlyRootReaches) {
  const Snapshot snapshot = create({"/mnt/a", "/mnt/b"}, {"--name", "nightly"});
  EXPECT_EQ(snapshot.nodes[0].alternate, "/run/qmfi/snapshots/nightly/mnt/a");
  EXPECT_EQ(snapshot.nodes[1].alternate, "/run/qmfi/snapshots/nightly/mnt/b");
  EXPECT_EQ(fs::status("/run/qmfi/snapshots/nightly").permissions(), fs::perms::owner_all);
  const Snapshot nameless = create({"/mnt/a"});
  EXPECT_EQ(nameless.nodes[0].alternate, "/run/qmfi/snapshots/" + nameless.id + "/mnt/a");
  remove(nameless);
  EXPECT_EQ(qmfi({"snapshot", "unmount", "nightly"}).status, 0);
  EXPECT_TRUE(fs::is_empty("/run/qmfi/snapshots"));
  EXPECT_EQ(qmfi({"snapshot", "mount", "nightly"}).status, 0);
  EXPECT_EQ(fs::status("/run/qmfi/snapshots/nightly").permissions(), fs::perms::owner_all);
  remove(snapshot);
}

// Runs "test -w FILE" in the program's place, as a user who was handed the program open. Returns its status: 0 when it
// has root's rights.
int writesAsUser(const std::string& program, const char* file) {
  constexpr uid_t user = 1000;
  const pid_t child = fork();
  if (child == 0) {
    const int opened = open(program.c_str(), O_RDONLY | O_CLOEXEC);
    const char* const words[] = {"test", "-w", file, nullptr};
    const char* const none[] = {nullptr};
    if (opened >= 0 && setuid(user) == 0) fexecve(opened, const_cast<char**>(words), const_cast<char**>(none));
    _exit(127);
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WEXITSTATUS(status);
}

TEST_F(SnapshotTest, GivesNobodyTheRightsOfItsSetUserIdPrograms) {
  fs::copy_file("/usr/bin/test", "/mnt/a/program");
  ASSERT_EQ(chmod("/mnt/a/program", 04755), 0);
  std::ofstream("/mnt/roots") << "root's own";
  ASSERT_EQ(chmod("/mnt/roots", 0600), 0);
  ASSERT_EQ(writesAsUser("/mnt/a/program", "/mnt/roots"), 0);
  const Snapshot snapshot = create({"/mnt/a"});
  const std::string copy = snapshot.nodes[0].alternate + "/program";
  EXPECT_EQ(writesAsUser(copy, "/mnt/roots"), 1);
  EXPECT_EQ(qmfi({"snapshot", "unmount", snapshot.id}).status, 0);
  EXPECT_EQ(qmfi({"snapshot", "mount", snapshot.id}).status, 0);
  EXPECT_EQ(writesAsUser(copy, "/mnt/roots"), 1);
  remove(snapshot);
  fs::remove("/mnt/a/program");
  fs::remove("/mnt/roots");
}

// Whoever owns the directory could put a link where something is to be mounted.
TEST_F(SnapshotTest, OfAFileSystemInSomebodysDirectoryTouchesNothingThere) {
  ASSERT_EQ(run({"/bin/umount", "/mnt/b"}).status, 0);
  fs::create_directories("/mnt/users/b");
  ASSERT_EQ(chown("/mnt/users", 1000, 1000), 0);
  ASSERT_EQ(run({"/bin/mount", "-t", "qmfs", "/dev/qm/dsk/dg1/b", "/mnt/users/b"}).status, 0);
  struct stat before {};
  ASSERT_EQ(stat("/mnt/users", &before), 0);
  const Snapshot snapshot = create({"/mnt/users/b"});
  for (const char* command : {"unmount", "mount"}) EXPECT_EQ(qmfi({"snapshot", command, snapshot.id}).status, 0);
  remove(snapshot);
  struct stat after {};
  ASSERT_EQ(stat("/mnt/users", &after), 0);
  EXPECT_EQ(before.st_mtim.tv_sec, after.st_mtim.tv_sec);
  EXPECT_EQ(before.st_mtim.tv_nsec, after.st_mtim.tv_nsec);
  ASSERT_EQ(run({"/bin/umount", "/mnt/users/b"}).status, 0);
  fs::remove_all("/mnt/users");
  ASSERT_EQ(run({"/bin/mount", "-t", "qmfs", "/dev/qm/dsk/dg1/b", "/mnt/b"}).status, 0);
}

TEST_F(SnapshotTest, IsMountedWhereTheOptionSaysOrElseTheEnvironment) {
  fs::create_directory("/root/snapshots");
  fs::permissions("/root/snapshots", fs::perms::owner_all);
  const Snapshot snapshot = create({"/mnt/a"}, {"--name", "one", "--alternate-dir", "/root/snapshots"});
  EXPECT_EQ(snapshot.nodes[0].alternate, "/root/snapshots/one/mnt/a");
  EXPECT_EQ(qmfi({"snapshot", "create", "--freeze-timeout", "20", "/mnt/a", "--name", "two"},
                 {"QMFI_ALTERNATE_DIR=/root/snapshots"})
                .status,
            0);
  EXPECT_EQ(listedSnapshots().at(1).nodes.at(0).alternate, "/root/snapshots/two/mnt/a");
  EXPECT_EQ(qmfi({"snapshot", "delete", "two"}).status, 0);
  remove(snapshot);
  EXPECT_TRUE(fs::is_empty("/root/snapshots"));
  fs::remove("/root/snapshots");
}

TEST_F(SnapshotTest, IsNotMountedWhereOthersCanWrite) {
  const auto outcome = qmfi({"snapshot", "create", "/mnt/a", "--alternate-dir", "/tmp"});
  EXPECT_EQ(outcome.status, 8);
  EXPECT_EQ(outcome.output,
            "qmfi: /tmp cannot be trusted: everybody can write to /tmp; use a place that belongs to root and that "
            "nobody else can write to\n");
  EXPECT_EQ(qmfi({"snapshot", "create", "/mnt/a", "--alternate-dir", ""}).status, 2);
}

// A snapshot of another state directory may have the name.
TEST_F(SnapshotTest, WhoseDirectoryIsInUseIsRefusedBeforeTheFreeze) {
  const Snapshot snapshot = create({"/mnt/a"}, {"--name", "nightly"});
  const auto outcome = qmfi({"--state-dir", "/root/state", "snapshot", "create", "/mnt/b", "--name", "nightly"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output,
            "qmfi: /run/qmfi/snapshots/nightly is in use already; --name gives the snapshot another name, "
            "--alternate-dir another place\n");
  remove(snapshot);
  fs::remove_all("/root/state");
}

// As service managers set a machine up: whatever is mounted is mounted in other mount namespaces, too.
TEST_F(SnapshotTest, BelowSharedMountsIsKeptFromOthersThereToo) {
  ASSERT_EQ(mount(nullptr, "/", nullptr, MS_REC | MS_SHARED, nullptr), 0);
  fs::create_directory("/mnt/a/inner");
  ASSERT_EQ(run({"/bin/umount", "/mnt/b"}).status, 0);
  ASSERT_EQ(run({"/bin/mount", "-t", "qmfs", "/dev/qm/dsk/dg1/b", "/mnt/a/inner"}).status, 0);
  {
    const OtherMountNamespace other;
    const Snapshot snapshot = create({"/mnt/a", "/mnt/a/inner"}, {"--name", "nightly"});
    const std::string outer = snapshot.nodes.at(0).alternate;
    const std::string inner = snapshot.nodes.at(1).alternate;
    for (const std::string& alternate : {outer, inner}) {
      EXPECT_THAT(mountInfo("self", alternate), MatchesRegex(".* ro,nosuid,nodev,relatime - xfs .*"));
    }
    EXPECT_THAT(mountInfo(other.process(), outer), HasSubstr(" - xfs "));
    EXPECT_EQ(mountInfo(other.process(), inner), "");
    EXPECT_EQ(fs::status("/proc/" + other.process() + "/root/run/qmfi/snapshots/nightly").permissions(),
              fs::perms::owner_all);
    remove(snapshot);
    EXPECT_EQ(mountInfo(other.process(), outer), "");
  }
  ASSERT_EQ(run({"/bin/umount", "/mnt/a/inner"}).status, 0);
  ASSERT_EQ(run({"/bin/mount", "-t", "qmfs", "/dev/qm/dsk/dg1/b", "/mnt/b"}).status, 0);
  fs::remove("/mnt/a/inner");
  ASSERT_EQ(mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
}

// It went with the unmount, and another snapshot has the place now.
TEST_F(SnapshotTest, WhoseDirectoryIsAnothersIsNotMounted) {
  const Snapshot snapshot = create({"/mnt/a"}, {"--name", "nightly"});
  ASSERT_EQ(qmfi({"snapshot", "unmount", "nightly"}).status, 0);
  const auto other = [](std::vector<std::string> words) {
    words.insert(words.begin(), {"--state-dir", "/root/state"});
    return qmfi(words);
  };
  ASSERT_EQ(other({"snapshot", "create", "/mnt/b", "--name", "nightly", "--freeze-timeout", "20"}).status, 0);
  const auto outcome = qmfi({"snapshot", "mount", "nightly"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output,
            "qmfi: /run/qmfi/snapshots/nightly is in use already: another snapshot is mounted there, or something has "
            "been left in it\n");
  EXPECT_EQ(listedState(), "unmounted");
  EXPECT_EQ(other({"snapshot", "delete", "nightly"}).status, 0);
  EXPECT_EQ(qmfi({"snapshot", "mount", "nightly"}).output, snapshot.nodes.at(0).alternate + "\n");
  remove(snapshot);
  fs::remove_all("/root/state");
}

// The mount point of /mnt/a/inner is a directory of /mnt/a, and of its read-only copy.
TEST_F(SnapshotTest, OfFileSystemsWithinOneAnotherIsMountedLikewise) {
  ASSERT_EQ(run({"/bin/umount", "/mnt/b"}).status, 0);
  fs::create_directory("/mnt/a/inner");
  ASSERT_EQ(run({"/bin/mount", "-t", "qmfs", "/dev/qm/dsk/dg1/b", "/mnt/a/inner"}).status, 0);
  std::ofstream("/mnt/a/inner/file") << "inner";
  std::ofstream("/mnt/a/file") << "outer";
  const Snapshot snapshot = create({"/mnt/a/inner", "/mnt/a"}, {"--name", "nested"});
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(textOf("/run/qmfi/snapshots/nested/mnt/a/inner/file"), "inner");
    EXPECT_EQ(textOf("/run/qmfi/snapshots/nested/mnt/a/file"), "outer");
    EXPECT_EQ(qmfi({"snapshot", "unmount", "nested"}).status, 0);
    EXPECT_TRUE(fs::is_empty("/run/qmfi/snapshots"));
    EXPECT_EQ(qmfi({"snapshot", "mount", "nested"}).status, 0);
  }
  remove(snapshot);
  ASSERT_EQ(run({"/bin/umount", "/mnt/a/inner"}).status, 0);
  fs::remove("/mnt/a/inner");
  ASSERT_EQ(run({"/bin/mount", "-t", "qmfs", "/dev/qm/dsk/dg1/b", "/mnt/b"}).status, 0);
}

// The provider finds the file system by its line in the mount table, which programs that mount keep.
TEST_F(SnapshotTest, OfADirectoryThatIsMountedAloneIsRefused) {
  fs::create_directory("/mnt/a/part");
  ASSERT_EQ(mount("/mnt/a/part", "/mnt/b", nullptr, MS_BIND, nullptr), 0);
  const auto outcome = qmfi({"snapshot", "create", "/mnt/b"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output,
            "qmfi: only the directory /part of a file system is mounted on /mnt/b, and a snapshot is one of the whole; "
            "name the mount point of the whole file system\n");
  ASSERT_EQ(umount2("/mnt/b", 0), 0);
  fs::remove("/mnt/a/part");
}

TEST_F(SnapshotTest, InUseIsUnmountedByForceOnlyAndItsUsersAreNamed) {
  const int image = open("/mnt/a/image", O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_EQ(ftruncate(image, 1 << 20), 0);
  close(image);
  const Snapshot snapshot = create({"/mnt/a"}, {"--name", "nightly"});
  const std::string& alternate = snapshot.nodes[0].alternate;
  {
    HeldProgram user({"/bin/sh", "-c", "cd \"$1\" && read line", "sh", alternate}, HeldProgram::By::input);
    std::string device = run({"/sbin/losetup", "--read-only", "--find", "--show", alternate + "/image"}).output;
    device.pop_back();
    for (const char* command : {"unmount", "delete"}) {
      const auto begin = std::chrono::steady_clock::now();
      const auto outcome = qmfi({"snapshot", command, "nightly"});
      EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(10));
      EXPECT_EQ(outcome.status, 5) << command;
      EXPECT_THAT(outcome.output,
                  MatchesRegex("qmfi: the snapshot nightly is in use; --force unmounts it all the same, and its users "
                               "get errors\n  " +
                               alternate + ": process [0-9]+ \\(sh\\)[^\n]*\n  " + alternate + ": loop device " +
                               device + "\n"));
      EXPECT_EQ(listedState(), "ready");
    }
    EXPECT_EQ(run({"/sbin/losetup", "--detach", device}).status, 0);
    EXPECT_EQ(qmfi({"snapshot", "unmount", "--force", "nightly"}).status, 0);
    user.letGo();
  }
  EXPECT_EQ(qmfi({"snapshot", "mount", "nightly"}).status, 0);
  EXPECT_EQ(qmfi({"snapshot", "delete", "nightly"}).status, 0);
  fs::remove("/mnt/a/image");
}

TEST_F(SnapshotTest, IsNotKeptByTheQmfiThatIsToRemoveIt) {
  const Snapshot snapshot = create({"/mnt/a"}, {"--name", "nightly"});
  const std::string& alternate = snapshot.nodes[0].alternate;
  const std::string deletion = "exec /usr/bin/qmfi snapshot delete nightly";
  const auto read = run({"/bin/sh", "-c", deletion + " <" + alternate + "/file"});
  EXPECT_EQ(read.status, 5);
  EXPECT_EQ(read.output,
            "qmfi: the snapshot nightly is in use; --force unmounts it all the same, and its users get errors\n  " +
                alternate + ": this qmfi itself, by a file that it was started with\n");
  const auto within = run({"/bin/sh", "-c", "cd " + alternate + " && " + deletion});
  EXPECT_EQ(within.status, 0);
  EXPECT_EQ(within.output, "snapshot " + snapshot.id + " deleted\n");
}

TEST_F(SnapshotTest, SeveralAreChangedByOneCommandAndOneThatCannotBeDoesNotKeepTheOthers) {
  const Snapshot first = create({"/mnt/a"}, {"--name", "first"});
  const Snapshot second = create({"/mnt/b"}, {"--name", "second"});
  EXPECT_EQ(qmfi({"snapshot", "unmount", "first", second.id}).output,
            "snapshot " + first.id + " unmounted\nsnapshot " + second.id + " unmounted\n");
  EXPECT_EQ(qmfi({"snapshot", "mount", "second", "first"}).output,
            second.nodes[0].alternate + "\n" + first.nodes[0].alternate + "\n");
  const auto deleted = qmfi({"snapshot", "delete", "first", "none", "second"});
  EXPECT_EQ(deleted.status, 3);
  EXPECT_EQ(deleted.output, "snapshot " + first.id + " deleted\nqmfi: there is no snapshot \"none\"\nsnapshot " +
                                second.id + " deleted\n");
  EXPECT_EQ(qmfi({"snapshot", "delete", "first", "none"}).status, 4);
}

TEST_F(SnapshotTest, IsDeletedWithAStateDirectoryOfARelativeName) {
  const Snapshot snapshot = create({"/mnt/a"});
  const auto deleted =
      run({"/bin/sh", "-c", "cd /var/lib && exec qmfi --state-dir qmfi snapshot delete " + snapshot.id});
  EXPECT_EQ(deleted.status, 0);
  EXPECT_EQ(deleted.output, "snapshot " + snapshot.id + " deleted\n");
}

TEST_F(SnapshotTest, SeveralOfOneFileSystemLiveSideBySide) {
  writeEverywhere("one ");
  const Snapshot first = create({"/mnt/a"});
  writeEverywhere("two ");
  const Snapshot second = create({"/mnt/a"});
  EXPECT_EQ(textOf(first.nodes[0].alternate + "/file"), "one /mnt/a");
  EXPECT_EQ(textOf(second.nodes[0].alternate + "/file"), "two /mnt/a");
  remove(first);
  EXPECT_EQ(textOf(second.nodes[0].alternate + "/file"), "two /mnt/a");
  remove(second);
}

TEST_F(SnapshotTest, CommandsAtTheSameTimeDoNotCollide) {
  {
    BackgroundQmfi one({"snapshot", "create", "/mnt/a", "/mnt/b", "--freeze-timeout", "20"});
    BackgroundQmfi other({"snapshot", "create", "/mnt/b", "/mnt/a", "--freeze-timeout", "20"});
    EXPECT_EQ(one.wait(), 0);
    EXPECT_EQ(other.wait(), 0);
  }
  const std::vector<Snapshot> snapshots = listedSnapshots();
  ASSERT_EQ(snapshots.size(), 2U);
  BackgroundQmfi one({"snapshot", "delete", snapshots[0].id});
  BackgroundQmfi other({"snapshot", "delete", snapshots[1].id});
  EXPECT_EQ(one.wait(), 0);
  EXPECT_EQ(other.wait(), 0);
}

TEST_F(SnapshotTest, MountPointMayBeWrittenInOtherWays) {
  fs::create_directory_symlink("/mnt/a", "/tmp/link-to-a");
  const Snapshot snapshot = create({"/tmp/../tmp/link-to-a/"});
  fs::remove("/tmp/link-to-a");
  EXPECT_EQ(snapshot.nodes.at(0).mountPoint, "/mnt/a");
  remove(snapshot);
}

TEST_F(SnapshotTest, IsUnmountedAndMountedAgainWithTheSameData) {
  writeEverywhere("before ");
  const Snapshot snapshot = create({"/mnt/a", "/mnt/b"});
  EXPECT_EQ(qmfi({"snapshot", "unmount", snapshot.id}).output, "snapshot " + snapshot.id + " unmounted\n");
  for (const SnapshotNode& node : snapshot.nodes) {
    EXPECT_FALSE(fs::exists(node.alternate));
    EXPECT_FALSE(fs::exists(node.snapshotDevice));
  }
  EXPECT_EQ(listedState(), "unmounted");
  const auto mounted = qmfi({"snapshot", "mount", snapshot.id});
  EXPECT_EQ(mounted.output, snapshot.nodes[0].alternate + "\n" + snapshot.nodes[1].alternate + "\n");
  for (const SnapshotNode& node : snapshot.nodes) {
    EXPECT_EQ(textOf(node.alternate + "/file"), "before " + node.mountPoint);
    EXPECT_THAT(mountLines(node.alternate), ElementsAre(node.snapshotDevice + " " + node.alternate + " qmfs ro 0 0"));
  }
  EXPECT_EQ(listedState(), "ready");
  remove(snapshot);
}

TEST_F(SnapshotTest, MountAndUnmountMayBeRepeated) {
  const Snapshot snapshot = create({"/mnt/a"});
  EXPECT_EQ(qmfi({"snapshot", "mount", snapshot.id}).status, 0);
  EXPECT_EQ(mountLines(snapshot.nodes[0].alternate).size(), 1U);
  EXPECT_EQ(qmfi({"snapshot", "unmount", snapshot.id}).status, 0);
  EXPECT_EQ(qmfi({"snapshot", "unmount", snapshot.id}).status, 0);
  remove(snapshot);
}

TEST_F(SnapshotTest, ThatSomebodyUnmountedByHandIsDeleted) {
  const Snapshot snapshot = create({"/mnt/a"});
  ASSERT_EQ(run({"/bin/umount", snapshot.nodes[0].alternate}).status, 0);
  remove(snapshot);
}

TEST_F(SnapshotTest, WhoseDeletionFoundSomethingInTheWayIsDeletedByAnotherOne) {
  const Snapshot snapshot = create({"/mnt/a"});
  const std::string alternate = snapshot.nodes[0].alternate;
  ASSERT_EQ(run({"/bin/umount", alternate}).status, 0);
  std::ofstream(alternate + "/file") << "in the way";
  const auto outcome = qmfi({"snapshot", "delete", snapshot.id});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.output, HasSubstr(alternate));
  EXPECT_EQ(listedState(), "deleting");
  for (const char* command : {"mount", "unmount"}) {
    const auto refused = qmfi({"snapshot", command, snapshot.id});
    EXPECT_EQ(refused.status, 1) << command;
    EXPECT_EQ(refused.output,
              "qmfi: the snapshot " + snapshot.id + " was interrupted (deleting); \"qmfi recover\" cleans it up\n");
  }
  fs::remove(alternate + "/file");
  remove(snapshot);
}

TEST_F(SnapshotTest, WhoseDevicesAreGoneAsAfterARestartIsMountedAgainAndDeleted) {
  writeEverywhere("before ");
  const Snapshot snapshot = create({"/mnt/a"});
  ASSERT_EQ(run({"/bin/umount", snapshot.nodes[0].alternate}).status, 0);
  fs::remove(snapshot.nodes[0].snapshotDevice);
  fs::remove("/dev/qm/rdsk/dg1/a-" + snapshot.id);
  EXPECT_EQ(qmfi({"snapshot", "mount", snapshot.id}).status, 0);
  EXPECT_EQ(textOf(snapshot.nodes[0].alternate + "/file"), "before /mnt/a");
  remove(snapshot);
}

TEST_F(SnapshotTest, ItsFreezeIsDrawnIntoAFile) {
  const TemporaryDirectory directory;
  const std::string file = directory.file("freeze.svg");
  const Snapshot snapshot = create({"/mnt/a", "/mnt/b"});
  const std::string shown = qmfi({"snapshot", "show", snapshot.id}).output;
  EXPECT_EQ(qmfi({"snapshot", "show", snapshot.id, "--timeline", file}).output, shown);
  const std::string picture = directory.read("freeze.svg");
  EXPECT_THAT(picture, HasSubstr("<svg xmlns=\"http://www.w3.org/2000/svg\""));
  EXPECT_THAT(picture, HasSubstr(">/mnt/a</text>"));
  EXPECT_THAT(picture, HasSubstr(">/mnt/b</text>"));
  EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);

  const auto outcome = qmfi({"snapshot", "show", snapshot.id, "--timeline", "/no/such/freeze.svg"});
  EXPECT_EQ(outcome.status, 4);
  EXPECT_EQ(outcome.output, "qmfi: the picture /no/such/freeze.svg cannot be written: No such file or directory\n");
  remove(snapshot);
}

TEST_F(SnapshotTest, OfAFileSystemInsideAnotherOneIsRefusedBeforeTheFreeze) {
  const int image = open("/mnt/a/image", O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  ASSERT_EQ(ftruncate(image, 310L << 20), 0);
  close(image);
  std::string device = run({"/sbin/losetup", "--find", "--show", "/mnt/a/image"}).output;
  device.pop_back();
  ASSERT_EQ(run({"/sbin/mkfs", "-t", "qmfs", device}).status, 0);
  fs::create_directory("/mnt/inner");
  ASSERT_EQ(run({"/bin/mount", "-t", "qmfs", device, "/mnt/inner"}).status, 0);
  ASSERT_EQ(run({"/sbin/losetup", "--detach", device}).status, 0);

  const auto outcome = qmfi({"snapshot", "create", "/mnt/a", "/mnt/inner"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output, "qmfi: the volume of /mnt/inner lies on /mnt/a, which is to be frozen with it\n");

  EXPECT_EQ(run({"/bin/umount", "/mnt/inner"}).status, 0);
  fs::remove("/mnt/inner");
  fs::remove("/mnt/a/image");
}

}  // namespace
}  // namespace host_test

// Snapshots of real file systems through qmfi.
// Volumes: "a", "b" and "c" mounted on /mnt/a, /mnt/b and /mnt/c.
#include <fcntl.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "host_fixture.h"

namespace host_test {
namespace {

namespace fs = std::filesystem;

using testbed_test::mountLines;
using testbed_test::run;
using testbed_test::textOf;
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

// As "show --json" prints it.
std::string jsonOfA(const Snapshot& snapshot) {
  return "{\n  \"id\": \"" + snapshot.id +
         "\",\n  \"name\": \"nightly\",\n  \"frozen_us\": " + std::to_string(snapshot.frozenMicroseconds) +
         ",\n  \"nodes\": [\n    {\n      \"mount_point\": \"/mnt/a\",\n      \"device\": \"/dev/qm/dsk/dg1/a\",\n"
         "      \"snapshot_device\": \"/dev/qm/dsk/dg1/a-" +
         snapshot.id + "\",\n      \"alternate\": \"/mnt/a_alt" + snapshot.id + "\"\n    }\n  ]\n}\n";
}

// As "show" prints it, as a pattern.
std::string textOfA(const Snapshot& snapshot, const std::string& state) {
  return "snapshot   " + snapshot.id +
         "\nname       nightly\ncreated    [0-9]{4}-[0-9]{2}-[0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2}\n"
         "frozen for [0-9]+\\.[0-9] ms\nstate      " +
         state + "\n/mnt/a \\(/dev/qm/dsk/dg1/a\\)\n  -> /mnt/a_alt" + snapshot.id + " \\(/dev/qm/dsk/dg1/a-" +
         snapshot.id + "\\)\n";
}

TEST_F(SnapshotTest, IsShownByItsNameAndByItsIdForPeopleAndForPrograms) {
  const Snapshot snapshot = create({"/mnt/a"}, {"--name", "nightly"});
  EXPECT_GT(snapshot.frozenMicroseconds, 0);
  for (const std::string& word : {std::string("nightly"), snapshot.id}) {
    EXPECT_EQ(qmfi({"snapshot", "show", word, "--json"}).output, jsonOfA(snapshot));
    EXPECT_THAT(qmfi({"snapshot", "show", word}).output, MatchesRegex(textOfA(snapshot, "ready")));
  }
  EXPECT_EQ(qmfi({"snapshot", "unmount", "nightly"}).status, 0);
  EXPECT_EQ(qmfi({"snapshot", "show", "nightly", "--json"}).output, jsonOfA(snapshot));
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
              "qmfi: the snapshot " + snapshot.id + " was interrupted (deleting); \"qmfi recover\" puts it in order\n");
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

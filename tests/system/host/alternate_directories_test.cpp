// The directories of alternates on a real file system.
// Volumes: "a" and "b" mounted on /mnt/a and /mnt/b.
#include "snapshot/alternate_directories.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "failure/host_error.h"

namespace qmfi_host {
namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;
using testing::ThrowsMessage;

constexpr const char* place = "/run/test/snapshots";
constexpr const char* ofOrders = "/run/test/snapshots/nightly/mnt/orders";
constexpr const char* deviceOfA = "/dev/qm/dsk/dg1/a";
constexpr const char* deviceOfB = "/dev/qm/dsk/dg1/b";

unsigned modeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

// The kernel's line about what is mounted on a directory; empty when nothing is.
std::string mountInfo(const std::string& directory) {
  std::ifstream lines("/proc/self/mountinfo");
  for (std::string line; std::getline(lines, line);) {
    if (line.find(" " + directory + " ") != std::string::npos) return line;
  }
  return {};
}

// A snapshot of /mnt/orders, which is the file system of /mnt/a, and one below it.
class AlternateDirectoriesTest : public testing::Test {
 protected:
  AlternateDirectoriesTest() {
    umask(0);
    m_snapshot.name = "nightly";
    m_snapshot.nodes = {node("/mnt/orders", deviceOfA), node("/mnt/orders/inner", deviceOfB)};
  }
  ~AlternateDirectoriesTest() override {
    for (const SnapshotNode* one : {&inner(), &orders()}) umount2(one->alternate.c_str(), MNT_DETACH);
    fs::remove_all("/run/test");
  }

  static SnapshotNode node(const std::string& mountPoint, const std::string& device) {
    return {mountPoint, {"", device, "", ""}, std::string(place) + "/nightly" + mountPoint, "", ""};
  }

  const SnapshotNode& orders() const { return m_snapshot.nodes[0]; }
  const SnapshotNode& inner() const { return m_snapshot.nodes[1]; }

  // Mounts what is on a mount point of the testbed as the alternate, too.
  static void mountOn(const SnapshotNode& node, const char* mountPoint) {
    ASSERT_EQ(mount(mountPoint, node.alternate.c_str(), nullptr, MS_BIND, nullptr), 0);
  }

  PrivateAlternateDirectories m_directories;
  Snapshot m_snapshot;
};

TEST_F(AlternateDirectoriesTest, ArePlannedByTheNameAndTheOriginalPath) {
  EXPECT_EQ(m_directories.plan(place, "nightly", "/mnt/orders"), ofOrders);
  EXPECT_EQ(m_directories.plan("/run/test/../test//snapshots/", "nightly", "/mnt/orders"), ofOrders);
  EXPECT_EQ(m_directories.plan(place, "nightly", "/"), "/run/test/snapshots/nightly");
  EXPECT_FALSE(fs::exists("/run/test"));
  fs::create_directories("/run/test/snapshots");
  fs::create_directory_symlink("snapshots", "/run/test/link");
  ASSERT_EQ(chmod("/run/test", 0755) + chmod("/run/test/snapshots", 0755), 0);
  EXPECT_EQ(m_directories.plan("/run/test/link", "nightly", "/mnt/orders"), ofOrders);
}

TEST_F(AlternateDirectoriesTest, OfANameThatIsInUseAreRefused) {
  m_directories.make(m_snapshot, orders());
  EXPECT_THAT(
      [&] { m_directories.plan(place, "nightly", "/mnt/ledger"); },
      ThrowsMessage<HostError>("/run/test/snapshots/nightly is in use already; --name gives the snapshot another "
                               "name, --alternate-dir another place"));
  EXPECT_NO_THROW(m_directories.plan(place, "weekly", "/mnt/orders"));
  fs::create_symlink("/etc", "/run/test/snapshots/weekly");
  EXPECT_THROW(m_directories.plan(place, "weekly", "/mnt/orders"), HostError);
}

// Another qmfi, with another state, may plan the same at the same moment.
TEST_F(AlternateDirectoriesTest, OfASnapshotAreClaimedByOneAlone) {
  m_directories.claim(m_snapshot);
  EXPECT_EQ(modeOf("/run/test/snapshots/nightly"), 0700U);
  EXPECT_THAT(
      [&] { m_directories.claim(m_snapshot); },
      ThrowsMessage<HostError>("/run/test/snapshots/nightly is in use already: another snapshot is mounted there, or "
                               "something has been left in it"));
  EXPECT_THROW(m_directories.plan(place, "nightly", "/mnt/ledger"), HostError);
  for (const SnapshotNode& one : m_snapshot.nodes) removeAlternateDirectory(m_snapshot, one);
  EXPECT_FALSE(fs::exists("/run/test/snapshots/nightly"));
}

TEST_F(AlternateDirectoriesTest, InAPlaceThatOthersCanWriteToAreRefused) {
  EXPECT_THAT(
      [&] { m_directories.plan("/tmp/snapshots", "nightly", "/mnt/orders"); },
      ThrowsMessage<HostError>("/tmp/snapshots cannot be trusted: everybody can write to /tmp; use a place that "
                               "belongs to root and that nobody else can write to"));
  SnapshotNode elsewhere = orders();
  elsewhere.alternate = "/tmp/snapshots/nightly/mnt/orders";
  EXPECT_THAT([&] { m_directories.make(m_snapshot, elsewhere); },
              ThrowsMessage<HostError>(StartsWith("/tmp/snapshots cannot be trusted: ")));
  EXPECT_FALSE(fs::exists("/tmp/snapshots"));
}

TEST_F(AlternateDirectoriesTest, AreMadeForRootAloneAndMayBeThereAlready) {
  for (int i = 0; i < 2; ++i) {
    m_directories.make(m_snapshot, orders());
    for (fs::path path = ofOrders; path != "/run"; path = path.parent_path()) EXPECT_EQ(modeOf(path), 0700U) << path;
  }
}

TEST_F(AlternateDirectoriesTest, AreNotMadeThroughALink) {
  fs::create_directories("/run/test/users/orders");
  fs::create_directories("/run/test/snapshots/nightly");
  for (const char* path : {"/run/test", "/run/test/snapshots"}) ASSERT_EQ(chmod(path, 0755), 0);
  ASSERT_EQ(chmod("/run/test/snapshots/nightly", 0700), 0);
  fs::create_directory_symlink("/run/test/users", "/run/test/snapshots/nightly/mnt");
  EXPECT_THAT(
      [&] { m_directories.make(m_snapshot, orders()); },
      ThrowsMessage<HostError>("the directory /run/test/snapshots/nightly/mnt cannot be made: Not a directory"));
  EXPECT_THROW(m_directories.secure(orders()), HostError);
  removeAlternateDirectory(m_snapshot, orders());
  EXPECT_TRUE(fs::exists("/run/test/users/orders"));
}

TEST_F(AlternateDirectoriesTest, ThatOthersCanEnterAreRefused) {
  m_directories.make(m_snapshot, orders());
  const std::string why = ", where a snapshot is to be mounted; root must own it, with mode 0700";
  ASSERT_EQ(chmod("/run/test/snapshots/nightly/mnt", 0711), 0);
  EXPECT_THAT([&] { m_directories.make(m_snapshot, orders()); },
              ThrowsMessage<HostError>("others than root can enter /run/test/snapshots/nightly/mnt" + why));
  ASSERT_EQ(chmod("/run/test/snapshots/nightly/mnt", 0700), 0);
  ASSERT_EQ(chown("/run/test/snapshots/nightly", 1000, 1000), 0);
  EXPECT_THAT([&] { m_directories.make(m_snapshot, orders()); },
              ThrowsMessage<HostError>("others than root can enter /run/test/snapshots/nightly" + why));
}

TEST_F(AlternateDirectoriesTest, ThatSomethingIsMountedOnAreRefused) {
  m_directories.make(m_snapshot, orders());
  ASSERT_EQ(mount("none", ofOrders, "tmpfs", 0, nullptr), 0);
  EXPECT_THAT([&] { m_directories.make(m_snapshot, orders()); },
              ThrowsMessage<HostError>(std::string("something is mounted on ") + ofOrders + " already; \"umount " +
                                       ofOrders + "\" takes it away"));
}

// In the file system it may belong to anybody, and the copy is as that was.
TEST_F(AlternateDirectoriesTest, WithinAnotherAlternateAreTakenAsTheyAre) {
  fs::create_directory("/mnt/a/inner");
  ASSERT_EQ(chown("/mnt/a/inner", 1000, 1000) + chmod("/mnt/a/inner", 0777), 0);
  m_directories.make(m_snapshot, orders());
  mountOn(orders(), "/mnt/a");
  m_directories.secure(orders());
  EXPECT_NO_THROW(m_directories.make(m_snapshot, inner()));
  mountOn(inner(), "/mnt/b");
  m_directories.secure(inner());
  ASSERT_EQ(umount(inner().alternate.c_str()), 0);
  removeAlternateDirectory(m_snapshot, inner());
  EXPECT_TRUE(fs::exists("/mnt/a/inner"));

  fs::remove("/mnt/a/inner");
  fs::create_directory_symlink("/etc", "/mnt/a/inner");
  EXPECT_THAT([&] { m_directories.make(m_snapshot, inner()); },
              ThrowsMessage<HostError>("the directory " + inner().alternate + " cannot be made: Not a directory"));
  fs::remove("/mnt/a/inner");
}

TEST_F(AlternateDirectoriesTest, HaveNeitherDevicesNorSetUserIdPrograms) {
  m_directories.make(m_snapshot, orders());
  mountOn(orders(), "/mnt/a");
  m_directories.secure(orders());
  struct statvfs status {};
  ASSERT_EQ(statvfs(ofOrders, &status), 0);
  EXPECT_EQ(status.f_flag & (ST_NOSUID | ST_NODEV), static_cast<unsigned long>(ST_NOSUID | ST_NODEV));
  ASSERT_EQ(statvfs("/mnt/a", &status), 0);
  EXPECT_EQ(status.f_flag & (ST_NOSUID | ST_NODEV), 0U);
}

// What is mounted below a shared mount is shared, too, at first.
TEST_F(AlternateDirectoriesTest, BelowASharedMountAreSharedWithNobody) {
  fs::create_directory("/run/test");
  ASSERT_EQ(mount("none", "/run/test", "tmpfs", 0, "mode=0755"), 0);
  ASSERT_EQ(mount(nullptr, "/run/test", nullptr, MS_SHARED, nullptr), 0);
  m_directories.make(m_snapshot, orders());
  mountOn(orders(), "/mnt/a");
  EXPECT_THAT(mountInfo(ofOrders), MatchesRegex(".* rw,.*relatime shared:[0-9]+ - xfs .*"));
  m_directories.secure(orders());
  EXPECT_THAT(mountInfo(ofOrders), MatchesRegex(".* rw,nosuid,nodev,.*relatime - xfs .*"));
  EXPECT_THAT(mountInfo("/run/test"), HasSubstr(" shared:"));
  ASSERT_EQ(umount(ofOrders) + umount("/run/test"), 0);
}

TEST_F(AlternateDirectoriesTest, WithAnotherFileSystemThanTheSnapshotAreRefused) {
  m_directories.make(m_snapshot, orders());
  const std::string text = std::string(ofOrders) +
                           " does not show the snapshot of /mnt/orders: the file system there is not on " + deviceOfA;
  EXPECT_THAT([&] { m_directories.secure(orders()); }, ThrowsMessage<HostError>(text));
  mountOn(orders(), "/mnt/b");
  EXPECT_THAT([&] { m_directories.secure(orders()); }, ThrowsMessage<HostError>(text));
}

TEST_F(AlternateDirectoriesTest, AreRemovedUpToTheSnapshotsOwn) {
  m_snapshot.nodes.push_back(node("/mnt/ledger", deviceOfB));
  m_directories.make(m_snapshot, orders());
  m_directories.make(m_snapshot, m_snapshot.nodes[2]);
  removeAlternateDirectory(m_snapshot, orders());
  EXPECT_FALSE(fs::exists(ofOrders));
  EXPECT_TRUE(fs::exists("/run/test/snapshots/nightly/mnt/ledger"));
  removeAlternateDirectory(m_snapshot, m_snapshot.nodes[2]);
  EXPECT_FALSE(fs::exists("/run/test/snapshots/nightly"));
  EXPECT_TRUE(fs::exists(place));
  EXPECT_NO_THROW(removeAlternateDirectory(m_snapshot, orders()));
}

TEST_F(AlternateDirectoriesTest, WhoseLastDirectoryIsGoneLeaveNoOther) {
  m_directories.make(m_snapshot, orders());
  fs::remove(ofOrders);
  removeAlternateDirectory(m_snapshot, orders());
  EXPECT_FALSE(fs::exists("/run/test/snapshots/nightly"));
}

TEST_F(AlternateDirectoriesTest, WithSomethingInThemAreNotRemoved) {
  m_directories.make(m_snapshot, orders());
  std::ofstream(std::string(ofOrders) + "/file") << "in the way";
  EXPECT_THAT([&] { removeAlternateDirectory(m_snapshot, orders()); },
              ThrowsMessage<HostError>(std::string("the mount point ") + ofOrders +
                                       " could not be removed: Directory not empty"));
}

// Somebody's mount hides what was made, and keeps the directory it is on.
TEST_F(AlternateDirectoriesTest, BelowAMountOfSomebodyElseAreNotRemoved) {
  m_directories.make(m_snapshot, inner());
  ASSERT_EQ(mount("none", "/run/test/snapshots/nightly/mnt", "tmpfs", 0, nullptr), 0);
  EXPECT_THAT([&] { removeAlternateDirectory(m_snapshot, inner()); },
              ThrowsMessage<HostError>(
                  "the directory /run/test/snapshots/nightly/mnt could not be removed: Device or resource busy"));
  ASSERT_EQ(umount("/run/test/snapshots/nightly/mnt"), 0);
  EXPECT_TRUE(fs::exists(inner().alternate));
}

// As snapshots of an earlier version have them.
TEST_F(AlternateDirectoriesTest, BesideTheFileSystemAreRemovedAloneAndMadeOnlyWhereRootAloneWrites) {
  fs::create_directories("/run/test/mnt/orders_alt17b4f33e");
  SnapshotNode beside = orders();
  beside.alternate = "/run/test/mnt/orders_alt17b4f33e";
  EXPECT_FALSE(isInOwnDirectory(m_snapshot, beside));
  EXPECT_TRUE(isInOwnDirectory(m_snapshot, orders()));
  removeAlternateDirectory(m_snapshot, beside);
  EXPECT_FALSE(fs::exists(beside.alternate));
  EXPECT_TRUE(fs::exists("/run/test/mnt"));
  ASSERT_EQ(chmod("/run/test", 0755) + chmod("/run/test/mnt", 0755), 0);
  EXPECT_NO_THROW(m_directories.make(m_snapshot, beside));
  ASSERT_EQ(chown("/run/test/mnt", 1000, 1000), 0);
  EXPECT_THAT([&] { m_directories.make(m_snapshot, beside); },
              ThrowsMessage<HostError>(StartsWith("/run/test/mnt cannot be trusted: ")));
}

}  // namespace
}  // namespace qmfi_host

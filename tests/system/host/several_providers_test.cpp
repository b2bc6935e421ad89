// qmfi with two providers: qmfsfi, and a plain one for xfs that freezes by the kernel's own requests.
// Volumes: "orders" and "invoices" mounted on /mnt/orders and /mnt/invoices as qmfs; "ledger", which is blank, becomes
// an xfs on /mnt/ledger; "spare" stays blank. The suites named for a failure have a driver that fails so.
#include <linux/fs.h>
#include <signal.h>
#include <sys/ioctl.h>
#include <sys/mount.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "build_tree.h"
#include "host_fixture.h"
#include "ledger.h"
#include "writer_process.h"

namespace host_test {
namespace {

namespace fs = std::filesystem;

using testbed_test::OpenDirectory;
using testbed_test::Outcome;
using testbed_test::run;
using testbed_test::textOf;
using testbed_test::Writer;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* providers = "/tmp/providers";
constexpr const char* xfsDevice = "/dev/qm/dsk/dg1/ledger";
constexpr const char* xfsMountPoint = "/mnt/ledger";

int thawByTheKernel(const std::string& mountPoint) {
  return ioctl(OpenDirectory(mountPoint).get(), FITHAW, 0) == 0 ? 0 : errno;
}

class SeveralProvidersTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    fs::create_directories(providers);
    for (const char* file : {"libqmfsfi.so", "qmfsfi.provider"}) {
      fs::create_symlink(fs::path("/usr/lib/qmfi/providers") / file, fs::path(providers) / file);
    }
    for (const char* file : {"libplainxfs.so", "plainxfs.provider"}) {
      fs::create_symlink(fs::path(QMFI_BINARY_DIR "/tests/system/host/plain_xfs") / file, fs::path(providers) / file);
    }
    ASSERT_EQ(run({"/sbin/mkfs.xfs", "-q", xfsDevice}).status, 0);
    fs::create_directory(xfsMountPoint);
    ASSERT_EQ(mount(xfsDevice, xfsMountPoint, "xfs", 0, nullptr), 0);
  }

  static void TearDownTestSuite() {
    umount(xfsMountPoint);
    fs::remove(xfsMountPoint);
    fs::remove_all(providers);
  }

  void TearDown() override {
    if (HasFailure()) {
      thawByTheKernel(xfsMountPoint);
      qmfiWithBoth({"recover"});
      for (const Snapshot& snapshot : listedSnapshots()) qmfiWithBoth({"snapshot", "delete", snapshot.id});
    }
    EXPECT_TRUE(listedId().empty());
    EXPECT_EQ(demo::lastingDifference(m_before), "");
    for (const std::string& mountPoint : demo::ledgerMountPoints) {
      EXPECT_EQ(testbed_test::thaw(OpenDirectory(mountPoint).get()), EINVAL) << mountPoint;
      EXPECT_EQ(thawByTheKernel(mountPoint), EINVAL) << mountPoint;
    }
  }

  static Outcome qmfiWithBoth(std::vector<std::string> words) {
    words.insert(words.begin(), {"--provider-dir", providers});
    return qmfi(words);
  }

  // Takes a snapshot, which must succeed.
  static Snapshot createWithBoth(const std::vector<std::string>& mountPoints) {
    std::vector<std::string> words = {"snapshot", "create", "--freeze-timeout", "20"};
    words.insert(words.end(), mountPoints.begin(), mountPoints.end());
    const Outcome outcome = qmfiWithBoth(words);
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    const std::vector<Snapshot> snapshots = listedSnapshots();
    return snapshots.empty() ? Snapshot{} : snapshots.back();
  }

  static void remove(const Snapshot& snapshot) {
    const Outcome outcome = qmfiWithBoth({"snapshot", "delete", snapshot.id});
    EXPECT_EQ(outcome.output, "snapshot " + snapshot.id + " deleted\n");
  }

 private:
  demo::MachineState m_before = demo::machineState();
};

TEST_F(SeveralProvidersTest, AllAreShown) {
  EXPECT_EQ(qmfiWithBoth({"provider", "show"}).output,
            "provider     plainxfs\nversion      1.0.0.0\nattributes   0 0\nfile systems xfs\n"
            "provider     qmfsfi\nversion      7.0.0.0\nattributes   16 2\nfile systems qmfs\n");
  EXPECT_EQ(qmfiWithBoth({"--provider", "plainxfs", "provider", "show"}).output,
            "provider     plainxfs\nversion      1.0.0.0\nattributes   0 0\nfile systems xfs\n");
}

TEST_F(SeveralProvidersTest, EachPathIsClaimedByItsOwn) {
  const Outcome all = qmfiWithBoth({"claim", "/mnt/orders", "/mnt/ledger"});
  EXPECT_EQ(all.status, 0);
  EXPECT_EQ(all.output, "/mnt/orders: claimed in group qmfs-quiesce\n/mnt/ledger: claimed in group\n");
  const Outcome narrowed = qmfiWithBoth({"--provider", "qmfsfi", "claim", "/mnt/orders", "/mnt/ledger"});
  EXPECT_EQ(narrowed.status, 1);
  EXPECT_EQ(narrowed.output, "/mnt/orders: claimed in group qmfs-quiesce\n/mnt/ledger: not claimed\n");
}

TEST_F(SeveralProvidersTest, WhatNoneClaimsIsNotSnapshotted) {
  EXPECT_EQ(qmfiWithBoth({"snapshot", "create", "/mnt/orders", "/proc"}).output,
            "qmfi: none of the providers plainxfs, qmfsfi claims /proc: no file system of their types is mounted "
            "there\n");
  EXPECT_EQ(qmfiWithBoth({"--provider", "qmfsfi", "snapshot", "create", "/mnt/ledger"}).output,
            "qmfi: the provider qmfsfi does not claim /mnt/ledger: no file system of its type is mounted there\n");
}

TEST_F(SeveralProvidersTest, SnapshotByThePlainOneAloneHoldsWhatWasThereAtTheFreeze) {
  std::ofstream("/mnt/ledger/file") << "before";
  const Snapshot snapshot = createWithBoth({"/mnt/ledger"});
  std::ofstream("/mnt/ledger/file") << "after";
  ASSERT_EQ(snapshot.nodes.size(), 1U);
  const SnapshotNode& node = snapshot.nodes.front();
  EXPECT_EQ(node.snapshotDevice, xfsDevice + ("-" + snapshot.id));
  EXPECT_EQ(textOf(node.alternate + "/file"), "before");
  EXPECT_FALSE(fs::exists("/dev/qm/rdsk/dg1/ledger-" + snapshot.id));

  EXPECT_EQ(qmfiWithBoth({"snapshot", "unmount", snapshot.id}).status, 0);
  EXPECT_FALSE(fs::exists(node.alternate));
  EXPECT_EQ(qmfiWithBoth({"snapshot", "mount", snapshot.id}).output, node.alternate + "\n");
  EXPECT_EQ(textOf(node.alternate + "/file"), "before");
  remove(snapshot);
  fs::remove("/mnt/ledger/file");
}

// The writer numbers orders, invoices and ledger in turn; the copies must have been one moment of all three.
TEST_F(SeveralProvidersTest, SnapshotAcrossBothIsOfOneMoment) {
  constexpr int rounds = 5;
  demo::WriterProcess writer;
  for (int round = 0; round < rounds; ++round) {
    const auto before = demo::Clock::now();
    const Snapshot snapshot = createWithBoth({"/mnt/orders", "/mnt/ledger", "/mnt/invoices"});
    const auto after = demo::Clock::now();
    ASSERT_EQ(snapshot.nodes.size(), demo::fileSystems);
    EXPECT_EQ(snapshot.nodes[1].mountPoint, "/mnt/ledger");
    const demo::Numbers numbers = {demo::readNumber(snapshot.nodes[0].alternate),
                                   demo::readNumber(snapshot.nodes[2].alternate),
                                   demo::readNumber(snapshot.nodes[1].alternate)};
    EXPECT_TRUE(demo::isOneMoment(numbers)) << testing::PrintToString(numbers);
    writer.waitForNumbers(2);
    EXPECT_EQ(demo::contradiction(numbers, writer.log(), before, after), "");
    remove(snapshot);
  }
}

TEST_F(SeveralProvidersTest, ContentOfABlankDeviceAsksForAChoice) {
  EXPECT_EQ(qmfiWithBoth({"resource", "format", "--force", "/dev/qm/dsk/dg1/spare"}).output,
            "qmfi: none of the providers plainxfs, qmfsfi knows the content of /dev/qm/dsk/dg1/spare; --provider "
            "chooses one\n");
}

using SecondFreezeFails = SeveralProvidersTest;

TEST_F(SecondFreezeFails, ThawsTheFirst) {
  const Outcome outcome = qmfiWithBoth({"snapshot", "create", "--freeze-timeout", "60", "/mnt/orders", "/mnt/ledger"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.output, StartsWith("qmfi: the file systems could not be frozen: status 6\n"));
  EXPECT_EQ(thawByTheKernel(xfsMountPoint), EINVAL);
  remove(createWithBoth({"/mnt/orders", "/mnt/ledger"}));
}

using ThawIsSlow = SeveralProvidersTest;

// Killed in the thaw of the second, while the first is frozen still.
TEST_F(ThawIsSlow, KilledHostLeavesWhatRecoverThawsForBoth) {
  {
    const Writer writer("/mnt/ledger/written");
    ASSERT_TRUE(writer.waitForProgress());
    BackgroundQmfi creation(
        {"--provider-dir", providers, "snapshot", "create", "--freeze-timeout", "60", "/mnt/orders", "/mnt/ledger"});
    ASSERT_TRUE(waitForState("freezing"));
    EXPECT_TRUE(writer.waitUntilBlocked());
    creation.send(SIGKILL);
    EXPECT_EQ(creation.wait(), 128 + SIGKILL);

    const Outcome recovered = qmfiWithBoth({"recover"});
    EXPECT_EQ(recovered.status, 0);
    EXPECT_THAT(recovered.output, testing::MatchesRegex("snapshot [0-9a-f]* removed\n"));
    if (recovered.status != 0) thawByTheKernel(xfsMountPoint);
    EXPECT_TRUE(writer.waitForProgress());
  }
  fs::remove("/mnt/ledger/written");
}

}  // namespace
}  // namespace host_test

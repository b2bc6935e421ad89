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
#include <thread>

#include "build_tree.h"
#include "host_fixture.h"
#include "ledger.h"
#include "support/freeze_requests.h"
#include "support/text_file.h"
#include "support/writer.h"
#include "writer_process.h"

namespace host_test {
namespace {

namespace fs = std::filesystem;

using testbed_test::OpenDirectory;
using testbed_test::Outcome;
using testbed_test::run;
using testbed_test::Writer;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* providers = "/opt/providers";
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
      fs::copy_file(fs::path("/usr/lib/qmfi/providers") / file, fs::path(providers) / file);
    }
    for (const char* file : {"libplainxfs.so", "plainxfs.provider"}) {
      const fs::path copy = fs::path(providers) / file;
      fs::copy_file(fs::path(QMFI_BINARY_DIR "/tests/system/host/plain_xfs") / file, copy);
      // The build tree may be anybody's.
      fs::permissions(copy, fs::perms::owner_read | fs::perms::owner_write);
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
  EXPECT_EQ(narrowed.status, 4);
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

// What root may lower its score to; a container may keep it from that.
std::string lowestScore() {
  constexpr const char* lower = "exec 2>/dev/null; echo -1000 >/proc/self/oom_score_adj; cat /proc/self/oom_score_adj";
  return run({"/bin/sh", "-c", lower}).output;
}

// AddressSanitizer, whose shadow memory is larger than any machine's, has all locking of memory do nothing.
#ifdef __SANITIZE_ADDRESS__
constexpr bool memoryCanBeLocked = false;
#else
constexpr bool memoryCanBeLocked = true;
#endif

using FreezeLasts = SeveralProvidersTest;

TEST_F(FreezeLasts, HostIsInMemoryAndNotToBeEndedWhileSomethingIsFrozen) {
  {
    const Writer writer("/mnt/ledger/written");
    ASSERT_TRUE(writer.waitForProgress());
    testbed_test::RunningProgram creation({"/bin/sh", "-c", "ulimit -Sn 256; exec /usr/bin/qmfi \"$@\"", "sh",
                                           "--provider-dir", providers, "snapshot", "create", "--freeze-timeout", "60",
                                           "/mnt/orders", "/mnt/ledger"});
    EXPECT_TRUE(writer.waitUntilBlocked());
    const std::string process = "/proc/" + std::to_string(creation.pid());
    EXPECT_EQ(textOf(process + "/oom_score_adj"), lowestScore());
    if (memoryCanBeLocked) {
      EXPECT_THAT(textOf(process + "/status"), testing::Not(HasSubstr("VmLck:\t       0 kB")));
    }
    EXPECT_THAT(textOf(process + "/limits"), testing::Not(testing::ContainsRegex("Max open files +256 ")));
    EXPECT_EQ(creation.wait(), 0);
  }
  remove(listedSnapshots().at(0));
  fs::remove("/mnt/ledger/written");
}

using ThawIsSlow = SeveralProvidersTest;

// Killed in the thaw of the second, while the first is frozen still, and the watchdog with it.
TEST_F(ThawIsSlow, KilledQmfiLeavesWhatRecoverThawsForBoth) {
  {
    const Writer writer("/mnt/ledger/written");
    ASSERT_TRUE(writer.waitForProgress());
    BackgroundQmfi creation(
        {"--provider-dir", providers, "snapshot", "create", "--freeze-timeout", "60", "/mnt/orders", "/mnt/ledger"});
    ASSERT_TRUE(waitForState("freezing"));
    EXPECT_TRUE(writer.waitUntilBlocked());
    EXPECT_EQ(kill(creation.watchdog(), SIGKILL), 0);
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

// Whether a process ends within some seconds; nobody may have reaped it.
bool ends(pid_t process) {
  const auto end = demo::Clock::now() + std::chrono::seconds(60);
  const std::string status = "/proc/" + std::to_string(process) + "/stat";
  for (std::string text = textOf(status); !text.empty() && text.find(") Z ") == std::string::npos;) {
    if (demo::Clock::now() > end) return false;
    std::this_thread::yield();
    text = textOf(status);
  }
  return true;
}

using HostIsKilled = SeveralProvidersTest;

TEST_F(HostIsKilled, EverythingIsThawedAtOnceAndNoProcessIsLeft) {
  {
    const Writer writer("/mnt/ledger/written");
    ASSERT_TRUE(writer.waitForProgress());
    BackgroundQmfi creation(
        {"--provider-dir", providers, "snapshot", "create", "--freeze-timeout", "3600", "/mnt/orders", "/mnt/ledger"});
    EXPECT_TRUE(writer.waitUntilBlocked());
    const pid_t watchdog = creation.watchdog();
    ASSERT_GT(watchdog, 0);
    creation.send(SIGKILL);
    EXPECT_EQ(creation.wait(), 128 + SIGKILL);
    EXPECT_TRUE(writer.waitForProgress());
    EXPECT_TRUE(ends(watchdog));
  }
  fs::remove("/mnt/ledger/written");
  for (const char* mountPoint : {"/mnt/orders", xfsMountPoint}) EXPECT_EQ(thawByTheKernel(mountPoint), EINVAL);
  EXPECT_EQ(qmfiWithBoth({"recover"}).status, 0);
}

using HostIsStopped = SeveralProvidersTest;

// In the freeze of the second, while the first is frozen already.
TEST_F(HostIsStopped, EverythingIsThawedAtTheDeadlineAndTheSnapshotFails) {
  {
    const Writer writer("/mnt/ledger/written");
    ASSERT_TRUE(writer.waitForProgress());
    const std::string errors = "/tmp/errors";
    testbed_test::RunningProgram creation({"/bin/sh", "-c", "exec /usr/bin/qmfi \"$@\" 2>" + errors, "sh",
                                           "--provider-dir", providers, "snapshot", "create", "--freeze-timeout", "2",
                                           "/mnt/orders", "/mnt/ledger"});
    EXPECT_TRUE(writer.waitUntilBlocked());
    creation.send(SIGSTOP);
    EXPECT_TRUE(writer.waitForProgress());
    creation.send(SIGCONT);
    EXPECT_EQ(creation.wait(), 6);
    EXPECT_THAT(textOf(errors), testing::MatchesRegex(
                                    "qmfi: the snapshot is not consistent: freezing and splitting took [0-9]+ ms, and "
                                    "the freeze time-out of 2 s may have ended the freeze before; --freeze-timeout "
                                    "sets a longer one\n"));
    fs::remove(errors);
  }
  fs::remove("/mnt/ledger/written");
}

// Waits until a program asks the driver for a thaw; false when it ends before.
bool waitForThawRequest(const testbed_test::RunningProgram& program) {
  constexpr const char* thawRequest = " 0x514d4602 ";
  const std::string call = "/proc/" + std::to_string(program.pid()) + "/syscall";
  while (textOf(call).find(thawRequest) == std::string::npos) {
    if (program.hasEnded()) return false;
    std::this_thread::yield();
  }
  return true;
}

using SlowThaw = SeveralProvidersTest;

// The kernel and the watchdog are quicker with the thaw than a host that is stopped after the split.
TEST_F(SlowThaw, SnapshotOfAHostThatWasStoppedInItsThawIsGood) {
  {
    const Writer writer("/mnt/ledger/written");
    ASSERT_TRUE(writer.waitForProgress());
    BackgroundQmfi creation(
        {"--provider-dir", providers, "snapshot", "create", "--freeze-timeout", "2", "/mnt/orders", "/mnt/ledger"});
    EXPECT_TRUE(waitForThawRequest(creation));
    creation.send(SIGSTOP);
    EXPECT_TRUE(writer.waitForProgress());
    creation.send(SIGCONT);
    EXPECT_EQ(creation.wait(), 0);
  }
  fs::remove("/mnt/ledger/written");
  remove(listedSnapshots().at(0));
}

}  // namespace
}  // namespace host_test

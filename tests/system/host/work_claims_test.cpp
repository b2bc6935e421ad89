// What others do and are told while one qmfi works on a snapshot for long.
// Volumes: "a", "b" and "c" mounted on /mnt/a, /mnt/b and /mnt/c.
#include <signal.h>
#include <sys/mount.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <thread>

#include "host_fixture.h"
#include "support/text_file.h"

namespace host_test {
namespace {

namespace fs = std::filesystem;

using testing::MatchesRegex;

constexpr const char* errors = "/run/errors-of-who-waits";

constexpr const char* forcedUnmount = "/opt/KRIB/bin/qmumount";
constexpr const char* putAside = "/opt/KRIB/bin/put-aside";

// Something is mounted within the snapshot, which is found only by the unmount: without its program for forced unmounts
// the provider tries again for a minute.
class WorkClaimsTest : public HostTest {
 protected:
  void SetUp() override {
    fs::rename(forcedUnmount, putAside);
    fs::create_directory("/mnt/a/inner");
    m_snapshot = create({"/mnt/a"}, {"--name", "nightly"});
    ASSERT_EQ(mount("/mnt/b", inner().c_str(), nullptr, MS_BIND, nullptr), 0);
    m_deletion.emplace(std::vector<std::string>{"snapshot", "delete", "nightly"});
    ASSERT_TRUE(m_deletion->waitUntilItPauses());
  }

  void TearDown() override {
    fs::rename(putAside, forcedUnmount);
    fs::remove("/mnt/a/inner");
    fs::remove(errors);
    HostTest::TearDown();
  }

  std::string inner() const { return m_snapshot.nodes.at(0).alternate + "/inner"; }

  // Nothing is in the way any more.
  void clear() const { EXPECT_EQ(umount2(inner().c_str(), 0), 0); }

  void kill() {
    m_deletion->send(SIGKILL);
    EXPECT_EQ(m_deletion->wait(), 128 + SIGKILL);
  }

  // Sooner than the next attempt.
  void clearAndRecover() {
    clear();
    kill();
    EXPECT_EQ(qmfi({"recover"}).output, "snapshot " + m_snapshot.id + " removed\n");
  }

  // By whom the snapshot is kept from others.
  std::string worker() const {
    return "qmfi \\(process " + std::to_string(m_deletion->pid()) +
           ", snapshot delete\\), which has worked on the snapshot " + m_snapshot.id + " for [0-9]+ s\n";
  }

  std::string shownState() const {
    return testbed_test::snapshotIn(qmfi({"snapshot", "show", "nightly", "--json"}).output).state;
  }

  Snapshot m_snapshot;
  std::optional<BackgroundQmfi> m_deletion;
};

// A qmfi whose words on the standard error output can be read meanwhile.
std::vector<std::string> withErrorsInAFile(const std::string& command) {
  return {"/bin/sh", "-c", "exec /usr/bin/qmfi " + command + " 2>" + errors};
}

std::string waitForErrors() {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!textOf(errors).ends_with('\n') && std::chrono::steady_clock::now() < end) std::this_thread::yield();
  return textOf(errors);
}

TEST_F(WorkClaimsTest, OthersUseTheStateMeanwhile) {
  EXPECT_EQ(shownState(), "working");
  EXPECT_EQ(listedState(), "deleting");
  const Snapshot another = create({"/mnt/b"});
  EXPECT_EQ(qmfi({"snapshot", "unmount", another.id}).status, 0);
  EXPECT_EQ(qmfi({"snapshot", "mount", another.id}).status, 0);
  EXPECT_EQ(qmfi({"snapshot", "delete", another.id}).status, 0);
  const auto taken = qmfi({"snapshot", "create", "/mnt/b", "--name", "nightly"});
  EXPECT_EQ(taken.output, "qmfi: a snapshot \"nightly\" exists already\n");
  EXPECT_EQ(shownState(), "working");
  clearAndRecover();
}

TEST_F(WorkClaimsTest, RecoverLeavesASnapshotToWhoWorksOnIt) {
  const auto recovered = qmfi({"recover"});
  EXPECT_EQ(recovered.status, 0);
  EXPECT_THAT(recovered.output, MatchesRegex("qmfi: does not wait for " + worker()));
  EXPECT_EQ(shownState(), "working");
  clearAndRecover();
}

TEST_F(WorkClaimsTest, KilledWorkIsInterruptedAndRecovered) {
  kill();
  EXPECT_EQ(shownState(), "interrupted");
  clear();
  const auto recovered = qmfi({"recover"});
  EXPECT_EQ(recovered.status, 0);
  EXPECT_EQ(recovered.output, "snapshot " + m_snapshot.id + " removed\n");
  const auto isClaimFile = [](const fs::directory_entry& entry) {
    return entry.path().filename().string().starts_with("lock-");
  };
  EXPECT_EQ(std::count_if(fs::directory_iterator("/var/lib/qmfi"), fs::directory_iterator(), isClaimFile), 0);
}

TEST_F(WorkClaimsTest, WhoWantsTheSameSnapshotIsToldForWhomItWaitsAndGoesOnWhenThatOneIsKilled) {
  testbed_test::RunningProgram second(withErrorsInAFile("snapshot delete nightly"));
  EXPECT_THAT(waitForErrors(), MatchesRegex("qmfi: waits for " + worker()));
  clear();
  kill();
  EXPECT_EQ(second.wait(), 0);
}

TEST_F(WorkClaimsTest, WhoWantsASnapshotThatIsDeletedMeanwhileIsTold) {
  testbed_test::RunningProgram second(withErrorsInAFile("snapshot unmount nightly"));
  const std::string told = waitForErrors();
  clear();
  EXPECT_EQ(m_deletion->wait(), 0);
  EXPECT_EQ(second.wait(), 4);
  EXPECT_EQ(textOf(errors), told + "qmfi: there is no snapshot \"" + m_snapshot.id + "\"\n");
}

TEST_F(WorkClaimsTest, WaitIsEndedByASignal) {
  testbed_test::RunningProgram second(withErrorsInAFile("snapshot delete nightly"));
  EXPECT_NE(waitForErrors(), "");
  second.send(SIGINT);
  EXPECT_EQ(second.wait(), 128 + SIGINT);
  clearAndRecover();
}

// The worker would go on with the database that is moved aside.
TEST_F(WorkClaimsTest, DatabaseIsNotMovedAsideMeanwhile) {
  testbed_test::RunningProgram rescan(withErrorsInAFile("recover --rescan"));
  EXPECT_THAT(waitForErrors(),
              MatchesRegex("qmfi: waits for qmfi \\(process " + std::to_string(m_deletion->pid()) +
                           ", snapshot delete\\), which has worked on a part of the state for [0-9]+ s\n"));
  clear();
  EXPECT_EQ(m_deletion->wait(), 0);
  EXPECT_EQ(rescan.wait(), 0);
}

// Its file system is in use; the mount point is claimed, and the state let go.
TEST_F(WorkClaimsTest, OthersUseTheStateWhileAccessIsDisabled) {
  HeldProgram user({"/bin/sh", "-c", "cd /mnt/c && read line"}, HeldProgram::By::input);
  BackgroundQmfi disabling({"access", "disable", "/mnt/c"});
  ASSERT_TRUE(disabling.waitUntilItPauses());
  EXPECT_EQ(qmfi({"access", "list"}).output, "/mnt/c (/dev/qm/dsk/dg1/c) by qmfsfi\n");
  const Snapshot another = create({"/mnt/b"});
  EXPECT_EQ(qmfi({"snapshot", "delete", another.id}).status, 0);
  testbed_test::RunningProgram enabling(withErrorsInAFile("access enable /mnt/c"));
  EXPECT_THAT(waitForErrors(), MatchesRegex("qmfi: waits for qmfi \\(process " + std::to_string(disabling.pid()) +
                                            ", access disable\\), which has worked on /mnt/c for [0-9]+ s\n"));
  user.letGo();
  EXPECT_EQ(disabling.wait(), 0);
  EXPECT_EQ(enabling.wait(), 0);
  clearAndRecover();
}

}  // namespace
}  // namespace host_test

// qmfi when the freeze fails, takes too long, is interrupted or killed. Each test runs in a testbed whose driver
// misbehaves in the way that the test is named for. Volumes: "a", "b" and "c" mounted on /mnt/a, /mnt/b and /mnt/c.
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host_fixture.h"
#include "qmfi_at_terminal.h"
#include "support/freeze_requests.h"
#include "support/writer.h"

namespace host_test {
namespace {

using testbed_test::Writer;
using testing::StartsWith;

using FaultsTest = HostTest;

// The next snapshot shows that the failed one left nothing in the way.
void expectNextSnapshotToSucceed() {
  const Snapshot snapshot = create({"/mnt/a", "/mnt/b"});
  EXPECT_EQ(qmfi({"snapshot", "delete", snapshot.id}).status, 0);
}

constexpr const char* couldNotFreezeC =
    "qmfi: the file systems could not be frozen: status 6\n"
    "  The operation failed; the messages of the provider say why.\n"
    "  MSG_ERROR_FREEZE: The file system on /mnt/c could not be frozen, so no snapshot can be taken.\n";

// To be made behind a writer, which cannot end while its file system is frozen.
class ThawAtEnd {
 public:
  explicit ThawAtEnd(const std::string& mountPoint) : m_directory(mountPoint) {}

 private:
  testbed_test::OpenDirectory m_directory;
  testbed_test::ThawAtEnd m_thaw{{m_directory.get()}};
};

// Has the file system "c" on a place of its own instead of /mnt/c while it lives.
class MountedElsewhere {
 public:
  explicit MountedElsewhere(const std::string& place) : m_place(place) {
    mkdir(m_place.c_str(), S_IRWXU);
    move("/mnt/c", m_place);
  }
  MountedElsewhere(const MountedElsewhere&) = delete;
  MountedElsewhere& operator=(const MountedElsewhere&) = delete;
  ~MountedElsewhere() {
    move(m_place, "/mnt/c");
    rmdir(m_place.c_str());
  }

 private:
  static void move(const std::string& from, const std::string& to) {
    EXPECT_EQ(testbed_test::run({"/bin/umount", from}).status, 0);
    EXPECT_EQ(testbed_test::run({"/bin/mount", "-t", "qmfs", "/dev/qm/dsk/dg1/c", to}).status, 0);
  }

  const std::string m_place;
};

TEST_F(FaultsTest, FreezeThatFailsIsAnErrorAndLeavesNothing) {
  const auto outcome = qmfi({"snapshot", "create", "/mnt/a", "/mnt/b"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output,
            "qmfi: the file systems could not be frozen: status 6\n"
            "  /mnt/a, /mnt/b: each can be frozen by itself; together they were refused, or a path has led elsewhere "
            "meanwhile\n");
  expectNothingLeft();
  expectNextSnapshotToSucceed();
}

TEST_F(FaultsTest, FreezeOneByOneThatFailsNamesTheFileSystem) {
  const auto outcome = qmfi({"snapshot", "create", "--freeze-timeout", "60", "/mnt/a", "/mnt/b", "/mnt/c"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output, couldNotFreezeC);
  // The provider leaves the one before to its time-out, which is far beyond that of the writer.
  const Writer writer("/mnt/b/written");
  const ThawAtEnd thaw("/mnt/b");
  EXPECT_TRUE(writer.waitForProgress());
  expectNothingLeft();
}

TEST_F(FaultsTest, FreezeOneByOneThatFailsIsFoundThoughItsNameIsNoText) {
  const MountedElsewhere elsewhere("/mnt/\xff");
  const auto outcome = qmfi({"snapshot", "create", "--freeze-timeout", "60", "/mnt/a", "/mnt/b", "/mnt/\xff"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output,
            "qmfi: the file systems could not be frozen: status 6\n"
            "  The operation failed; the messages of the provider say why.\n"
            "  MSG_ERROR_FREEZE: The file system on /mnt/\uFFFD could not be frozen, so no snapshot can be taken.\n");
  const Writer writer("/mnt/b/written");
  const ThawAtEnd thaw("/mnt/b");
  EXPECT_TRUE(writer.waitForProgress());
}

TEST_F(FaultsTest, FreezeOneByOneThatFailsLeavesTheFreezeOfSomebodyElse) {
  const testbed_test::OpenDirectory frozen("/mnt/c");
  ASSERT_EQ(testbed_test::freeze(frozen.get(), 60), 0);
  const auto outcome = qmfi({"snapshot", "create", "--freeze-timeout", "60", "/mnt/a", "/mnt/b", "/mnt/c"});
  EXPECT_EQ(testbed_test::thaw(frozen.get()), 0);
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output, couldNotFreezeC);
  expectNothingLeft();
}

TEST_F(FaultsTest, FreezeOfAllThatFailsLeavesTheFreezeOfSomebodyElse) {
  const testbed_test::OpenDirectory frozen("/mnt/a");
  ASSERT_EQ(testbed_test::freeze(frozen.get(), 60), 0);
  const auto outcome = qmfi({"snapshot", "create", "--freeze-timeout", "60", "/mnt/a", "/mnt/b"});
  EXPECT_EQ(testbed_test::thaw(frozen.get()), 0);
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output,
            "qmfi: the file systems could not be frozen: status 6\n"
            "  /mnt/a is frozen already, by somebody else: \"qmfi thaw /mnt/a\" ends that\n");
  expectNothingLeft();
}

TEST_F(FaultsTest, ThawThatFailsIsAnErrorAndTheFileSystemIsThawedAllTheSame) {
  const auto outcome = qmfi({"snapshot", "create", "--freeze-timeout", "20", "/mnt/a", "/mnt/b"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.output, StartsWith("qmfi: the file systems could not be thawed: status 6\n"
                                         "  The operation failed; the messages of the provider say why.\n"
                                         "  MSG_ERROR_THAW: The file system on /mnt/a could not be thawed"));
  expectNothingLeft();
  expectNextSnapshotToSucceed();
}

// The thaw of /mnt/b fails for the provider, that of /mnt/a, which is thawed already, when qmfi tries again.
TEST_F(FaultsTest, EveryFileSystemIsThawedAndEveryFailureToldWhenSeveralThawsFail) {
  const auto outcome = qmfi({"snapshot", "create", "--freeze-timeout", "60", "/mnt/a", "/mnt/b"});
  EXPECT_EQ(outcome.status, 7);
  EXPECT_THAT(outcome.output, StartsWith("qmfi: the file system on /mnt/a could not be thawed: Input/output error\n"
                                         "qmfi: the file systems could not be thawed: status 6\n"
                                         "  The operation failed; the messages of the provider say why.\n"
                                         "  MSG_ERROR_THAW: The file system on /mnt/b could not be thawed"));
  const Writer writer("/mnt/b/written");
  const ThawAtEnd thaw("/mnt/b");
  EXPECT_TRUE(writer.waitForProgress());
  expectNothingLeft();
}

TEST_F(FaultsTest, FreezeThatTakesLongerThanTheTimeoutMakesNoSnapshot) {
  const auto outcome = qmfi({"snapshot", "create", "--freeze-timeout", "1", "/mnt/a", "/mnt/b"});
  EXPECT_EQ(outcome.status, 6);
  EXPECT_THAT(
      outcome.output,
      testing::MatchesRegex("qmfi: the snapshot is not consistent: freezing and splitting took [0-9]+ ms, and the "
                            "freeze time-out of 1 s may have ended the freeze before; --freeze-timeout sets a "
                            "longer one\n"));
  expectNothingLeft();
  expectNextSnapshotToSucceed();
}

TEST_F(FaultsTest, SnapshotThatCannotBeToldOfIsUndone) {
  const auto outcome = testbed_test::run({"/bin/sh", "-c", "exec /usr/bin/qmfi snapshot create /mnt/a >/dev/full"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_EQ(outcome.output, "qmfi: the output could not be written, so the snapshot was removed\n");
  expectNothingLeft();
}

TEST_F(FaultsTest, InterruptWhileFrozenEndsItByTheSignalWhenEverythingIsUndone) {
  BackgroundQmfi creation({"snapshot", "create", "--freeze-timeout", "20", "/mnt/a", "/mnt/b"});
  ASSERT_TRUE(waitForState("freezing"));
  creation.send(SIGINT);
  EXPECT_EQ(creation.wait(), 128 + SIGINT);
  expectNothingLeft();
  expectNextSnapshotToSucceed();
}

TEST_F(FaultsTest, CtrlCWhileFrozenIsAnsweredAfterTheThaw) {
  QmfiAtTerminal creation({"snapshot", "create", "--freeze-timeout", "20", "--name", "nightly", "/mnt/a"});
  ASSERT_TRUE(waitForState("freezing"));
  creation.type("\x03");
  const auto outcome = creation.wait();
  EXPECT_EQ(outcome.status, 128 + SIGINT);
  const std::string time = "\\[ +[0-9]+\\.[0-9]+ s\\] ";
  EXPECT_THAT(
      outcome.output,
      testing::MatchesRegex(time + "asking the providers about /mnt/a\n" + time + "preparing the split by reflink\n" +
                            time + "writing out what is in memory, then freezing for the snapshot nightly\n" + time +
                            "frozen for [0-9]+\\.[0-9] ms\n" + time + "interrupted by SIGINT; thawed\n" + time +
                            "removing what was made of the snapshot nightly\n"
                            "qmfi: interrupted by SIGINT\n"));
  expectNothingLeft();
}

// With the process that would thaw in its place. The writer works on /mnt/a and is blocked afterwards.
void killHostThatFreezes(const Writer& writer) {
  ASSERT_TRUE(writer.waitForProgress());
  BackgroundQmfi creation({"snapshot", "create", "--freeze-timeout", "60", "/mnt/a", "/mnt/b"});
  ASSERT_TRUE(waitForState("freezing"));
  EXPECT_TRUE(writer.waitUntilBlocked());
  EXPECT_EQ(kill(creation.watchdog(), SIGKILL), 0);
  creation.send(SIGKILL);
  EXPECT_EQ(creation.wait(), 128 + SIGKILL);
}

TEST_F(FaultsTest, RecoverThawsAndRemovesWhatAKilledQmfiLeft) {
  const Writer writer("/mnt/a/written");
  ASSERT_NO_FATAL_FAILURE(killHostThatFreezes(writer));

  EXPECT_EQ(listedState(), "freezing");
  EXPECT_TRUE(listedSnapshots().empty());
  const auto recovered = qmfi({"recover"});
  EXPECT_EQ(recovered.status, 0);
  EXPECT_THAT(recovered.output, testing::MatchesRegex("snapshot [0-9a-f]* removed\n"));
  EXPECT_TRUE(writer.waitForProgress());
  EXPECT_EQ(qmfi({"recover"}).output, "");
}

TEST_F(FaultsTest, RecoverThawsAlsoWithoutTheProvider) {
  const Writer writer("/mnt/a/written");
  const ThawAtEnd thaw("/mnt/a");
  ASSERT_NO_FATAL_FAILURE(killHostThatFreezes(writer));

  const auto recovered = qmfi({"--provider-dir", "/none", "recover"});
  EXPECT_EQ(recovered.status, 1);
  EXPECT_THAT(recovered.output, StartsWith("qmfi: the provider qmfsfi cannot be loaded: "));
  EXPECT_TRUE(writer.waitForProgress());
  EXPECT_EQ(listedState(), "freezing");
  EXPECT_EQ(qmfi({"recover"}).status, 0);
}

TEST_F(FaultsTest, RecoverWaitsForTheProgramsOfAKilledQmfi) {
  BackgroundQmfi creation({"snapshot", "create", "--freeze-timeout", "60", "/mnt/a"});
  ASSERT_TRUE(waitForState("freezing"));
  creation.send(SIGKILL);
  EXPECT_EQ(creation.wait(), 128 + SIGKILL);

  // What a program makes that goes on after its host was killed.
  const std::string alternate = "/run/qmfi/snapshots/" + listedId() + "/mnt/a";
  HeldProgram late({"/bin/sh", "-c", "read line; mkdir -p \"$1\"", "sh", alternate}, HeldProgram::By::input);
  BackgroundQmfi recovery({"recover"});
  EXPECT_TRUE(recovery.waitUntilItPauses());
  EXPECT_EQ(late.letGo(), 0);
  EXPECT_EQ(recovery.wait(), 0);
  EXPECT_NE(access(alternate.c_str(), F_OK), 0);
}

}  // namespace
}  // namespace host_test

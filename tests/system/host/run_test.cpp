// Programs that work on a snapshot while it exists.
// Volumes: "a", "b" and "c" mounted on /mnt/a, /mnt/b and /mnt/c.
#include <signal.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <thread>

#include "host_fixture.h"
#include "support/text_file.h"
#include "support/writer.h"

namespace host_test {
namespace {

namespace fs = std::filesystem;

using testbed_test::Outcome;
using testbed_test::run;

constexpr const char* readyFile = "/run/program-is-ready";
constexpr const char* directory = "/run/qmfi/snapshots/nightly";

class RunTest : public HostTest {
 protected:
  void TearDown() override {
    for (const char* left : {readyFile, "/mnt/a/file", "/run/work"}) fs::remove_all(left);
    HostTest::TearDown();
  }
};

// A snapshot of /mnt/a and /mnt/b with the name "nightly", for a program.
std::vector<std::string> runWords(const std::vector<std::string>& program) {
  std::vector<std::string> words = {"snapshot",         "run", "/mnt/a", "/mnt/b", "--name", "nightly",
                                    "--freeze-timeout", "20",  "--"};
  words.insert(words.end(), program.begin(), program.end());
  return words;
}

Outcome runScript(const std::string& script, const std::vector<std::string>& variables = {}) {
  return qmfi(runWords({"/bin/sh", "-c", script, "sh", "[one, two]", "--name", "--"}), variables);
}

bool waitUntilReady() {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(60);
  while (!textOf(readyFile).ends_with('\n') && std::chrono::steady_clock::now() < end) std::this_thread::yield();
  return textOf(readyFile).ends_with('\n');
}

// A program that says its number when it has begun, and ends with 7 when it is asked to end.
constexpr const char* untilItIsEnded =
    "trap 'exit 7' TERM; echo $$ >/run/program-is-ready; while :; do sleep 0.1; done";

TEST_F(RunTest, ProgramFindsTheSnapshotAndItIsGoneAfterwards) {
  std::ofstream("/mnt/a/file") << "before\n";
  const Outcome outcome = runScript("echo after >/mnt/a/file; cat mnt/a/file; pwd; ls mnt");
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, "before\n" + std::string(directory) + "\na\nb\n");
  EXPECT_EQ(textOf("/mnt/a/file"), "after\n");
}

TEST_F(RunTest, ProgramGetsItsArgumentsTheUsersEnvironmentAndTheNamesOfTheSnapshot) {
  const Outcome outcome = runScript(
      "echo \"$1 $2 $3 $#\"; echo $OWN; echo $QMFI_SNAPSHOT_NAME $QMFI_SNAPSHOT_DIR; echo ${#QMFI_SNAPSHOT_ID}",
      {"OWN=word", "QMFI_SNAPSHOT_NAME=another"});
  EXPECT_EQ(outcome.output, "[one, two] --name -- 3\nword\nnightly " + std::string(directory) + "\n8\n");
}

TEST_F(RunTest, ProgramReadsTheStandardInputAndHasTheLimitsOfTheUser) {
  const Outcome outcome = run({"/bin/sh", "-c",
                               "ulimit -S -n 200; echo text | qmfi snapshot run /mnt/a --freeze-timeout 20 -- "
                               "/bin/sh -c 'cat; ulimit -S -n; yes | head -1'"});
  EXPECT_EQ(outcome.output, "text\n200\ny\n");
}

TEST_F(RunTest, ProgramIsFoundByPathAndByAPathFromWhereTheUserIs) {
  fs::create_directories("/run/work");
  std::ofstream("/run/work/tell") << "#!/bin/sh\necho told\n";
  fs::permissions("/run/work/tell", fs::perms::owner_all);
  const std::string command = "qmfi snapshot run /mnt/a --freeze-timeout 20 -- ";
  EXPECT_EQ(run({"/bin/sh", "-c", "cd /run/work; exec " + command + "./tell"}).output, "told\n");
  EXPECT_EQ(run({"/bin/sh", "-c", "cd /run; PATH=work:$PATH; exec " + command + "tell"}).output, "told\n");
}

TEST_F(RunTest, EndsWithTheStatusOfTheProgram) {
  EXPECT_EQ(runScript("exit 3").status, 3);
  EXPECT_EQ(runScript("exit 125").status, 125);
  EXPECT_EQ(runScript("kill -USR1 $$").status, 128 + SIGUSR1);
}

TEST_F(RunTest, ProgramThatCannotBeRunIsToldBeforeAnythingIsFrozen) {
  fs::create_directories("/run/work");
  std::ofstream("/run/work/text") << "text\n";
  const struct {
    std::string program;
    int status;
    std::string output;
  } cases[] = {
      {"no-such-program", 127, "qmfi: the program \"no-such-program\" cannot be run: No such file or directory\n"},
      {"/run/work/none", 127, "qmfi: the program /run/work/none cannot be run: No such file or directory\n"},
      {"", 127, "qmfi: the program \"\" cannot be run: No such file or directory\n"},
      {"/run/work/text", 126, "qmfi: the program /run/work/text cannot be run: Permission denied\n"},
      {"/run/work", 126, "qmfi: the program /run/work cannot be run: Permission denied\n"},
  };
  for (const auto& one : cases) {
    // A file system that no provider claims would be told otherwise.
    const Outcome outcome = qmfi({"snapshot", "run", "/proc", "--", one.program});
    EXPECT_EQ(outcome.status, one.status) << one.program;
    EXPECT_EQ(outcome.output, one.output);
  }
}

TEST_F(RunTest, ProgramThatTheKernelDoesNotKnowLeavesNoSnapshot) {
  fs::create_directories("/run/work");
  std::ofstream("/run/work/text") << "text\n";
  fs::permissions("/run/work/text", fs::perms::owner_all);
  const Outcome outcome = qmfi(runWords({"/run/work/text"}));
  EXPECT_EQ(outcome.status, 126);
  EXPECT_EQ(outcome.output, "qmfi: the program /run/work/text cannot be run: Exec format error\n");
}

TEST_F(RunTest, FailureOfItsOwnHasAStatusThatNoOtherHas) {
  const std::string program = "/bin/true";
  const struct {
    std::vector<std::string> words;
    std::string output;
  } cases[] = {
      {{"snapshot", "run", "/proc", "--", program},
       "qmfi: the provider qmfsfi does not claim /proc: no file system of its type is mounted there\n"},
      {{"snapshot", "run", "/mnt/a", "/mnt/a", "--", program}, "qmfi: /mnt/a is given twice\n"},
      {{"snapshot", "run", "/mnt/a"}, "qmfi: no program is named: -- PROGRAM ARGUMENT... is the end of the line\n"},
      {{"snapshot", "run", "--", program}, "qmfi: MOUNTPOINT is required\nRun with --help for more information.\n"},
  };
  for (const auto& one : cases) {
    const Outcome outcome = qmfi(one.words);
    EXPECT_EQ(outcome.status, 125) << testing::PrintToString(one.words);
    EXPECT_EQ(outcome.output, one.output);
  }
}

TEST_F(RunTest, SignalIsPassedToTheProgramAndTheSnapshotIsRemoved) {
  BackgroundQmfi background(runWords({"/bin/sh", "-c", untilItIsEnded}));
  ASSERT_TRUE(waitUntilReady());
  background.send(SIGTERM);
  EXPECT_EQ(background.wait(), 7);
  EXPECT_FALSE(fs::exists(directory));
}

TEST_F(RunTest, WhatTheProgramLeavesRunningDoesNotKeepTheSnapshot) {
  EXPECT_EQ(runScript("sleep 1000 >/dev/null 2>&1 & echo $! >/run/program-is-ready").status, 0);
  EXPECT_FALSE(fs::exists(directory));
  kill(std::stoi(textOf(readyFile)), SIGKILL);
}

TEST_F(RunTest, OthersUseTheStateMeanwhileButNotTheSnapshot) {
  BackgroundQmfi background(runWords({"/bin/sh", "-c", untilItIsEnded}));
  ASSERT_TRUE(waitUntilReady());
  const auto shown = testbed_test::snapshotIn(qmfi({"snapshot", "show", "nightly", "--json"}).output);
  EXPECT_EQ(shown.state, "working");
  EXPECT_EQ(qmfi({"--lock-wait", "0", "snapshot", "delete", "nightly"}).status, 9);
  EXPECT_EQ(qmfi({"recover"}).status, 0);
  const Snapshot another = create({"/mnt/a"});
  EXPECT_EQ(qmfi({"snapshot", "delete", another.id}).status, 0);
  EXPECT_TRUE(fs::exists(directory));
  background.send(SIGTERM);
  EXPECT_EQ(background.wait(), 7);
}

TEST_F(RunTest, WhatAKilledQmfiLeavesIsRemovedByRecover) {
  BackgroundQmfi background(runWords({"/bin/sh", "-c", untilItIsEnded}));
  ASSERT_TRUE(waitUntilReady());
  background.send(SIGKILL);
  EXPECT_EQ(background.wait(), 128 + SIGKILL);
  kill(std::stoi(textOf(readyFile)), SIGTERM);
  const std::string id = listedId();
  EXPECT_EQ(listedState(), "lent");
  EXPECT_EQ(qmfi({"recover"}).output, "snapshot " + id + " removed\n");
}

// A tree as users have it, and a file that is being written to all the time.
class BackupTest : public RunTest {
 protected:
  void SetUp() override {
    fs::create_directories("/mnt/a/tree/inner");
    for (int i = 0; i < 100; ++i) {
      std::ofstream("/mnt/a/tree/inner/" + std::to_string(i))
          << std::string(static_cast<std::size_t>(i) * 100, 'x') << i;
    }
    fs::create_symlink("inner/7", "/mnt/a/tree/link");
    fs::create_hard_link("/mnt/a/tree/inner/7", "/mnt/a/tree/hard");
    fs::permissions("/mnt/a/tree/inner/8", fs::perms::owner_read);
    fs::create_directories("/run/work/restored");
    m_writer.emplace("/mnt/a/tree/written");
    ASSERT_TRUE(m_writer->waitForProgress());
  }

  void TearDown() override {
    m_writer.reset();
    fs::remove_all("/mnt/a/tree");
    RunTest::TearDown();
  }

  // Backs up what the snapshot holds, and keeps a plain copy of it to compare with.
  static void backUp(const std::string& command) {
    const Outcome outcome = runScript(command + " >/run/work/log 2>&1 && cp --archive . /run/work/copy",
                                      {"PATH=/usr/bin:/bin", "HOME=/run/work", "RESTIC_PASSWORD=secret"});
    ASSERT_EQ(outcome.status, 0) << outcome.output << textOf("/run/work/log");
  }

  static void restore(const std::string& command) {
    const Outcome outcome =
        run({"/bin/sh", "-c", command}, {{"PATH=/usr/bin:/bin", "HOME=/run/work", "RESTIC_PASSWORD=secret"}});
    ASSERT_EQ(outcome.status, 0) << outcome.output;
  }

  static void expectRestored(const std::string& tree) {
    const Outcome difference = run({"/usr/bin/diff", "--recursive", "--no-dereference", "/run/work/copy", tree});
    EXPECT_EQ(difference.output, "");
    EXPECT_EQ(difference.status, 0);
    EXPECT_EQ(textOf(tree + "/mnt/a/tree/inner/99"), textOf("/mnt/a/tree/inner/99"));
    EXPECT_EQ(fs::read_symlink(tree + "/mnt/a/tree/link"), "inner/7");
    EXPECT_TRUE(fs::equivalent(tree + "/mnt/a/tree/inner/7", tree + "/mnt/a/tree/hard"));
    EXPECT_EQ(fs::status(tree + "/mnt/a/tree/inner/8").permissions(), fs::perms::owner_read);
  }

  std::optional<testbed_test::Writer> m_writer;
};

TEST_F(BackupTest, ByResticIsRestoredAsTheSnapshotWas) {
  restore("restic --repo /run/work/repository --no-cache init");
  backUp("restic --repo /run/work/repository --no-cache backup .");
  restore("restic --repo /run/work/repository --no-cache restore latest --target /run/work/restored");
  expectRestored("/run/work/restored");
}

TEST_F(BackupTest, ByBorgIsRestoredAsTheSnapshotWas) {
  restore("borg init --encryption none /run/work/repository");
  backUp("borg create /run/work/repository::one .");
  restore("cd /run/work/restored && borg extract /run/work/repository::one");
  expectRestored("/run/work/restored");
}

}  // namespace
}  // namespace host_test

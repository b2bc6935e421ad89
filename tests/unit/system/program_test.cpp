// Programs that are run to their end.
#include "system/program.h"

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "system/descriptor.h"

namespace qmfi_system {
namespace {

using namespace std::chrono_literals;

Program shell(const std::string& script) {
  return {.words = {"/bin/sh", "-c", script}, .environment = {}};
}

bool hasNoChild() {
  return waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD;
}

void waitForEndOf(pid_t process) {
  const Descriptor watched(static_cast<int>(syscall(SYS_pidfd_open, process, 0)));
  pollfd end{watched.get(), POLLIN, 0};
  if (watched.valid()) poll(&end, 1, -1);
}

TEST(Program, TellsItsExitStatus) {
  for (const int status : {0, 1, 255}) {
    const ProgramEnd end = runProgram(shell("exit " + std::to_string(status)));
    EXPECT_EQ(end.exitStatus, status);
    EXPECT_EQ(end.signal, std::nullopt);
    EXPECT_FALSE(end.timedOut);
    EXPECT_EQ(end.error, 0);
    EXPECT_EQ(end.output, "");
    EXPECT_EQ(end.shellStatus(), status);
  }
}

TEST(Program, TellsTheSignalThatEndedIt) {
  const ProgramEnd end = runProgram(shell("kill -TERM $$"));
  EXPECT_EQ(end.exitStatus, std::nullopt);
  EXPECT_EQ(end.signal, SIGTERM);
  EXPECT_EQ(end.shellStatus(), 128 + SIGTERM);
}

TEST(Program, CannotBeRun) {
  for (const auto run : {runProgram, captureProgram}) {
    const ProgramEnd end = run({.words = {"/no/program"}, .environment = {}});
    EXPECT_EQ(end.exitStatus, std::nullopt);
    EXPECT_EQ(end.signal, std::nullopt);
    EXPECT_EQ(end.error, ENOENT);
    EXPECT_EQ(end.shellStatus(), 127);
  }
  EXPECT_TRUE(hasNoChild());
}

TEST(Program, IsCapturedWithBothItsOutputs) {
  const ProgramEnd end = captureProgram(shell("echo one; echo two >&2; echo three; exit 4"));
  EXPECT_EQ(end.output, "one\ntwo\nthree\n");
  EXPECT_EQ(end.exitStatus, 4);
}

TEST(Program, ReadsNothingWhenItIsCaptured) {
  EXPECT_EQ(captureProgram({.words = {"/bin/readlink", "/proc/self/fd/0"}, .environment = {}}).output, "/dev/null\n");
}

TEST(Program, IsCapturedUntilNobodyPrintsAnyMore) {
  // The second one prints when the first one has ended and is not reaped.
  const ProgramEnd end = captureProgram(
      shell("(until /bin/grep -q '^State:.Z' /proc/$$/status; do :; done; echo late) & echo early; exit 5"));
  EXPECT_EQ(end.output, "early\nlate\n");
  EXPECT_EQ(end.exitStatus, 5);
}

TEST(Program, IsNotSearchedFor) {
  EXPECT_EQ(runProgram({.words = {"true"}, .environment = {"PATH=/bin"}}).error, ENOENT);
}

TEST(Program, HasTheGivenEnvironmentOnly) {
  EXPECT_EQ(captureProgram({.words = {"/usr/bin/env"}, .environment = {"A=1", "B=x y"}}).output, "A=1\nB=x y\n");
  EXPECT_EQ(captureProgram({.words = {"/usr/bin/env"}, .environment = {}}).output, "");
}

TEST(Program, MayHaveTheCallersEnvironment) {
  setenv("PROGRAM_TEST_VALUE", "given", 1);
  const Program program = {.words = {"/usr/bin/printenv", "PROGRAM_TEST_VALUE"}, .environment = ownEnvironment()};
  unsetenv("PROGRAM_TEST_VALUE");
  EXPECT_EQ(captureProgram(program).output, "given\n");
}

TEST(Program, IsKilledWithWhatItStartedWhenItsTimeIsOver) {
  Program program = shell("sleep 600 & echo $!; sleep 600");
  program.time = 1s;
  const ProgramEnd end = captureProgram(program);
  ASSERT_NE(end.output, "");
  waitForEndOf(std::stoi(end.output));
  EXPECT_TRUE(end.timedOut);
  EXPECT_EQ(end.exitStatus, std::nullopt);
  EXPECT_EQ(end.signal, std::nullopt);
  EXPECT_EQ(end.error, 0);
  EXPECT_EQ(end.shellStatus(), 124);
  EXPECT_TRUE(hasNoChild());
}

TEST(Program, IsNotKilledWhenItEndsInTime) {
  Program program = shell("echo done; exit 3");
  program.time = 10min;
  const ProgramEnd end = captureProgram(program);
  EXPECT_FALSE(end.timedOut);
  EXPECT_EQ(end.exitStatus, 3);
  EXPECT_EQ(end.output, "done\n");
  EXPECT_EQ(runProgram(program).exitStatus, 3);
}

TEST(Program, LosesItsEndToACallerThatIgnoresItsChildren) {
  const auto before = signal(SIGCHLD, SIG_IGN);
  const ProgramEnd end = captureProgram(shell("echo a"));
  signal(SIGCHLD, before);
  EXPECT_EQ(end.error, ECHILD);
  EXPECT_EQ(end.exitStatus, std::nullopt);
  EXPECT_EQ(end.output, "a\n");
  EXPECT_EQ(end.shellStatus(), 127);
}

TEST(ShellStatus, IsThatOfAWaitStatus) {
  EXPECT_EQ(shellStatus(W_EXITCODE(0, 0)), 0);
  EXPECT_EQ(shellStatus(W_EXITCODE(7, 0)), 7);
  EXPECT_EQ(shellStatus(W_EXITCODE(0, SIGKILL)), 128 + SIGKILL);
}

}  // namespace
}  // namespace qmfi_system

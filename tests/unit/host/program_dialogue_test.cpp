// Speaking to a program that runs.
#include "volume/program_dialogue.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <thread>

#include "failure/host_error.h"
#include "system/descriptor.h"
#include "system/pipe.h"

namespace qmfi_host {
namespace {

using Clock = ProgramDialogue::Clock;
using Errors = ProgramDialogue::Errors;

constexpr std::chrono::seconds longTime(60);

Clock::time_point later() {
  return Clock::now() + longTime;
}

std::vector<std::string> shell(const std::string& script) {
  return {"/bin/sh", "-c", script};
}

TEST(ProgramDialogue, AnswersEachTextWhileTheProgramRuns) {
  ProgramDialogue dialogue(shell("while read word; do echo got $word; done"), Errors::discarded);
  for (const std::string word : {"one", "two"}) {
    EXPECT_EQ(dialogue.send(word + "\n", later()), 0);
    EXPECT_EQ(dialogue.receive("\n", later()), 0);
    EXPECT_EQ(dialogue.answer(), "got " + word + "\n");
  }
  dialogue.sendEnd();
  EXPECT_TRUE(dialogue.endsWell(later()));
}

TEST(ProgramDialogue, WaitsForTheEndOfAnAnswerThatComesInParts) {
  ProgramDialogue dialogue(shell("printf a; read word; printf b; echo"), Errors::discarded);
  EXPECT_EQ(dialogue.receive("a", later()), 0);
  EXPECT_EQ(dialogue.send("\n", later()), 0);
  EXPECT_EQ(dialogue.receive("\n", later()), 0);
  EXPECT_EQ(dialogue.answer(), "b\n");
}

TEST(ProgramDialogue, WaitsForALineOfItsOwn) {
  ProgramDialogue dialogue(shell("echo already; echo ready or not; printf rea; read word; echo dy; read word"),
                           Errors::discarded);
  EXPECT_EQ(dialogue.receive("rea", later()), 0);
  EXPECT_EQ(dialogue.receiveLine("ready", Clock::now()), ETIME);
  EXPECT_EQ(dialogue.send("\n", later()), 0);
  EXPECT_EQ(dialogue.receiveLine("ready", later()), 0);
  EXPECT_EQ(dialogue.answer(), "already\nready or not\nready\n");
}

TEST(ProgramDialogue, TellsOfAProgramThatHasEndedWithoutTheLine) {
  ProgramDialogue dialogue(shell("echo reason; printf ready"), Errors::discarded);
  EXPECT_EQ(dialogue.receiveLine("ready", later()), EPIPE);
  EXPECT_EQ(dialogue.answer(), "reason\nready");
}

TEST(ProgramDialogue, WaitsForNoLineOfWhatAProgramLeavesThatHasEnded) {
  ProgramDialogue dialogue(shell("sleep 1000 & echo reason"), Errors::discarded);
  EXPECT_EQ(dialogue.receiveLine("ready", later()), EPIPE);
  EXPECT_EQ(dialogue.answer(), "reason\n");
}

TEST(ProgramDialogue, ListensUntilTheProgramHasEndedAndKnowsItsLastWords) {
  ProgramDialogue dialogue(shell("read word; head -c 2000000 /dev/zero | tr '\\0' x; echo; echo last words"),
                           Errors::discarded);
  dialogue.sendEnd();
  EXPECT_TRUE(dialogue.endsWell(later()));
  EXPECT_THAT(std::string(dialogue.answer()), testing::EndsWith("xx\nlast words\n"));
}

TEST(ProgramDialogue, WaitsForNobodyThatTheProgramLeaves) {
  ProgramDialogue dialogue(shell("sleep 1000 & echo last words"), Errors::discarded);
  EXPECT_TRUE(dialogue.endsWell(later()));
  EXPECT_EQ(dialogue.answer(), "last words\n");
}

TEST(ProgramDialogue, GivesUpAtTheDeadline) {
  ProgramDialogue dialogue(shell("read word; sleep 1000"), Errors::discarded);
  EXPECT_EQ(dialogue.receive("\n", Clock::now()), ETIME);
  EXPECT_FALSE(dialogue.endsWell(Clock::now()));
}

// A pipe without writers is always ready, and nobody's business here.
TEST(ProgramDialogue, GivesUpAtTheDeadlineWhateverItsOwnStandardInputIs) {
  const qmfi_system::Descriptor before(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
  qmfi_system::Pipe pipe = qmfi_system::makePipe();
  dup2(pipe.readEnd.get(), STDIN_FILENO);
  pipe = {};
  ProgramDialogue dialogue(shell("exec sleep 1000"), Errors::discarded);
  EXPECT_EQ(dialogue.receive("\n", Clock::now()), ETIME);
  const std::string moreThanThereIsRoomFor(1 << 24, 'x');
  EXPECT_EQ(dialogue.send(moreThanThereIsRoomFor, Clock::now()), ETIME);
  dup2(before.get(), STDIN_FILENO);
}

TEST(ProgramDialogue, TellsOfAProgramThatHasEnded) {
  ProgramDialogue dialogue(shell("printf half; exit 3"), Errors::discarded);
  EXPECT_EQ(dialogue.receive("\n", later()), EPIPE);
  EXPECT_EQ(dialogue.answer(), "half");
  EXPECT_EQ(dialogue.send("x", later()), EPIPE);
  EXPECT_FALSE(dialogue.endsWell(later()));
}

TEST(ProgramDialogue, TakesTheAnswerOfAProgramThatHasEndedWithoutReading) {
  ProgramDialogue dialogue(shell("echo no"), Errors::discarded);
  while (dialogue.send("x", later()) == 0) std::this_thread::yield();
  EXPECT_EQ(dialogue.ask("x", "\n", later()), 0);
  EXPECT_EQ(dialogue.answer(), "no\n");
}

TEST(ProgramDialogue, TakesNoAnswerWithoutEnd) {
  ProgramDialogue dialogue(shell("while :; do echo xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx; done"),
                           Errors::discarded);
  EXPECT_EQ(dialogue.receive("y", later()), EMSGSIZE);
}

TEST(ProgramDialogue, GivesTheProgramAPlainEnvironmentAndNoDescriptors) {
  ProgramDialogue dialogue(shell("/usr/bin/env | sort | tr '\\n' ' '; ls /proc/self/fd | tr '\\n' ' '; echo"),
                           Errors::discarded);
  EXPECT_EQ(dialogue.receive("\n", later()), 0);
  // The shell and ls add a directory, and ls the descriptor by which it looks.
  EXPECT_THAT(std::string(dialogue.answer()),
              testing::MatchesRegex("LC_ALL=C PATH=/usr/sbin:/usr/bin:/sbin:/bin PWD=[^ ]* 0 1 2 3 \n"));
}

TEST(ProgramDialogue, KeepsTheStandardErrorApartUnlessItIsAskedFor) {
  const std::vector<std::string> words = shell("echo complaint >&2; echo answer");
  ProgramDialogue without(words, Errors::discarded);
  EXPECT_EQ(without.receive("answer\n", later()), 0);
  EXPECT_EQ(without.answer(), "answer\n");
  ProgramDialogue with(words, Errors::answered);
  EXPECT_EQ(with.receive("answer\n", later()), 0);
  EXPECT_EQ(with.answer(), "complaint\nanswer\n");
}

TEST(ProgramDialogue, EndsWithWhateverTheProgramHasStarted) {
  std::string child;
  {
    ProgramDialogue dialogue(shell("sleep 1000 & echo $!; wait"), Errors::discarded);
    EXPECT_EQ(dialogue.receive("\n", later()), 0);
    child = dialogue.answer();
    child.pop_back();
  }
  // The kernel takes a moment to take an orphan away.
  const auto end = later();
  while (kill(std::stoi(child), 0) == 0 && Clock::now() < end) std::this_thread::yield();
  EXPECT_EQ(kill(std::stoi(child), 0), -1);
}

TEST(ProgramDialogue, OfAProgramThatIsNotThereIsAFailure) {
  EXPECT_THAT(([] { ProgramDialogue({"/nonexistent"}, Errors::discarded); }),
              testing::ThrowsMessage<HostError>("/nonexistent cannot be run: No such file or directory"));
}

}  // namespace
}  // namespace qmfi_host

// A busy unmount tried again.
#include "unmount_fixture.h"

namespace {

using ::testing::Each;
using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

class BusyUnmount : public UnmountTest {
 protected:
  // One attempt of a retry that ends with a status.
  static TraceRecords attempt(int number, const std::string& command, int exitStatus, const std::string& output) {
    TraceRecords records = {slept(number),
                            {2, "Exec Pipe failed with error code [11]"},
                            {2, "Command [" + command + "] failed with error code [" + std::to_string(exitStatus) +
                                    "] and output [" + output + "]"}};
    if (output.find("busy") != std::string::npos) records.push_back({1, "Device to be unmounted is busy"});
    return records;
  }
  static TraceRecord slept(int number) {
    return {3, "Retrying umount... slept time '" + std::to_string(1 << number) + "' sec and retry attempt '" +
                   std::to_string(number) + "'."};
  }
  static TraceRecords firstFailure(const std::string& command, int exitStatus, const std::string& output) {
    return joined(runAndFailed(command, exitStatus, output), TraceRecords{{2, "Device to be unmounted is busy"}});
  }
};

TEST_F(BusyUnmount, LeadsToFiveFurtherAttemptsWithDoubledWaitsAndThenReportsBusy) {
  programs.answer(plainProgram, Answer().complains("target is busy").exits(32));
  EXPECT_EQ(unmount(false), 32);
  EXPECT_THAT(programs.commands(), ::testing::AllOf(::testing::SizeIs(6), Each("/bin/umount /data")));
  EXPECT_THAT(importedCalls().sleeps(), ElementsAre(2u, 4u, 8u, 16u, 32u));
  TraceRecords expected = joined(lookedUp(false), firstFailure(plainly, 32, "target is busy"));
  for (int i = 1; i <= 5; ++i) expected = joined(expected, attempt(i, plainly, 32, "target is busy"));
  EXPECT_THAT(trace(), ElementsAreArray(joined(expected, TraceRecords{failed()})));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(BusyUnmount, IsTriedAgainByForceWhenItWasForced) {
  programs.answer(forcedProgram, Answer().complains("busy").exits(1));
  EXPECT_EQ(unmount(true), 32);
  EXPECT_THAT(programs.commands(),
              ::testing::AllOf(::testing::SizeIs(6), Each("/opt/KRIB/bin/qmumount -o force /data")));
  TraceRecords expected = joined(lookedUp(true), firstFailure(byForce, 1, "busy"));
  for (int i = 1; i <= 5; ++i) expected = joined(expected, attempt(i, byForce, 1, "busy"));
  EXPECT_THAT(trace(), ElementsAreArray(joined(expected, TraceRecords{failed()})));
}

TEST_F(BusyUnmount, EndsWithTheFirstAttemptThatSucceeds) {
  for (int i = 0; i < 3; ++i) programs.answerNext(plainProgram, Answer().complains("busy").exits(32));
  EXPECT_EQ(unmount(false), 0);
  EXPECT_THAT(importedCalls().sleeps(), ElementsAre(2u, 4u, 8u));
  EXPECT_THAT(trace(), ElementsAreArray(joined(lookedUp(false), firstFailure(plainly, 32, "busy"),
                                               attempt(1, plainly, 32, "busy"), attempt(2, plainly, 32, "busy"),
                                               TraceRecords{slept(3), {3, "umount is successful."}})));
}

TEST_F(BusyUnmount, WhoseFifthAttemptFailsWithoutBusyIsAnError) {
  for (int i = 0; i < 5; ++i) programs.answerNext(plainProgram, Answer().complains("busy").exits(32));
  programs.answerNext(plainProgram, Answer().complains("gone ").complains("wrong").exits(5));
  EXPECT_EQ(unmount(false), 6);
  EXPECT_THAT(importedCalls().sleeps(), ElementsAre(2u, 4u, 8u, 16u, 32u));
  TraceRecords expected = joined(lookedUp(false), firstFailure(plainly, 32, "busy"));
  for (int i = 1; i <= 4; ++i) expected = joined(expected, attempt(i, plainly, 32, "busy"));
  EXPECT_THAT(trace(), ElementsAreArray(joined(expected, attempt(5, plainly, 5, "gone wrong"))));
  expectExecPipeMessage("KFI_EXEC_PIPE_CMD_FAILED", "gone wrong");
}

TEST_F(BusyUnmount, GoesOnAfterAnAttemptThatFailsWithoutBusy) {
  programs.answerNext(plainProgram, Answer().complains("busy").exits(32));
  programs.answerNext(plainProgram, Answer().complains("odd").exits(7));
  programs.answer(plainProgram, Answer().complains("busy").exits(32));
  EXPECT_EQ(unmount(false), 32);
  TraceRecords expected = joined(lookedUp(false), firstFailure(plainly, 32, "busy"), attempt(1, plainly, 7, "odd"));
  for (int i = 2; i <= 5; ++i) expected = joined(expected, attempt(i, plainly, 32, "busy"));
  EXPECT_THAT(trace(), ElementsAreArray(joined(expected, TraceRecords{failed()})));
}

TEST_F(BusyUnmount, WhoseLastAttemptSaysBusyOverTwoLinesIsAnError) {
  for (int i = 0; i < 5; ++i) programs.answerNext(plainProgram, Answer().complains("busy").exits(32));
  programs.answerNext(plainProgram, Answer().complains("bu").complains("sy").exits(5));
  EXPECT_EQ(unmount(false), 6);
  expectExecPipeMessage("KFI_EXEC_PIPE_CMD_FAILED", "busy");
  EXPECT_EQ(trace().back(), traced(2, "Command [/bin/umount  /data] failed with error code [5] and output [busy]"));
}

TEST_F(BusyUnmount, WhoseProgramDiesInTheLastAttemptIsAnErrorWithThatCode) {
  for (int i = 0; i < 5; ++i) programs.answerNext(plainProgram, Answer().complains("busy").exits(32));
  programs.answerNext(plainProgram, Answer().diesOf(15));
  EXPECT_EQ(unmount(false), 6);
  expectExecPipeMessage("KFI_EXEC_PIPE_CMD_KILLED", "");
  const TraceRecords all = trace();
  EXPECT_EQ(all[all.size() - 2], traced(2, "Exec Pipe failed with error code [12]"));
  EXPECT_EQ(all.back(), traced(2, "Command [/bin/umount  /data] failed with error code [0] and output []"));
}

}  // namespace

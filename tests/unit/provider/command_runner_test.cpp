// The command runner by itself, with a command pipe that the test answers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "qmfs_command_runner.h"
#include "recorded_commands.h"
#include "support/trace_capture.h"

namespace {

using namespace qmfi_pdk_4_4;
using testing::ElementsAre;
using testing::IsEmpty;

class CommandRunner : public testing::Test {
 protected:
  CommandRunner() { recordedCommands = &m_commands; }
  ~CommandRunner() override { recordedCommands = nullptr; }

  // The records but those of entered and left functions.
  std::vector<std::string> trace() const {
    std::vector<std::string> records = m_capture.records();
    std::erase_if(records, [](const std::string& record) { return record.find(" Function ") != std::string::npos; });
    return records;
  }

  RecordedCommands m_commands;
  TraceCapture m_capture;
  CQmFSCommandRunner m_runner{m_capture.log()};
};

TEST_F(CommandRunner, RunsACommandForTenMinutesWithoutATraceOfIt) {
  m_commands.answerNext({0, 0, {"one ", "two"}, {}});
  const CQmFSCommandRun run = m_runner.run("/bin/x y");
  EXPECT_TRUE(run.succeeded());
  EXPECT_EQ(run.command, "/bin/x y");
  EXPECT_THAT(run.output, ElementsAre("one ", "two"));
  EXPECT_EQ(run.message(), "one two");
  ASSERT_EQ(m_commands.commands().size(), 1U);
  EXPECT_EQ(m_commands.commands()[0].line, "/bin/x y");
  EXPECT_EQ(m_commands.commands()[0].timeoutSeconds, 600);
  EXPECT_EQ(m_commands.commands()[0].reserved, "");
  EXPECT_THAT(m_capture.records(), IsEmpty());
}

TEST_F(CommandRunner, TellsHowACommandFailed) {
  m_commands.answerNext({11, 9, {"wrong"}, {}});
  const CQmFSCommandRun run = m_runner.run("/bin/x");
  EXPECT_FALSE(run.succeeded());
  EXPECT_EQ(run.error.getCode(), 11);
  EXPECT_EQ(run.error.getExitStatus(), 9);
  EXPECT_EQ(run.error.getText(), "wrong");
  EXPECT_THAT(m_capture.records(), IsEmpty());
}

TEST_F(CommandRunner, BelievesWhatThePipeReturnsMoreThanItsRecord) {
  m_commands.answerNext({0, 9, {}, {}, 11});
  EXPECT_TRUE(m_runner.run("/bin/x").succeeded());
  m_commands.answerNext({11, 9, {"wrong"}, {}, 0});
  EXPECT_EQ(m_runner.run("/bin/x").error.getCode(), 11);
}

TEST_F(CommandRunner, RunsAllItsCommandsInOnePipeEachWithAnOutputOfItsOwn) {
  m_commands.answerNext({0, 0, {"first"}, {}});
  EXPECT_THAT(m_runner.run("/bin/x").output, ElementsAre("first"));
  EXPECT_THAT(m_runner.runTraced("/bin/y").output, IsEmpty());
  ASSERT_EQ(m_commands.commands().size(), 2U);
  EXPECT_EQ(m_commands.commands()[0].textBefore, "");
  EXPECT_EQ(m_commands.commands()[1].textBefore, "first");
  EXPECT_EQ(m_commands.commands()[1].linesBefore, 0U);
}

TEST_F(CommandRunner, TracesACommandThatChangesSomethingBeforeItRuns) {
  std::vector<std::string> before;
  m_commands.answerNext({11, 1, {}, [&] { before = trace(); }});
  EXPECT_FALSE(m_runner.runTraced("/bin/x").succeeded());
  EXPECT_THAT(before, ElementsAre("L3 Command : /bin/x"));
  EXPECT_EQ(trace(), before);
}

TEST_F(CommandRunner, ThrowsTheErrorOfACommandThatFailedAndTracesIt) {
  EXPECT_NO_THROW(m_runner.runOrThrow("/bin/x"));
  m_commands.answerNext({});
  m_commands.answerNext({12, 0, {"half ", "done"}, {}});
  try {
    m_runner.runOrThrow("/bin/y");
    ADD_FAILURE() << "it is taken for a success";
  } catch (const EFiExecPipe& error) {
    EXPECT_EQ(error.getCode(), 12);
    EXPECT_EQ(error.getText(), "half done");
  }
  EXPECT_THAT(trace(), ElementsAre("L3 Command : /bin/x", "L3 Command : /bin/y",
                                   "L1 command '/bin/y' failed with message 'half done'."));
}

TEST_F(CommandRunner, ExecutesACommandInAScopeAndAppendsWhatItPrints) {
  m_commands.answerNext({0, 0, {"new"}, {}});
  std::vector<std::string> output = {"old"};
  EXPECT_EQ(m_runner.execute("/bin/x", output, 12).getCode(), 0);
  EXPECT_THAT(output, ElementsAre("old", "new"));
  EXPECT_EQ(m_commands.commands()[0].timeoutSeconds, 12);
  EXPECT_THAT(withoutLineNumbers(m_capture.records()),
              ElementsAre("L6 Entering Function executeCommand [line, qmfs_command_runner.cpp]",
                          "L6 executeCommand - Command : /bin/x",
                          "L6 Exiting Function executeCommand [line, qmfs_command_runner.cpp]"));
}

TEST_F(CommandRunner, TracesHowAnExecutedCommandFailed) {
  m_commands.answerNext({11, 9, {"one ", "two"}, {}});
  m_commands.answerNext({5, 0, {"slow"}, {}});
  m_commands.answerNext({7, 0, {}, {}});
  std::vector<std::string> output;
  EXPECT_EQ(m_runner.execute("/bin/x", output).getExitStatus(), 9);
  output.clear();
  EXPECT_EQ(m_runner.execute("/bin/y", output).getCode(), 5);
  output.clear();
  EXPECT_EQ(m_runner.execute("/bin/z", output).getCode(), 7);
  EXPECT_THAT(trace(),
              ElementsAre("L6 executeCommand - Command : /bin/x",
                          "L2 executeCommand - Exec Pipe failed with error code [11] and message [one two]",
                          "L2 executeCommand - Command [/bin/x] failed with error code [9] and message [one two]",
                          "L6 executeCommand - Command : /bin/y",
                          "L2 executeCommand - Exec Pipe failed with error code [5] and message [slow]",
                          "L2 executeCommand - Command [/bin/y] has timmedout", "L6 executeCommand - Command : /bin/z",
                          "L2 executeCommand - Exec Pipe failed with error code [7] and message []"));
}

TEST_F(CommandRunner, NeedsNoTraceLog) {
  CQmFSCommandRunner silent{CFiTraceLogSPtr()};
  m_commands.answerNext({11, 1, {}, {}});
  EXPECT_THROW(silent.runOrThrow("/bin/x"), EFiExecPipe);
}

}  // namespace

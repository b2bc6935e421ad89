// Commands, their output and the codes that they end with.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "exec_pipe_fixture.h"

namespace {

using namespace exec_pipe_test;
using namespace qmfi_pdk_4_4;
using namespace std::string_literals;

TEST_F(ExecPipe, RunsAProgramAndCapturesItsOutput) {
  const Outcome run = exec("/bin/echo a  b ");
  EXPECT_EQ(run.code, 0);
  EXPECT_EQ(run.output, Lines{"a b"});
  EXPECT_EQ(run.error.getCode(), 0);
  EXPECT_EQ(run.error.getText(), "");
  EXPECT_EQ(run.error.getExitStatus(), 0);
}

TEST_F(ExecPipe, PassesQuotesAndShellCharactersAsTheyAre) {
  EXPECT_EQ(exec("/bin/echo \"a b\" $HOME * > /x").output, Lines{"\"a b\" $HOME * > /x"});
}

TEST_F(ExecPipe, SplitsTheOutputIntoLines) {
  const struct {
    const char* format;
    Lines lines;
  } cases[] = {
      {"a\\nb\\n", {"a", "b"}},
      {"a\\nb", {"a", "b"}},
      {"a\\n\\nb\\n", {"a", "", "b"}},
      {"\\n", {""}},
      {"\\n\\na", {"", "", "a"}},
      {"a\\r\\n", {"a\r"}},
      {"a\\0b\\0\\n", {"a\0b\0"s}},
      {"\\0", {"\0"s}},
      {"%b", {}},
      {"a\\tb", {"a\tb"}},
  };
  for (const auto& c : cases) {
    const Outcome run = exec("/usr/bin/printf "s + c.format);
    EXPECT_EQ(run.code, 0) << c.format;
    EXPECT_EQ(run.output, c.lines) << c.format;
  }
}

TEST_F(ExecPipe, AppendsToTheOutputListItIsGiven) {
  CFiExecPipePosix pipe(1);
  Lines output = {"before"};
  EXPECT_EQ(pipe.Exec("/bin/echo one", output, "", 30, "", "", ""), 0);
  EXPECT_EQ(pipe.Exec(script("echo two; exit 1"), output, "", 30, "", "", ""), 11);
  EXPECT_EQ(output, (Lines{"before", "one", "two"}));
  EXPECT_EQ(pipe.getLastError().getText(), "two");
}

TEST_F(ExecPipe, CapturesOutputAndErrorsInTheOrderInWhichTheyArePrinted) {
  const Outcome run = exec(script("echo one; echo two >&2; echo three; echo four >&2"));
  EXPECT_EQ(run.output, (Lines{"one", "two", "three", "four"}));
}

TEST_F(ExecPipe, CapturesMoreThanAPipeHolds) {
  const Outcome run = exec("/usr/bin/seq 200000");
  EXPECT_EQ(run.code, 0);
  ASSERT_EQ(run.output.size(), 200000u);
  EXPECT_EQ(run.output.front(), "1");
  EXPECT_EQ(run.output.back(), "200000");
}

TEST_F(ExecPipe, CapturesSixteenMebibytesAndReadsOnToTheEnd) {
  const std::string marker = path("marker");
  const Outcome run = exec(script("head -c 20000000 /dev/zero && touch " + marker));
  EXPECT_EQ(run.code, 0);
  ASSERT_EQ(run.output.size(), 1u);
  EXPECT_EQ(run.output[0].size(), std::size_t{16} << 20);
  EXPECT_TRUE(std::filesystem::exists(marker));
}

TEST_F(ExecPipe, KeepsAMillionLinesAndReadsOnToTheEnd) {
  const std::string marker = path("marker");
  const Outcome run = exec(script("head -c 16777216 /dev/zero | tr '\\0' '\\n' && touch " + marker));
  EXPECT_EQ(run.code, 0);
  EXPECT_EQ(run.output.size(), std::size_t{1} << 20);
  EXPECT_TRUE(std::filesystem::exists(marker));
}

TEST_F(ExecPipe, KeepsAMillionLinesOfARunWhateverTheListHeldBefore) {
  CFiExecPipePosix pipe(1);
  Lines output = {"before"};
  EXPECT_EQ(pipe.Exec("/usr/bin/seq 1048577", output, "", 30, "", "", ""), 0);
  ASSERT_EQ(output.size(), (std::size_t{1} << 20) + 1);
  EXPECT_EQ(output.front(), "before");
  EXPECT_EQ(output.back(), "1048576");
}

TEST_F(ExecPipe, FeedsEachProgramOfAPipelineIntoTheNext) {
  const Outcome run = exec("/usr/bin/printf b\\na\\nb\\n | /usr/bin/sort | /usr/bin/uniq -c | /usr/bin/tr -s \\040 =");
  EXPECT_EQ(run.code, 0);
  EXPECT_EQ(run.output, (Lines{"=1=a", "=2=b"}));
}

TEST_F(ExecPipe, TakesTheStatusOfAPipelineFromItsLastProgram) {
  const std::string killed = script("kill -9 $$", "killed");
  const struct {
    std::string command;
    int code;
    int status;
  } cases[] = {
      {"/bin/false | /bin/true", 0, 0},
      {"/bin/true | /bin/false", 11, 1},
      {killed + " | /bin/true", 0, 0},
      {"/bin/true | " + killed, 12, 0},
      {script("exit 3", "three") + " | " + script("exit 4", "four"), 11, 4},
      {script("exit 3", "three") + " | " + killed, 12, 0},
  };
  for (const auto& c : cases) {
    const Outcome run = exec(c.command);
    EXPECT_EQ(run.code, c.code) << c.command;
    EXPECT_EQ(run.error.getExitStatus(), c.status) << c.command;
  }
}

TEST_F(ExecPipe, CapturesTheErrorsOfEveryStage) {
  const Outcome run = exec(script("echo complaint >&2") + " | /bin/cat");
  EXPECT_EQ(run.output, Lines{"complaint"});
}

TEST_F(ExecPipe, EndsAProducerWhoseReaderHasEnded) {
  const Outcome run = exec("/usr/bin/yes | /usr/bin/head -n 2");
  EXPECT_EQ(run.code, 0);
  EXPECT_EQ(run.output, (Lines{"y", "y"}));
}

TEST_F(ExecPipe, WaitsForEveryProgramOfAPipeline) {
  const std::string marker = path("marker");
  const Outcome run =
      exec(script("exec >/dev/null; n=0; while [ $n -lt 20000 ]; do n=$((n+1)); done; : > " + marker) + " | /bin/true");
  EXPECT_EQ(run.code, 0);
  EXPECT_TRUE(std::filesystem::exists(marker));
}

TEST_F(ExecPipe, ReportsTheExitStatusAndTheJoinedOutputOfAFailedCommand) {
  for (const int status : {1, 32, 255}) {
    const Outcome run = exec(script("echo out; echo err >&2; exit " + std::to_string(status)));
    EXPECT_EQ(run.code, 11) << status;
    EXPECT_EQ(run.output, (Lines{"out", "err"})) << status;
    EXPECT_EQ(run.error.getCode(), 11) << status;
    EXPECT_EQ(run.error.getText(), "outerr") << status;
    EXPECT_EQ(run.error.getWideText(), L"outerr") << status;
    EXPECT_EQ(run.error.getExitStatus(), status) << status;
  }
}

TEST_F(ExecPipe, ReportsACommandThatASignalKilled) {
  for (const char* signal : {"KILL", "TERM", "PIPE", "ABRT"}) {
    const Outcome run = exec(script("ulimit -c 0; echo out; kill -"s + signal + " $$"));
    EXPECT_EQ(run.code, 12) << signal;
    EXPECT_EQ(run.output, Lines{"out"}) << signal;
    EXPECT_EQ(run.error.getCode(), 12) << signal;
    EXPECT_EQ(run.error.getText(), "out") << signal;
    EXPECT_EQ(run.error.getExitStatus(), 0) << signal;
  }
}

TEST_F(ExecPipe, ForgetsAFailureAfterTheNextSuccess) {
  CFiExecPipePosix pipe(1);
  Lines output;
  EXPECT_EQ(pipe.Exec("/bin/false", output, "", 30, "", "", ""), 11);
  EXPECT_EQ(pipe.Exec("/bin/true", output, "", 30, "", "", ""), 0);
  EXPECT_EQ(pipe.getLastError().getCode(), 0);
  EXPECT_EQ(pipe.getLastError().getExitStatus(), 0);
}

TEST_F(ExecPipe, RefusesALineWithoutAProgram) {
  for (const std::string& command : {""s, "  "s, "|"s, "/bin/true |"s, "| /bin/true"s, "/bin/true\0x"s}) {
    const Outcome run = exec(command);
    EXPECT_EQ(run.code, 6) << command;
    EXPECT_EQ(run.output, Lines{}) << command;
    EXPECT_EQ(run.error.getCode(), 6) << command;
    EXPECT_EQ(run.error.getText(), command + ": no program, or a stage without one");
  }
}

TEST_F(ExecPipe, ReportsAProgramThatDoesNotExist) {
  for (const char* program : {"/no/such/program", "/etc/passwd/program", "true", "bin/true", "./true", "../bin/true"}) {
    const Outcome run = exec(program + " argument"s);
    EXPECT_EQ(run.code, 7) << program;
    EXPECT_EQ(run.output, Lines{}) << program;
    EXPECT_EQ(run.error.getCode(), 7) << program;
    EXPECT_EQ(run.error.getText(), program + ": no such program"s);
  }
}

TEST_F(ExecPipe, StartsNothingWhenAProgramOfThePipelineDoesNotExist) {
  const std::string marker = path("marker");
  EXPECT_EQ(exec(script("touch " + marker) + " | /no/such/program").code, 7);
  EXPECT_FALSE(std::filesystem::exists(marker));
}

TEST_F(ExecPipe, ReportsAProgramThatCannotBeStarted) {
  const std::string plain = path("plain");
  std::ofstream(plain) << "text\n";
  const std::string orphan = path("orphan");
  std::ofstream(orphan) << "#!/no/such/interpreter\n";
  chmod(orphan.c_str(), 0700);
  const struct {
    std::string program;
    const char* reason;
  } cases[] = {{plain, "Permission denied"}, {"/tmp", "Permission denied"}, {orphan, "No such file or directory"}};
  for (const auto& c : cases) {
    const Outcome run = exec(c.program);
    EXPECT_EQ(run.code, 4) << c.program;
    EXPECT_EQ(run.output, Lines{}) << c.program;
    EXPECT_EQ(run.error.getCode(), 4) << c.program;
    EXPECT_EQ(run.error.getText(), c.program + ": " + c.reason);
  }
}

TEST_F(ExecPipe, EndsTheStartedProgramsWhenALaterOneCannotBeStarted) {
  const std::string plain = path("plain");
  std::ofstream(plain) << "text\n";
  const Outcome run = exec("/bin/sleep 600 | " + plain);
  EXPECT_EQ(run.code, 4);
  EXPECT_EQ(run.error.getText(), plain + ": Permission denied");
}

TEST_F(ExecPipe, ServesManyThreadsAtOnce) {
  std::vector<std::thread> threads;
  std::vector<int> failures(8, 0);
  for (int& failed : failures) {
    threads.emplace_back([&failed, number = &failed - failures.data()] {
      for (int i = 0; i < 10; ++i) {
        const std::string word = std::to_string(number) + "." + std::to_string(i);
        const Outcome run = exec("/bin/echo " + word + " | /bin/cat");
        if (run.code != 0 || run.output != Lines{word}) ++failed;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failures, std::vector<int>(8, 0));
}

}  // namespace

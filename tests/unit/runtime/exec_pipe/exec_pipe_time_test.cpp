// Time limits, and processes that outlive their command.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <string>

#include "exec_pipe_fixture.h"
#include "process_pipeline.h"
#include "system/descriptor.h"

namespace {

using namespace exec_pipe_test;
using namespace std::chrono_literals;
using qmfi_runtime::PipelineLimits;
using qmfi_runtime::PipelineResult;
using qmfi_runtime::ProgramWords;
using qmfi_runtime::runPipeline;
using qmfi_system::Descriptor;

class Stopwatch {
 public:
  std::chrono::nanoseconds elapsed() const { return std::chrono::steady_clock::now() - m_start; }

 private:
  std::chrono::steady_clock::time_point m_start = std::chrono::steady_clock::now();
};

class ExecPipeTime : public ExecPipe {
 protected:
  ExecPipeTime() { EXPECT_EQ(mkfifo(fifo().c_str(), 0600), 0); }
  std::string fifo() const { return path("fifo"); }

  PipelineResult run(const std::string& program, PipelineLimits limits) {
    return runPipeline({ProgramWords{program}}, limits);
  }
};

TEST_F(ExecPipeTime, EndsACommandAtItsTimeLimitWithWhatItHasPrinted) {
  const std::string program = script("echo before; exec sleep 600");
  const Stopwatch stopwatch;
  const Outcome run = exec(program, 1);
  EXPECT_GE(stopwatch.elapsed(), 1s);
  EXPECT_LT(stopwatch.elapsed(), 3s);
  EXPECT_EQ(run.code, 5);
  EXPECT_EQ(run.output, Lines{"before"});
  EXPECT_EQ(run.error.getCode(), 5);
  EXPECT_EQ(run.error.getText(), program + ": did not end in time");
  EXPECT_EQ(run.error.getExitStatus(), 0);
}

TEST_F(ExecPipeTime, TakesALimitBelowOneSecondAsOne) {
  for (const int limit : {0, -1, INT_MIN}) {
    EXPECT_EQ(exec("/bin/echo a", limit).code, 0) << limit;
  }
}

TEST_F(ExecPipeTime, TakesTheLongestLimit) {
  EXPECT_EQ(exec("/bin/echo a", INT_MAX).code, 0);
}

TEST_F(ExecPipeTime, EndsACommandThatHasClosedItsOutput) {
  const PipelineResult result = run(script("exec >&- 2>&-; exec sleep 600"), {.time = 50ms});
  EXPECT_EQ(result.code, 5);
}

TEST_F(ExecPipeTime, EndsACommandThatPrintsForEver) {
  const PipelineResult result = runPipeline({{"/usr/bin/yes"}}, {.time = 50ms, .outputBytes = 100});
  EXPECT_EQ(result.code, 5);
  EXPECT_EQ(result.output.size(), 100u);
}

TEST_F(ExecPipeTime, EndsACommandThatIgnoresEverySignalItCan) {
  const PipelineResult result = run(script("trap '' HUP INT QUIT TERM; while :; do sleep 600; done"), {.time = 50ms});
  EXPECT_EQ(result.code, 5);
}

TEST_F(ExecPipeTime, NamesTheProgramThatKeptThePipelineFromEnding) {
  const PipelineResult result = runPipeline({{"/bin/true"}, {"/bin/sleep", "600"}, {"/bin/cat"}}, {.time = 200ms});
  EXPECT_EQ(result.code, 5);
  EXPECT_EQ(result.reason, "/bin/sleep: did not end in time");
}

TEST_F(ExecPipeTime, KillsTheWholeGroupOfEveryProgramAtTheTimeLimit) {
  // Every process of the pipeline holds the writing end; the reader sees the end of the last of them.
  const Descriptor reader(open(fifo().c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
  const std::string stage = script("exec 3>" + fifo() + "; sleep 600 & sleep 600 & echo started >&3; wait", "stage");
  const std::string gone = script("exec 3>" + fifo() + "; sleep 600 & exit 0", "gone");
  const PipelineResult result = runPipeline({{stage}, {gone}, {stage}}, {.time = 1s});
  EXPECT_EQ(result.code, 5);
  std::string text(16, '\0');
  EXPECT_EQ(read(reader.get(), text.data(), text.size()), 16);  // both stages had come as far as their children
  pollfd ended{reader.get(), 0, 0};
  EXPECT_EQ(poll(&ended, 1, 10000), 1);
  EXPECT_EQ(ended.revents, POLLHUP);
}

TEST_F(ExecPipeTime, ReapsLaterWhatHasNotEndedWithinTheGrace) {
  for (int i = 0; i < 20; ++i) EXPECT_EQ(run("/usr/bin/yes", {.time = 1ms, .grace = 0ms, .outputBytes = 10}).code, 5);
  // Each of them has been killed, and a run that follows its end reaps it.
  siginfo_t info{};
  for (int i = 0; i < 20 && waitid(P_ALL, 0, &info, WEXITED | WNOWAIT) == 0; ++i) {
    EXPECT_EQ(run("/bin/true", {.time = 30s}).code, 0);
  }
  EXPECT_EQ(waitid(P_ALL, 0, &info, WEXITED | WNOHANG | WNOWAIT), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST_F(ExecPipeTime, DoesNotWaitForADaemonThatKeepsTheOutputOpen) {
  Descriptor writer(open(fifo().c_str(), O_RDWR | O_CLOEXEC));
  const std::string program = script("exec 3<" + fifo() + "; cat <&3 & echo started");
  const Stopwatch stopwatch;
  const Outcome run = exec(program, 30);
  EXPECT_LT(stopwatch.elapsed(), 15s);
  EXPECT_EQ(run.code, 0);
  EXPECT_EQ(run.output, Lines{"started"});
}

TEST_F(ExecPipeTime, DoesNotReadForEverWhatADaemonPrintsForEver) {
  const Stopwatch stopwatch;
  const Outcome run = exec(script("yes & exit 7"), 30);
  EXPECT_LT(stopwatch.elapsed(), 15s);
  EXPECT_EQ(run.code, 11);
  EXPECT_EQ(run.error.getExitStatus(), 7);
}

}  // namespace

// Calls of the system that fail, or in which the host is kept beyond the time limit. The program is linked so that its
// calls of posix_spawn(), ppoll() and fcntl() pass through here.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>

#include "exec_pipe_fixture.h"
#include "process_pipeline.h"
#include "system/descriptor.h"

namespace {

int spawnsUntilTheEnd = 0;  // so many return only after the program has ended
int failingWaits = 0;       // so many fail
int failingCopy = 0;        // the copy of a descriptor with this number fails, counted from 1

}  // namespace

extern "C" decltype(posix_spawn) __real_posix_spawn;
extern "C" int __wrap_posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                                  const posix_spawnattr_t* attributes, char* const arguments[],
                                  char* const environment[]) {
  const int error = __real_posix_spawn(pid, path, actions, attributes, arguments, environment);
  if (error != 0 || spawnsUntilTheEnd == 0) return error;
  --spawnsUntilTheEnd;
  siginfo_t info{};
  waitid(P_PID, static_cast<id_t>(*pid), &info, WEXITED | WNOWAIT);
  return 0;
}

extern "C" decltype(ppoll) __real_ppoll;
extern "C" int __wrap_ppoll(pollfd* set, nfds_t count, const timespec* timeout, const sigset_t* mask) {
  if (failingWaits == 0) return __real_ppoll(set, count, timeout, mask);
  --failingWaits;
  errno = ENOMEM;
  return -1;
}

extern "C" decltype(fcntl) __real_fcntl;
extern "C" int __wrap_fcntl(int fd, int command, ...) {
  va_list rest;
  va_start(rest, command);
  const long argument = va_arg(rest, long);
  va_end(rest);
  if (command != F_DUPFD_CLOEXEC || failingCopy == 0 || --failingCopy != 0) return __real_fcntl(fd, command, argument);
  errno = EMFILE;
  return -1;
}

namespace {

using namespace exec_pipe_test;
using namespace std::chrono_literals;
using qmfi_runtime::PipelineResult;
using qmfi_runtime::runPipeline;

TEST_F(ExecPipe, CountsAProgramAsEndedInTimeThoughTheHostComesToLookAfterTheLimit) {
  spawnsUntilTheEnd = 2;
  const PipelineResult result = runPipeline({{"/bin/true"}, {"/bin/echo", "a"}}, {.time = 0ns});
  EXPECT_EQ(result.code, 0);
  EXPECT_EQ(result.output, "a\n");
  EXPECT_EQ(result.reason, "");
}

TEST_F(ExecPipe, EndsACommandThatItCannotWaitFor) {
  failingWaits = 1;
  const Outcome run = exec("/bin/true | /bin/sleep 600");
  EXPECT_EQ(run.code, 8);
  EXPECT_EQ(run.output, Lines{});
  EXPECT_EQ(run.error.getCode(), 8);
  EXPECT_EQ(run.error.getText(), "/bin/true: cannot be waited for");
  EXPECT_EQ(run.error.getExitStatus(), 0);
}

// Has no standard streams while it lives.
class ClosedStandardStreams {
 public:
  ClosedStandardStreams() {
    for (int fd = 0; fd < 3; ++fd) {
      m_saved[fd].reset(fcntl(fd, F_DUPFD_CLOEXEC, 10));
      close(fd);
    }
  }
  ClosedStandardStreams(const ClosedStandardStreams&) = delete;
  ClosedStandardStreams& operator=(const ClosedStandardStreams&) = delete;
  ~ClosedStandardStreams() {
    for (int fd = 0; fd < 3; ++fd) dup2(m_saved[fd].get(), fd);
  }

 private:
  std::array<qmfi_system::Descriptor, 3> m_saved;
};

Outcome execWithFailingCopy(int number) {
  const ClosedStandardStreams closed;
  failingCopy = number;
  Outcome run = exec("/bin/echo a | /bin/cat");
  failingCopy = 0;
  return run;
}

TEST_F(ExecPipe, RunsNothingWhereTheStreamsCannotBeMovedOutOfTheStandardOnes) {
  // The input, and both ends of the two pipes.
  constexpr int copies = 5;
  for (int number = 1; number <= copies; ++number) {
    const Outcome run = execWithFailingCopy(number);
    EXPECT_EQ(run.code, 1) << number;
    EXPECT_EQ(run.output, Lines{}) << number;
    EXPECT_EQ(run.error.getCode(), 1) << number;
    EXPECT_EQ(run.error.getText(), "/bin/echo: no descriptors for its streams") << number;
  }
  EXPECT_EQ(execWithFailingCopy(copies + 1).output, Lines{"a"});
}

}  // namespace

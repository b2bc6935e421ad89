// One child process and what it prints.
#include "system/program.h"

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <utility>

#include "system/child_process.h"
#include "system/pipe.h"
#include "system/poll_until.h"
#include "system/thread_cancellation.h"

namespace qmfi_system {

namespace {

using Clock = std::chrono::steady_clock;

constexpr int timedOutStatus = 124;
constexpr int notRunStatus = 127;
constexpr int signalStatuses = 128;

// A program on its way to its end. One that has not come to it is killed.
class RunningProgram {
 public:
  explicit RunningProgram(const Program& program) : m_program(program) {
    if (program.time) m_deadline = Clock::now() + *program.time;
  }
  RunningProgram(const RunningProgram&) = delete;
  RunningProgram& operator=(const RunningProgram&) = delete;
  ~RunningProgram() {
    if (!m_child.started() || m_isReaped) return;
    m_child.kill();
    reap();
  }

  void start(const ProgramStreams& streams) {
    const std::vector<char*> environment = pointersTo(m_program.environment);
    const auto group = m_deadline ? ProcessGroup::own : ProcessGroup::callers;
    m_child.start(m_program.words, environment.data(), streams, group, m_end.error);
  }

  // Until nobody can print any more, or until the deadline.
  void capture(const Descriptor& printed) {
    std::array<char, 4096> part;
    while (m_end.error == 0 && isReady(printed.get())) {
      const ssize_t length = TEMP_FAILURE_RETRY(read(printed.get(), part.data(), part.size()));
      if (length <= 0) return;
      m_end.output.append(part.data(), static_cast<std::size_t>(length));
    }
  }

  ProgramEnd end() {
    if (m_end.error != 0) return std::move(m_end);
    // One that was reaped by somebody else before it could be watched is not there any more.
    m_end.timedOut = m_child.watchFd() >= 0 && !isReady(m_child.watchFd());
    if (m_end.timedOut) m_child.kill();
    const auto [how, status] = reap();
    if (m_end.timedOut) return std::move(m_end);
    if (how == ChildEnd::exited) m_end.exitStatus = status;
    if (how == ChildEnd::killed) m_end.signal = status;
    if (how == ChildEnd::lost) m_end.error = ECHILD;
    return std::move(m_end);
  }

 private:
  // False when the deadline came first.
  bool isReady(int fd) const {
    std::array<pollfd, 1> watched = {pollfd{fd, POLLIN, 0}};
    return !m_deadline || pollUntil(watched, *m_deadline);
  }

  std::pair<ChildEnd, int> reap() {
    int status = 0;
    const ChildEnd how = m_child.waitAndReap(status);
    m_isReaped = true;
    return {how, status};
  }

  const Program& m_program;
  std::optional<Clock::time_point> m_deadline;
  ChildProcess m_child;
  bool m_isReaped = false;
  ProgramEnd m_end;
};

}  // namespace

Environment ownEnvironment() {
  Environment environment;
  for (char** text = environ; text != nullptr && *text != nullptr; ++text) environment.emplace_back(*text);
  return environment;
}

int ProgramEnd::shellStatus() const {
  if (exitStatus) return *exitStatus;
  if (signal) return signalStatuses + *signal;
  return timedOut ? timedOutStatus : notRunStatus;
}

int shellStatus(int waitStatus) {
  return WIFSIGNALED(waitStatus) ? signalStatuses + WTERMSIG(waitStatus) : WEXITSTATUS(waitStatus);
}

ProgramEnd runProgram(const Program& program) {
  const CancellationDisabled whole;
  RunningProgram running(program);
  running.start({});
  return running.end();
}

ProgramEnd captureProgram(const Program& program) {
  const CancellationDisabled whole;
  const Descriptor nothing = aboveStandardStreams(Descriptor(open("/dev/null", O_RDONLY | O_CLOEXEC)));
  if (!nothing.valid()) return {.error = errno};
  Pipe printed = makePipe();
  if (!printed.valid()) return {.error = errno};
  RunningProgram running(program);
  running.start({.input = nothing.get(), .output = printed.writeEnd.get(), .errors = printed.writeEnd.get()});
  printed.writeEnd.reset();
  running.capture(printed.readEnd);
  return running.end();
}

}  // namespace qmfi_system

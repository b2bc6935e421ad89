// Starting and ending of child processes.
#include "child_process.h"

#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <mutex>
#include <vector>

#include "cancellation_disabled.h"
#include "lock_if_possible.h"

namespace qmfi_runtime {

namespace {

// Nothing of the host's environment reaches a command, and what commands print is never translated.
constexpr const char* environment[] = {"LC_ALL=C", "PATH=/usr/sbin:/usr/bin:/sbin:/bin", nullptr};

class SpawnFileActions {
 public:
  SpawnFileActions() { m_error = posix_spawn_file_actions_init(&m_actions); }
  ~SpawnFileActions() { posix_spawn_file_actions_destroy(&m_actions); }
  SpawnFileActions(const SpawnFileActions&) = delete;
  SpawnFileActions& operator=(const SpawnFileActions&) = delete;

  void duplicate(int from, int to) {
    if (m_error == 0) m_error = posix_spawn_file_actions_adddup2(&m_actions, from, to);
  }
  void closeFrom(int first) {
    if (m_error == 0) m_error = posix_spawn_file_actions_addclosefrom_np(&m_actions, first);
  }
  int error() const { return m_error; }
  const posix_spawn_file_actions_t* get() const { return &m_actions; }

 private:
  posix_spawn_file_actions_t m_actions;
  int m_error;
};

// A process group of its own, default signal actions, an empty signal mask.
class SpawnAttributes {
 public:
  SpawnAttributes() {
    posix_spawnattr_init(&m_attributes);
    sigset_t signals;
    sigfillset(&signals);
    posix_spawnattr_setsigdefault(&m_attributes, &signals);
    sigemptyset(&signals);
    posix_spawnattr_setsigmask(&m_attributes, &signals);
    posix_spawnattr_setpgroup(&m_attributes, 0);
    posix_spawnattr_setflags(&m_attributes, POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
  }
  ~SpawnAttributes() { posix_spawnattr_destroy(&m_attributes); }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;

  const posix_spawnattr_t* get() const { return &m_attributes; }

 private:
  posix_spawnattr_t m_attributes;
};

// Children that were killed and had not ended when their time was up.
struct Leftovers {
  std::mutex mutex;
  std::list<ChildProcess> children;
};

Leftovers& leftovers() {
  static Leftovers instance;
  return instance;
}

}  // namespace

ChildProcess::StartResult ChildProcess::start(const ProgramWords& words, const StandardStreams& streams, int& error) {
  std::vector<char*> arguments;
  for (const std::string& word : words) arguments.push_back(const_cast<char*>(word.c_str()));
  arguments.push_back(nullptr);

  SpawnFileActions actions;
  actions.duplicate(streams.input, STDIN_FILENO);
  actions.duplicate(streams.output, STDOUT_FILENO);
  actions.duplicate(streams.errors, STDERR_FILENO);
  actions.closeFrom(STDERR_FILENO + 1);
  error = actions.error();
  if (error != 0) return StartResult::noResources;

  const SpawnAttributes attributes;
  pid_t pid = -1;
  error = posix_spawn(&pid, arguments[0], actions.get(), attributes.get(), arguments.data(),
                      const_cast<char**>(environment));
  if (error != 0) return StartResult::notStarted;
  m_pid = pid;
  m_pidfd.reset(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
  if (m_pidfd.valid()) return StartResult::started;
  // A host that ignores SIGCHLD has its children reaped as they end, perhaps before they can be watched.
  if (errno == ESRCH) return StartResult::started;
  error = errno;
  return StartResult::noResources;
}

void ChildProcess::killGroup() const {
  // Somebody else may have reaped the child, and its number may stand for another group by now.
  siginfo_t info{};
  if (waitid(P_PID, static_cast<id_t>(m_pid), &info, WEXITED | WNOHANG | WNOWAIT) != 0) return;
  kill(-m_pid, SIGKILL);
}

ChildEnd ChildProcess::reap(int& status) {
  return reapWith(WEXITED | WNOHANG, status);
}

ChildEnd ChildProcess::reapEnded(int& status) {
  return reapWith(WEXITED, status);
}

ChildEnd ChildProcess::reapWith(int options, int& status) {
  const idtype_t kind = m_pidfd.valid() ? P_PIDFD : P_PID;
  const auto child = static_cast<id_t>(m_pidfd.valid() ? m_pidfd.get() : m_pid);
  siginfo_t info{};
  const int result = TEMP_FAILURE_RETRY(waitid(kind, child, &info, options));
  if (result != 0) return ChildEnd::lost;
  if (info.si_pid == 0) return ChildEnd::running;
  if (info.si_code != CLD_EXITED) return ChildEnd::killed;
  status = info.si_status;
  return ChildEnd::exited;
}

void reapLater(std::list<ChildProcess>& children) noexcept {
  Leftovers& left = leftovers();
  const auto guard = lockIfPossible(left.mutex);
  left.children.splice(left.children.end(), children);
}

void reapLeftovers() noexcept {
  const CancellationDisabled whole;
  Leftovers& left = leftovers();
  const auto guard = lockIfPossible(left.mutex);
  left.children.remove_if([](ChildProcess& child) {
    int status = 0;
    return child.reap(status) != ChildEnd::running;
  });
}

}  // namespace qmfi_runtime

// Starting and ending of child processes.
#include "system/child_process.h"

#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "system/signal_masks.h"

namespace qmfi_system {

const char* const plainEnvironment[] = {"LC_ALL=C", "PATH=/usr/sbin:/usr/bin:/sbin:/bin", nullptr};

namespace {

constexpr int fourthStream = STDERR_FILENO + 1;

class SpawnFileActions {
 public:
  SpawnFileActions() { m_error = posix_spawn_file_actions_init(&m_actions); }
  ~SpawnFileActions() { posix_spawn_file_actions_destroy(&m_actions); }
  SpawnFileActions(const SpawnFileActions&) = delete;
  SpawnFileActions& operator=(const SpawnFileActions&) = delete;

  // A negative descriptor changes nothing.
  void duplicate(int from, int to) {
    if (m_error == 0 && from >= 0) m_error = posix_spawn_file_actions_adddup2(&m_actions, from, to);
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

class SpawnAttributes {
 public:
  explicit SpawnAttributes(ProcessGroup group) {
    posix_spawnattr_init(&m_attributes);
    short flags = POSIX_SPAWN_SETSIGMASK;
    const sigset_t none = signalSet({});
    posix_spawnattr_setsigmask(&m_attributes, &none);
    if (group == ProcessGroup::own) {
      flags |= POSIX_SPAWN_SETPGROUP | POSIX_SPAWN_SETSIGDEF;
      const sigset_t all = allSignals();
      posix_spawnattr_setsigdefault(&m_attributes, &all);
      posix_spawnattr_setpgroup(&m_attributes, 0);
    }
    posix_spawnattr_setflags(&m_attributes, flags);
  }
  ~SpawnAttributes() { posix_spawnattr_destroy(&m_attributes); }
  SpawnAttributes(const SpawnAttributes&) = delete;
  SpawnAttributes& operator=(const SpawnAttributes&) = delete;

  const posix_spawnattr_t* get() const { return &m_attributes; }

 private:
  posix_spawnattr_t m_attributes;
};

}  // namespace

std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (const std::string& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

ChildProcess::StartResult ChildProcess::start(const std::vector<std::string>& words, const char* const* environment,
                                              const ProgramStreams& streams, ProcessGroup group, int& error) {
  const std::vector<char*> arguments = pointersTo(words);
  SpawnFileActions actions;
  actions.duplicate(streams.input, STDIN_FILENO);
  actions.duplicate(streams.output, STDOUT_FILENO);
  actions.duplicate(streams.errors, STDERR_FILENO);
  actions.duplicate(streams.fourth, fourthStream);
  actions.closeFrom(streams.fourth >= 0 ? fourthStream + 1 : fourthStream);
  error = actions.error();
  if (error != 0) return StartResult::noResources;

  const SpawnAttributes attributes(group);
  pid_t pid = -1;
  error = posix_spawn(&pid, arguments[0], actions.get(), attributes.get(), arguments.data(),
                      const_cast<char**>(environment));
  if (error != 0) return StartResult::notStarted;
  m_pid = pid;
  m_group = group;
  m_pidfd.reset(static_cast<int>(syscall(SYS_pidfd_open, pid, 0)));
  if (m_pidfd.valid()) return StartResult::started;
  // A host that ignores SIGCHLD has its children reaped as they end, perhaps before they can be watched.
  if (errno == ESRCH) return StartResult::started;
  error = errno;
  return StartResult::noResources;
}

void ChildProcess::kill() const {
  // Somebody else may have reaped the child, and its number may stand for another group by now.
  siginfo_t info{};
  if (waitid(P_PID, static_cast<id_t>(m_pid), &info, WEXITED | WNOHANG | WNOWAIT) != 0) return;
  ::kill(m_group == ProcessGroup::own ? -m_pid : m_pid, SIGKILL);
}

ChildEnd ChildProcess::reap(int& status) {
  return reapWith(WEXITED | WNOHANG, status);
}

ChildEnd ChildProcess::waitAndReap(int& status) {
  return reapWith(WEXITED, status);
}

ChildEnd ChildProcess::reapWith(int options, int& status) {
  const idtype_t kind = m_pidfd.valid() ? P_PIDFD : P_PID;
  const auto child = static_cast<id_t>(m_pidfd.valid() ? m_pidfd.get() : m_pid);
  siginfo_t info{};
  const int result = TEMP_FAILURE_RETRY(waitid(kind, child, &info, options));
  if (result != 0) return ChildEnd::lost;
  if (info.si_pid == 0) return ChildEnd::running;
  status = info.si_status;
  return info.si_code == CLD_EXITED ? ChildEnd::exited : ChildEnd::killed;
}

}  // namespace qmfi_system

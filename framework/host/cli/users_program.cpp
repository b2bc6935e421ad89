// Finding, starting and waiting.
#include "cli/users_program.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <sstream>
#include <utility>

#include "failure/deferred_signals.h"
#include "failure/host_error.h"
#include "system/child_process.h"
#include "system/descriptor.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace fs = std::filesystem;

using qmfi_system::ChildEnd;
using qmfi_system::ChildProcess;
using qmfi_system::Descriptor;

namespace {

constexpr int signalStatuses = 128;

HostError cannotBeRun(const std::string& program, int error) {
  const bool isMissing = error == ENOENT;
  return HostError(isMissing ? ExitStatus::programMissing : ExitStatus::programUnusable,
                   systemError(translate("the program {0} cannot be run", program), error).what());
}

// 0, or why a file cannot be run.
int whyNot(const fs::path& file) {
  struct stat status {};
  if (stat(file.c_str(), &status) != 0) return errno;
  if (!S_ISREG(status.st_mode)) return EACCES;
  return access(file.c_str(), X_OK) == 0 ? 0 : errno;
}

// Absolute, since it is run in another directory.
std::string findProgram(const std::string& word) {
  if (word.find('/') != std::string::npos) {
    const fs::path named = fs::absolute(word);
    if (const int error = whyNot(named)) throw cannotBeRun(word, error);
    return named;
  }
  const char* const path = secure_getenv("PATH");
  std::istringstream directories(path != nullptr ? path : "/bin:/usr/bin");
  int error = ENOENT;
  for (std::string directory; !word.empty() && std::getline(directories, directory, ':');) {
    const fs::path candidate = fs::absolute(directory.empty() ? "." : directory) / word;
    const int reason = whyNot(candidate);
    if (reason == 0) return candidate;
    if (reason == EACCES) error = EACCES;
  }
  throw cannotBeRun("\"" + word + "\"", error);
}

std::string nameIn(const std::string& variable) {
  return variable.substr(0, variable.find('='));
}

qmfi_system::Environment withVariables(const qmfi_system::Environment& variables) {
  qmfi_system::Environment environment = qmfi_system::ownEnvironment();
  for (const std::string& variable : variables) {
    std::erase_if(environment, [&](const std::string& own) { return nameIn(own) == nameIn(variable); });
    environment.push_back(variable);
  }
  return environment;
}

// Passes on the signals that users end programs by.
class SignalPassing {
 public:
  SignalPassing() : m_signals(signalfd(-1, &DeferredSignals::all(), SFD_CLOEXEC | SFD_NONBLOCK)) {
    if (!m_signals.valid()) throw systemError(translate("signals cannot be passed on to the program"));
  }

  int watchFd() const { return m_signals.get(); }

  // What has come until now. evenOfTerminal: also what a terminal has sent, which it sends to both of them.
  void passOn(pid_t program, bool evenOfTerminal) const {
    signalfd_siginfo come{};
    while (read(m_signals.get(), &come, sizeof(come)) == static_cast<ssize_t>(sizeof(come))) {
      if (come.ssi_code == SI_KERNEL && !evenOfTerminal) continue;
      kill(program, static_cast<int>(come.ssi_signo));
    }
  }

 private:
  Descriptor m_signals;
};

// The program is in the same process group, and has not been reaped while it is sent signals.
int waitFor(ChildProcess& program, const SignalPassing& signals) {
  // What a terminal sent before the program was there went to this process alone.
  signals.passOn(program.pid(), true);
  std::array<pollfd, 2> watched = {pollfd{program.watchFd(), POLLIN, 0}, pollfd{signals.watchFd(), POLLIN, 0}};
  while (program.watchFd() >= 0 && watched[0].revents == 0) {
    if (poll(watched.data(), watched.size(), -1) > 0 && watched[1].revents != 0) signals.passOn(program.pid(), false);
  }
  int status = 0;
  const ChildEnd how = program.waitAndReap(status);
  if (how == ChildEnd::lost) throw HostError(translate("how the program has ended was told to somebody else"));
  return how == ChildEnd::killed ? signalStatuses + status : status;
}

// One that cannot be watched has been started perhaps.
void end(ChildProcess& program) {
  if (!program.started()) return;
  program.kill();
  int status = 0;
  program.waitAndReap(status);
}

// A limit as the user has set it, while this lives.
class UsersLimit {
 public:
  UsersLimit(__rlimit_resource resource, const rlimit& limit) : m_resource(resource) {
    getrlimit(resource, &m_own);
    const rlimit asBefore{limit.rlim_cur, m_own.rlim_max};
    setrlimit(resource, &asBefore);
  }
  UsersLimit(const UsersLimit&) = delete;
  UsersLimit& operator=(const UsersLimit&) = delete;
  ~UsersLimit() { setrlimit(m_resource, &m_own); }

 private:
  const __rlimit_resource m_resource;
  rlimit m_own{};
};

// The action of a signal that this process has changed, as programs expect it, while this lives.
class DefaultAction {
 public:
  explicit DefaultAction(int signal) : m_signal(signal), m_before(std::signal(signal, SIG_DFL)) {}
  DefaultAction(const DefaultAction&) = delete;
  DefaultAction& operator=(const DefaultAction&) = delete;
  ~DefaultAction() { std::signal(m_signal, m_before); }

 private:
  const int m_signal;
  void (*const m_before)(int);
};

}  // namespace

UsersProgram::UsersProgram(std::vector<std::string> words) : m_words(std::move(words)) {
  m_words.front() = findProgram(m_words.front());
  getrlimit(RLIMIT_NOFILE, &m_descriptors);
  getrlimit(RLIMIT_FSIZE, &m_fileSize);
}

int UsersProgram::run(const std::string& directory, const qmfi_system::Environment& variables) const {
  const qmfi_system::Environment texts = withVariables(variables);
  const std::vector<char*> environment = qmfi_system::pointersTo(texts);
  const SignalPassing signals;
  // Where it is ignored, nobody is told how the program ended.
  const DefaultAction ofChildren(SIGCHLD);
  ChildProcess program;
  int error = 0;
  if (chdir(directory.c_str()) != 0) throw systemError(translate("{0} cannot be entered", directory));
  {
    const DefaultAction ofPipes(SIGPIPE);
    const UsersLimit descriptors(RLIMIT_NOFILE, m_descriptors);
    const UsersLimit fileSize(RLIMIT_FSIZE, m_fileSize);
    program.start(m_words, environment.data(), {}, qmfi_system::ProcessGroup::callers, error);
  }
  // What this process is in cannot be unmounted.
  if (chdir("/") != 0) throw systemError(translate("{0} cannot be entered", "/"));
  if (error != 0) {
    end(program);
    throw cannotBeRun(m_words.front(), error);
  }
  return waitFor(program, signals);
}

}  // namespace qmfi_host

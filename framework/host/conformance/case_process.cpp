// Fork, watch, kill, reap.
#include "conformance/case_process.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <cstring>

#include "cfiscopeexit.h"
#include "failure/host_error.h"
#include "system/descriptor.h"
#include "system/poll_until.h"
#include "texts/translation.h"

namespace qmfi_host {

using qmfi_pdk_4_4::CFiScopeExit;
using qmfi_system::Descriptor;

namespace {

constexpr int workDone = 0;
constexpr int notSetUp = 125;

// The child is to have nothing of the parent's streams and signals.
bool setUpChild(pid_t parent, int outputs) {
  const int input = open("/dev/null", O_RDONLY | O_CLOEXEC);
  sigset_t none;
  sigemptyset(&none);
  return setpgid(0, 0) == 0 && prctl(PR_SET_PDEATHSIG, SIGKILL) == 0 && getppid() == parent && input >= 0 &&
         dup2(input, STDIN_FILENO) >= 0 && dup2(outputs, STDOUT_FILENO) >= 0 && dup2(outputs, STDERR_FILENO) >= 0 &&
         close(input) == 0 && sigprocmask(SIG_SETMASK, &none, nullptr) == 0;
}

[[noreturn]] void runChild(const std::function<void()>& work, pid_t parent, int outputs) {
  if (!setUpChild(parent, outputs)) _exit(notSetUp);
  work();
  _exit(workDone);
}

std::string endOf(int status) {
  if (WIFSIGNALED(status)) {
    const char* const name = sigabbrev_np(WTERMSIG(status));
    return "was killed by " + (name != nullptr ? "SIG" + std::string(name) : std::to_string(WTERMSIG(status)));
  }
  if (WEXITSTATUS(status) == notSetUp) return "could not be set up";
  return WEXITSTATUS(status) == workDone ? "" : "ended with status " + std::to_string(WEXITSTATUS(status));
}

std::string contentOf(const Descriptor& file) {
  std::array<char, 4096> room;
  const ssize_t length = pread(file.get(), room.data(), room.size(), 0);
  return length > 0 ? std::string(room.data(), static_cast<std::size_t>(length)) : std::string();
}

// False when the time was over before the child has ended.
bool hasEndedBy(const Descriptor& child, std::chrono::steady_clock::time_point deadline,
                const std::function<void()>& checkpoint) {
  constexpr std::chrono::milliseconds slice(100);
  pollfd entry{child.get(), POLLIN, 0};
  while (std::chrono::steady_clock::now() < deadline) {
    if (qmfi_system::pollUntil({&entry, 1}, std::min(deadline, std::chrono::steady_clock::now() + slice))) return true;
    checkpoint();
  }
  return false;
}

}  // namespace

CaseProcessEnd runCaseProcess(const std::function<void()>& work, std::chrono::milliseconds limit,
                              const std::function<void()>& checkpoint, const std::function<void()>& relieve) {
  const Descriptor outputs(memfd_create("outputs", MFD_CLOEXEC));
  if (!outputs.valid()) throw systemError(translate("there is no memory for what a provider prints"));
  const pid_t parent = getpid();
  const pid_t child = fork();
  if (child < 0) throw systemError(translate("no process can be started to try a provider in"));
  if (child == 0) runChild(work, parent, outputs.get());
  setpgid(child, child);
  int status = 0;
  CaseProcessEnd end;
  {
    const CFiScopeExit reap([&] {
      relieve();
      kill(-child, SIGKILL);
      kill(child, SIGKILL);
      while (waitpid(child, &status, 0) < 0 && errno == EINTR) continue;
    });
    const Descriptor watched(static_cast<int>(syscall(SYS_pidfd_open, child, 0)));
    if (!watched.valid()) throw systemError(translate("the process that tries a provider cannot be watched"));
    if (!hasEndedBy(watched, std::chrono::steady_clock::now() + limit, checkpoint)) {
      end.otherwise = "took longer than " + std::to_string(limit.count() / 1000) + " s";
    }
  }
  if (end.otherwise.empty()) end.otherwise = endOf(status);
  end.printed = contentOf(outputs);
  return end;
}

}  // namespace qmfi_host

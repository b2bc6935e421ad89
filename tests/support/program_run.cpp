// Programs of the tests.
#include "support/program_run.h"

#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "support/text_file.h"
#include "system/program.h"

namespace testbed_test {

Outcome run(const std::vector<std::string>& words, const std::optional<std::vector<std::string>>& environment) {
  const auto end = qmfi_system::captureProgram({words, environment ? *environment : qmfi_system::ownEnvironment()});
  return {end.shellStatus(), end.output};
}

RunningProgram::RunningProgram(const std::vector<std::string>& words, const qmfi_system::ProgramStreams& streams) {
  constexpr int notStarted = 127;
  int error = 0;
  m_process.start(words, environ, streams, qmfi_system::ProcessGroup::callers, error);
  if (!m_process.started()) m_status = notStarted;
}

void RunningProgram::send(int signal) const {
  if (!m_status) kill(pid(), signal);
}

bool RunningProgram::hasEnded() const {
  siginfo_t end{};
  return m_status || waitid(P_PID, static_cast<id_t>(pid()), &end, WEXITED | WNOHANG | WNOWAIT) != 0 || end.si_pid != 0;
}

bool RunningProgram::waitUntilInCall(const std::string& call) const {
  const std::string current = "/proc/" + std::to_string(pid()) + "/syscall";
  while (!textOf(current).starts_with(call)) {
    if (hasEnded()) return false;
    std::this_thread::yield();
  }
  return true;
}

int RunningProgram::wait() {
  if (m_status) return *m_status;
  int status = 0;
  const auto end = m_process.waitAndReap(status);
  m_status = end == qmfi_system::ChildEnd::killed ? 128 + status : status;
  return *m_status;
}

}  // namespace testbed_test

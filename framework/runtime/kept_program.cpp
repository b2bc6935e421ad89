// Talking with the keeper of a program's status.
#include "kept_program.h"

#include <sys/socket.h>

#include <array>
#include <cerrno>
#include <csignal>

#include "system/pipe.h"
#include "system/status_keeper.h"
#include "system/thread_cancellation.h"

namespace qmfi_runtime {

using namespace qmfi_system;

namespace {

// Both ends of a socket for reports, which can become streams of a program.
struct ReportSocket {
  Descriptor ours;
  Descriptor keepers;
};

ReportSocket makeReportSocket() {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) return {};
  return {aboveStandardStreams(Descriptor(ends[0])), aboveStandardStreams(Descriptor(ends[1]))};
}

// How much of a report there was: its size, 0 when the keeper is gone, -1 when there is none yet and it is not waited
// for.
template <typename Report>
ssize_t receive(const Descriptor& reports, Report& report, int flags) {
  return TEMP_FAILURE_RETRY(recv(reports.get(), &report, sizeof report, flags));
}

}  // namespace

KeptProgram::StartResult KeptProgram::start(const std::string& keeper, const std::vector<std::string>& words,
                                            const ProgramStreams& streams, int& error) {
  if (!keeper.empty()) return startKept(keeper, words, streams, error);
  const StartResult result = m_child.start(words, plainEnvironment, streams, ProcessGroup::own, error);
  m_isStarted = m_child.started();
  return result;
}

KeptProgram::StartResult KeptProgram::startKept(const std::string& keeper, const std::vector<std::string>& words,
                                                ProgramStreams streams, int& error) {
  std::vector<std::string> keeperWords;
  keeperWords.reserve(words.size() + 1);
  keeperWords.push_back(keeper);
  keeperWords.insert(keeperWords.end(), words.begin(), words.end());

  ReportSocket socket = makeReportSocket();
  if (!socket.ours.valid() || !socket.keepers.valid()) {
    error = errno;
    return StartResult::noResources;
  }
  streams.fourth = socket.keepers.get();
  const StartResult result = m_child.start(keeperWords, plainEnvironment, streams, ProcessGroup::own, error);
  m_isStarted = m_child.started();
  if (result != StartResult::started) return result;
  m_reports = std::move(socket.ours);
  socket.keepers.reset();
  return waitForStart(error);
}

// As long as the start of a program takes.
KeptProgram::StartResult KeptProgram::waitForStart(int& error) {
  const CancellationDisabled whole;
  StartReport report{};
  if (receive(m_reports, report, 0) != sizeof report) {
    error = ECHILD;
    m_reports.reset();
    return StartResult::noResources;
  }
  if (report.pid <= 0) {
    error = report.error;
    dismissKeeper();
    m_isStarted = false;
    return StartResult::notStarted;
  }
  m_pid = report.pid;
  return StartResult::started;
}

void KeptProgram::kill() const {
  char byte;
  const bool hasKeeper = m_reports.valid() && receive(m_reports, byte, MSG_PEEK | MSG_DONTWAIT) != 0;
  if (!hasKeeper) return m_child.kill();
  // The keeper has not reaped it, so the number is its own.
  ::kill(-m_pid, SIGKILL);
}

ChildEnd KeptProgram::reap(int& status) {
  return m_reports.valid() ? reapKept(MSG_DONTWAIT, status) : m_child.reap(status);
}

ChildEnd KeptProgram::waitAndReap(int& status) {
  return m_reports.valid() ? reapKept(0, status) : m_child.waitAndReap(status);
}

ChildEnd KeptProgram::reapKept(int flags, int& status) {
  const CancellationDisabled whole;
  EndReport report{};
  const ssize_t size = receive(m_reports, report, flags);
  if (size < 0 && errno == EAGAIN) return ChildEnd::running;
  dismissKeeper();
  if (size != sizeof report) return ChildEnd::lost;
  status = report.status;
  return report.code == CLD_EXITED ? ChildEnd::exited : ChildEnd::killed;
}

// It ends at once when its socket is closed, and its own status tells nothing.
void KeptProgram::dismissKeeper() {
  m_reports.reset();
  int status = 0;
  m_child.waitAndReap(status);
}

}  // namespace qmfi_runtime

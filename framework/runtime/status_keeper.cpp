// Keeps the exit status of a program for a library whose host may reap any child: see system/status_keeper.h.
#include "system/status_keeper.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <array>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <new>
#include <optional>
#include <string>
#include <vector>

#include "system/child_process.h"
#include "system/poll_until.h"

namespace {

using namespace qmfi_system;

template <typename Report>
void tell(const Report& report) {
  send(statusKeeperSocket, &report, sizeof report, MSG_NOSIGNAL);
}

// The program alone holds its streams, or their readers would wait for the keeper, too.
void closeStreams() {
  for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) close(stream);
}

// Nothing where the status cannot be had. The program has ended then, too: who is told early takes away what it still
// works on.
std::optional<EndReport> waitForEnd(const ChildProcess& child) {
  siginfo_t info{};
  if (TEMP_FAILURE_RETRY(waitid(P_PID, static_cast<id_t>(child.pid()), &info, WEXITED | WNOWAIT)) == 0) {
    return EndReport{info.si_code, info.si_status};
  }
  std::array<pollfd, 1> watched = {pollfd{child.watchFd(), POLLIN, 0}};
  pollUntil(watched, std::chrono::steady_clock::time_point::max());
  return std::nullopt;
}

void waitUntilTheOtherEndIsClosed() {
  char byte;
  while (TEMP_FAILURE_RETRY(recv(statusKeeperSocket, &byte, sizeof byte, 0)) > 0) continue;
}

int keep(const std::vector<std::string>& program) {
  ChildProcess child;
  StartReport start{-1, 0};
  child.start(program, environ, {}, ProcessGroup::own, start.error);
  closeStreams();
  start.pid = child.pid();
  tell(start);
  if (!child.started()) return EXIT_FAILURE;
  const std::optional<EndReport> end = waitForEnd(child);
  if (!end) return EXIT_FAILURE;
  tell(*end);
  waitUntilTheOtherEndIsClosed();
  return EXIT_SUCCESS;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2 || fcntl(statusKeeperSocket, F_SETFD, FD_CLOEXEC) != 0) return EXIT_FAILURE;
  try {
    return keep({argv + 1, argv + argc});
  } catch (const std::bad_alloc&) {
    tell(StartReport{-1, ENOMEM});
    return EXIT_FAILURE;
  }
}

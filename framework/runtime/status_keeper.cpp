// Keeps the exit status of a program for a library whose host may reap any child: see system/status_keeper.h.
#include "system/status_keeper.h"

#include <fcntl.h>
#include <sys/socket.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdlib>
#include <new>
#include <string>
#include <vector>

#include "system/child_process.h"

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

EndReport waitForEnd(pid_t pid) {
  siginfo_t info{};
  TEMP_FAILURE_RETRY(waitid(P_PID, static_cast<id_t>(pid), &info, WEXITED | WNOWAIT));
  return {info.si_code, info.si_status};
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
  tell(waitForEnd(child.pid()));
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

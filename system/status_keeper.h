// How a program that keeps another one's exit status tells it. The status of a process goes to whoever waits first, and
// to nobody where the parent ignores SIGCHLD; a library has no say in what the program that loads it does. So a keeper
// of its own stands between: it starts the program, and tells how that went and how the program ended.
//
//   keeper PROGRAM [WORD...]     3: a socket for the reports, of type SOCK_SEQPACKET
//
// The program gets the keeper's standard streams and environment, and runs in a process group of its own. It is not
// reaped before the other end of the socket is closed, so its number is its own until then.
#ifndef SYSTEM_STATUS_KEEPER_H
#define SYSTEM_STATUS_KEEPER_H

#include <sys/types.h>
#include <unistd.h>

namespace qmfi_system {

// The keeper's descriptor for the reports.
inline constexpr int statusKeeperSocket = STDERR_FILENO + 1;

// The first report. Offsets: pid 0, error 4.
struct StartReport {
  pid_t pid;  // the program's; negative when it was not started
  int error;  // why not, an errno value; not read when it was started
};

// The second report, only of a program that was started, once it has ended. There is none where its status is lost: the
// keeper ends then without it, after the program. Offsets: code 0, status 4.
struct EndReport {
  int code;    // CLD_EXITED, or another one for a signal's end
  int status;  // the exit status, or the signal
};

}  // namespace qmfi_system

#endif

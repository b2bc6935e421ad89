// The launcher: starts the testbed in namespaces of its own, guards it from outside and reports the command's status.
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/signalfd.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>

#include "common/local_socket.h"
#include "driver/watchdog.h"
#include "launcher/arguments.h"
#include "launcher/session.h"
#include "launcher/terminal.h"
#include "launcher/volume_pool.h"
#include "system/checked.h"
#include "system/program.h"

namespace testbed {

using qmfi_system::checked;
using qmfi_system::Descriptor;
using qmfi_system::shellStatus;

namespace {

constexpr int usageStatus = 2;

// The signals that end a testbed, delivered through a descriptor.
Descriptor listenForEnd() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int number : {SIGINT, SIGTERM, SIGHUP, SIGQUIT}) sigaddset(&signals, number);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  return Descriptor(checked(signalfd(-1, &signals, SFD_CLOEXEC), "signalfd"));
}

int sessionStatus(const Arguments& arguments, const Terminal& terminal, const Descriptor& lifeline, Descriptor watchdog,
                  Descriptor poolImage) {
  try {
    return runSession(arguments, terminal, lifeline, std::move(watchdog), std::move(poolImage));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "qmfs-testbed: %s\n", error.what());
    return setUpFailed;
  }
}

// Guards the session until its last process is gone. Returns the number of the signal that ended it early, or 0.
int guard(Watchdog& watchdog, pid_t session, Descriptor lifeline, const Descriptor& endSignals) {
  const Descriptor process(static_cast<int>(checked(syscall(SYS_pidfd_open, session, 0), "pidfd_open")));
  std::array<pollfd, 3> watched = {pollfd{watchdog.socket(), POLLIN, 0}, pollfd{endSignals.get(), POLLIN, 0},
                                   pollfd{process.get(), POLLIN, 0}};
  auto& [message, signalled, ended] = watched;
  int endedBy = 0;
  while (ended.revents == 0) {
    if (poll(watched.data(), watched.size(), -1) < 0) continue;
    if (message.revents != 0 && !watchdog.serve()) message.fd = -1;
    if (signalled.revents != 0) {
      signalfd_siginfo signal;
      if (read(endSignals.get(), &signal, sizeof signal) == sizeof signal && endedBy == 0) {
        endedBy = static_cast<int>(signal.ssi_signo);
      }
      lifeline.reset();
    }
  }
  return endedBy;
}

// Forks process 1 of a new PID namespace.
pid_t forkNamespace() {
  const Descriptor own(checked(open("/proc/self/ns/pid", O_RDONLY | O_CLOEXEC), "opening the PID namespace"));
  checked(unshare(CLONE_NEWPID), "unshare");
  const pid_t process = checked(fork(), "fork");
  // This process could start nothing any more once the new namespace is gone.
  if (process != 0) checked(setns(own.get(), CLONE_NEWPID), "returning to the PID namespace");
  return process;
}

int launch(const Arguments& arguments) {
  Descriptor poolImage = arguments.pool ? Descriptor() : makePoolImage();
  const Terminal terminal;
  const Descriptor endSignals = listenForEnd();
  auto [watchdogSide, sessionSide] = makeSocketPair();
  int ends[2];
  checked(pipe2(ends, O_CLOEXEC), "pipe");
  Descriptor lifelineReader(ends[0]);
  Descriptor lifelineWriter(ends[1]);

  const pid_t session = forkNamespace();
  if (session == 0) {
    lifelineWriter.reset();
    watchdogSide.reset();
    return sessionStatus(arguments, terminal, lifelineReader, std::move(sessionSide), std::move(poolImage));
  }
  sessionSide.reset();
  lifelineReader.reset();
  poolImage.reset();

  Watchdog watchdog(std::move(watchdogSide));
  const int endedBy = guard(watchdog, session, std::move(lifelineWriter), endSignals);
  terminal.take();
  int status = 0;
  checked(waitpid(session, &status, 0), "waitpid");
  if (WIFSIGNALED(status)) watchdog.detachLeftovers();
  if (endedBy != 0) return 128 + endedBy;
  if (!WIFSIGNALED(status)) return shellStatus(status);
  std::fprintf(stderr, "qmfs-testbed: the supervisor was killed\n");
  return setUpFailed;
}

int runLauncher(int count, char** words) {
  try {
    const Arguments arguments = parseArguments(count, words);
    if (geteuid() != 0) {
      std::fprintf(stderr, "qmfs-testbed: it must be run by root\n");
      return setUpFailed;
    }
    return launch(arguments);
  } catch (const HelpRequest& help) {
    std::fputs(help.what(), stdout);
    return 0;
  } catch (const UsageError& error) {
    std::fprintf(stderr,
                 "qmfs-testbed: %s\nUsage: qmfs-testbed [--volume NAME[:SIZE[:MOUNTPOINT[:TYPE]]]]... "
                 "[--set KEY=VALUE]...\n       [--driver fail=REQUEST@N:ERRNO | delay=REQUEST@N:MS]... [--pool DIR] -- "
                 "COMMAND...\n",
                 error.what());
    return usageStatus;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "qmfs-testbed: %s\n", error.what());
    return setUpFailed;
  }
}

}  // namespace

}  // namespace testbed

int main(int count, char** words) {
  return testbed::runLauncher(count, words);
}

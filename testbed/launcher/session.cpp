// The inside of a testbed, from its private root to the command's end.
#include "launcher/session.h"

#include <poll.h>
#include <sys/signalfd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>
#include <utility>

#include "common/local_socket.h"
#include "common/program.h"
#include "driver/driver.h"
#include "driver/request_filter.h"
#include "launcher/installation.h"
#include "launcher/private_root.h"
#include "launcher/stray_freezes.h"
#include "launcher/volume_pool.h"
#include "system/checked.h"
#include "system/child_process.h"
#include "system/program.h"

namespace testbed {

using qmfi_system::checked;
using qmfi_system::Descriptor;
using qmfi_system::shellStatus;

namespace fs = std::filesystem;

namespace {

void run(const std::vector<std::string>& words) {
  const int status = runProgram(words);
  if (status == 0) return;
  std::string line;
  for (const auto& word : words) line += word + " ";
  throw std::runtime_error(line + "failed with status " + std::to_string(status));
}

std::vector<std::string> formatCommand(const VolumeSpec& volume) {
  const std::string program = "/sbin/mkfs." + volume.type;
  if (volume.type == "qmfs") return {program, rawDeviceOf(volume)};
  return {program, "-q", rawDeviceOf(volume)};
}

void makeVolumes(VolumePool& pool, const std::vector<VolumeSpec>& volumes) {
  for (const auto& volume : volumes) {
    const bool isNew = pool.add(volume);
    if (!volume.mountPoint) continue;
    fs::create_directories(*volume.mountPoint);
    if (isNew) run(formatCommand(volume));
    run({"/bin/mount", "-t", volume.type, blockDeviceOf(volume), *volume.mountPoint});
  }
}

// The command's process until it runs the command: filtered, let run, and with everything as a program expects it.
[[noreturn]] void becomeCommand(const std::vector<std::string>& command, const fs::path& directory,
                                const Terminal& terminal, int handOver) {
  setpgid(0, 0);
  terminal.take();
  try {
    const Descriptor listener = installRequestFilter();
    const char mark = 0;
    sendMessage(handOver, &mark, sizeof mark, listener.get());
    char begin;
    if (!receiveMessage(handOver, &begin, sizeof begin)) _exit(setUpFailed);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "qmfs-testbed: %s\n", error.what());
    _exit(setUpFailed);
  }
  sigset_t none;
  sigemptyset(&none);
  sigprocmask(SIG_SETMASK, &none, nullptr);
  if (chdir(directory.c_str()) < 0) {
    std::fprintf(stderr, "qmfs-testbed: no %s here, starting in /\n", directory.c_str());
  }
  execvp(command[0].c_str(), qmfi_system::pointersTo(command).data());
  const int reason = errno;
  std::fprintf(stderr, "qmfs-testbed: %s: %m\n", command[0].c_str());
  _exit(reason == ENOENT ? 127 : 126);
}

struct Command {
  pid_t process;
  Descriptor listener;
  Descriptor start;  // it waits there to be let run
};

Command startCommand(const std::vector<std::string>& command, const fs::path& directory, const Terminal& terminal) {
  auto [here, there] = makeSocketPair();
  const pid_t process = checked(fork(), "fork");
  if (process == 0) {
    here.reset();
    becomeCommand(command, directory, terminal, there.get());
  }
  there.reset();
  char mark;
  Command started{.process = process, .listener = {}, .start = {}};
  receiveMessage(here.get(), &mark, sizeof mark, &started.listener);
  if (!started.listener.valid()) throw std::runtime_error("the command could not be started");
  started.start = std::move(here);
  return started;
}

void letRun(const Command& command) {
  const char mark = 0;
  sendMessage(command.start.get(), &mark, sizeof mark);
}

// Takes the processes that have ended; the command's status when it is among them.
std::optional<int> reap(pid_t command) {
  std::optional<int> result;
  int status;
  for (pid_t ended; (ended = waitpid(-1, &status, WNOHANG)) > 0;) {
    if (ended == command) result = shellStatus(status);
  }
  return result;
}

// Serves the driver's requests until the command ends or the launcher wants the end.
int supervise(const Command& command, const Descriptor& lifeline, const Descriptor& childSignals, Driver& driver) {
  std::array<pollfd, 3> watched = {pollfd{lifeline.get(), POLLIN, 0}, pollfd{childSignals.get(), POLLIN, 0},
                                   pollfd{command.listener.get(), POLLIN, 0}};
  const auto& [launcherGone, childEnded, request] = watched;
  for (;;) {
    if (poll(watched.data(), watched.size(), -1) < 0) continue;
    if (launcherGone.revents != 0) return 128 + SIGTERM;
    if (childEnded.revents != 0) {
      signalfd_siginfo signal;
      if (read(childSignals.get(), &signal, sizeof signal) < 0) continue;
      if (const auto status = reap(command.process)) return *status;
    }
    if ((request.revents & POLLIN) != 0) driver.serve(command.listener.get());
  }
}

Descriptor listenForChildren() {
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGCHLD);
  sigprocmask(SIG_BLOCK, &signals, nullptr);
  return Descriptor(checked(signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK), "signalfd"));
}

void endAllProcesses() {
  kill(-1, SIGKILL);
  while (waitpid(-1, nullptr, 0) > 0 || errno == EINTR) {
  }
}

}  // namespace

int runSession(const Arguments& arguments, const Terminal& terminal, const Descriptor& lifeline, Descriptor watchdog,
               Descriptor poolImage) {
  if (!terminal.ours()) setsid();
  const fs::path directory = fs::current_path();
  const Descriptor childSignals = listenForChildren();
  std::map<fs::path, std::string> shown = {{arguments.buildTree, arguments.buildTree}};
  if (arguments.pool) shown.emplace(*arguments.pool, poolDirectory);
  enterPrivateRoot(shown);
  VolumePool pool = arguments.pool ? VolumePool::sharedPool() : VolumePool::ownPool(std::move(poolImage));
  WatchdogLink link(std::move(watchdog));
  if (!arguments.pool) link.announcePool(pool.device());
  install(arguments.buildTree, arguments.settings);
  makeVolumes(pool, arguments.volumes);

  const Command command = startCommand(arguments.command, directory, terminal);
  // Nobody would wake a command that Ctrl-Z stopped, and the kernel stops none whose parent is of another session.
  if (terminal.ours()) setsid();
  int status;
  {
    // It has threads, so the command is forked before; and the command may do anything, so it runs only behind it.
    Driver driver(pool.device(), link, arguments.faults);
    letRun(command);
    status = supervise(command, lifeline, childSignals, driver);
  }
  // A process that waits for a frozen file system cannot be killed, so nothing is until all is thawed.
  thawStrayFreezes(pool.device());
  endAllProcesses();
  if (!arguments.pool) detachLoopDevicesOf(pool.device());
  return status;
}

}  // namespace testbed

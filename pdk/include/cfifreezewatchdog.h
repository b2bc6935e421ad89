// A process that ends freezes when the one that made them no longer can.
//
// FIFREEZE has no time-out: a file system that was frozen by a program which is then killed, stopped or stuck stays
// frozen, and its writers wait for ever. Whoever freezes starts this process first.
#ifndef CFIFREEZEWATCHDOG_H
#define CFIFREEZEWATCHDOG_H

#include <fcntl.h>
#include <linux/fs.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <system_error>
#include <utility>
#include <vector>

namespace qmfi_pdk_4_4 {

// A file system that may be frozen.
struct CFiFreezableFileSystem {
  int descriptor;                      // of any file or directory on it
  unsigned long thawRequest = FITHAW;  // the ioctl request by which its driver ends a freeze
};

// What came of a request to thaw.
struct CFiThawAnswer {
  bool thawed;  // it was frozen, and is so no longer
  int error;    // why it may be frozen still, an errno value; 0 when it is not
};

// Ends a freeze of a file system. One that the file system's own driver did not make is ended by the request that all
// file systems know. A failure of the driver counts although the other request finds nothing frozen: that one need not
// know of the driver's freeze. Allocates nothing; safe after a fork.
inline CFiThawAnswer thawFileSystem(const CFiFreezableFileSystem& fileSystem) noexcept {
  int failure = 0;
  for (const unsigned long request : {fileSystem.thawRequest, static_cast<unsigned long>(FITHAW)}) {
    if (::ioctl(fileSystem.descriptor, request, 0) == 0) return {true, 0};
    // Answers where there is nothing to be thawed; the last one where the driver is another one.
    const bool nothingToThaw = errno == EINVAL || errno == ETIMEDOUT || errno == ENOTTY;
    if (!nothingToThaw && failure == 0) failure = errno;
  }
  return {false, failure};
}

// A second process that holds the file systems' descriptors. It thaws what is frozen when a deadline has passed, and at
// once when the process that started it has ended. Its memory is locked, it is the last to be chosen when memory runs
// out, it has a session of its own, so that nothing typed at a terminal reaches it, all signals blocked, and of its
// maker's descriptors only these. It executes no program. One thread at a time.
class CFiFreezeWatchdog {
 public:
  // The clock of deadlines, which a change of the time of day does not move.
  using Clock = std::chrono::steady_clock;

  // Starts the process, which watches when this returns and thaws nothing before watchUntil(). Must be called before
  // anything is frozen. fileSystems: what is going to be frozen; their descriptors stay the caller's and may be closed
  // at any time. Throws std::system_error when there can be no such process, and std::bad_alloc; no process is left
  // then.
  explicit CFiFreezeWatchdog(const std::vector<CFiFreezableFileSystem>& fileSystems) {
    std::vector<Held> held;
    std::vector<int> kept(1);
    for (const CFiFreezableFileSystem& fileSystem : fileSystems) {
      held.push_back({fileSystem, false});
      kept.push_back(fileSystem.descriptor);
    }
    std::array<int, 2> ends{};
    if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) fail(errno);
    m_socket = ends[0];
    kept.front() = ends[1];
    std::sort(kept.begin(), kept.end());
    start(held, kept, ends[1]);
  }
  CFiFreezeWatchdog(const CFiFreezeWatchdog&) = delete;
  CFiFreezeWatchdog& operator=(const CFiFreezeWatchdog&) = delete;
  // Ends the process without a thaw: everything has been thawed by now.
  ~CFiFreezeWatchdog() { end(); }

  // From here on everything is thawed when the deadline has passed or this process ends. A freeze that comes about
  // after the deadline is ended too; each file system is thawed once. May be called again, with everything thawed.
  // Returns false when the watchdog is not there any more: then nothing may be frozen.
  bool watchUntil(Clock::time_point deadline) noexcept {
    const Message message = deadline.time_since_epoch().count();
    return ::send(m_socket, &message, sizeof message, MSG_NOSIGNAL) == static_cast<ssize_t>(sizeof message);
  }

  // The number of the process.
  pid_t pid() const { return m_process; }

 private:
  using Message = Clock::rep;  // a deadline, from the clock's epoch

  struct Held {
    CFiFreezableFileSystem fileSystem;
    bool isThawed;  // since the last deadline was told
  };

  [[noreturn]] static void fail(int error) {
    throw std::system_error(error, std::generic_category(), "a watchdog over a freeze cannot be started");
  }

  // kept: the descriptors that the process needs, in order.
  void start(std::vector<Held>& held, const std::vector<int>& kept, int socket) {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, &before);
    m_process = ::fork();
    if (m_process == 0) {
      // With a copy of its maker's end it would never meet the end of its maker.
      ::close(m_socket);
      work(held, kept, socket);
    }
    const int error = errno;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    ::close(socket);
    if (m_process > 0 && hasStarted()) return;
    const bool wasForked = m_process > 0;
    end();
    fail(wasForked ? ECHILD : error);
  }

  bool hasStarted() const {
    char ready = 0;
    return TEMP_FAILURE_RETRY(::recv(m_socket, &ready, sizeof ready, 0)) == 1;
  }

  void end() noexcept {
    siginfo_t ended{};
    // Somebody else may have reaped it, and its number may stand for another process by now.
    if (m_process > 0 && ::waitid(P_PID, static_cast<id_t>(m_process), &ended, WEXITED | WNOHANG | WNOWAIT) == 0) {
      ::kill(m_process, SIGKILL);
      while (::waitpid(m_process, nullptr, 0) < 0 && errno == EINTR) continue;
    }
    ::close(m_socket);
  }

  // The rest is the work of the other process. Another thread may have held any lock when it began: it makes system
  // calls only.

  [[noreturn]] static void work(std::vector<Held>& held, const std::vector<int>& kept, int socket) noexcept {
    ::setsid();
    ::prctl(PR_SET_NAME, "freeze-watchdog");
    outliveShortageOfMemory();
    closeAllBut(kept);
    ::mlockall(MCL_CURRENT);
    const char ready = 1;
    if (::send(socket, &ready, sizeof ready, MSG_NOSIGNAL) == 1) watch(held, socket);
    ::_exit(0);
  }

  // What the system does not allow cannot be had; the watch goes on without it.
  static void outliveShortageOfMemory() noexcept {
    constexpr std::array<char, 5> never = {'-', '1', '0', '0', '0'};
    const int score = ::open("/proc/self/oom_score_adj", O_WRONLY | O_CLOEXEC);
    if (score < 0) return;
    [[maybe_unused]] const ssize_t written = ::write(score, never.data(), never.size());
    ::close(score);
  }

  static void closeAllBut(const std::vector<int>& kept) noexcept {
    unsigned int next = 0;
    for (const int descriptor : kept) {
      if (descriptor < 0 || static_cast<unsigned int>(descriptor) < next) continue;
      if (static_cast<unsigned int>(descriptor) > next) {
        ::close_range(next, static_cast<unsigned int>(descriptor) - 1, 0);
      }
      next = static_cast<unsigned int>(descriptor) + 1;
    }
    ::close_range(next, ~0U, 0);
  }

  static void watch(std::vector<Held>& held, int socket) noexcept {
    bool isArmed = false;
    Clock::time_point deadline = Clock::time_point::max();
    for (;;) {
      if (waitFor(socket, held, deadline)) {
        Message message = 0;
        const ssize_t length = TEMP_FAILURE_RETRY(::recv(socket, &message, sizeof message, 0));
        if (length != static_cast<ssize_t>(sizeof message)) break;
        isArmed = true;
        deadline = Clock::time_point(Clock::duration(message));
        for (Held& one : held) one.isThawed = false;
      }
      if (isArmed && Clock::now() >= deadline) thaw(held);
    }
    if (isArmed) thaw(held);
  }

  // Until its maker has something to say or has ended, or something has to be thawed. After the deadline it looks again
  // and again: the maker's freeze may still be under way then.
  static bool waitFor(int socket, const std::vector<Held>& held, Clock::time_point deadline) noexcept {
    using namespace std::chrono_literals;
    constexpr std::chrono::nanoseconds pause = 20ms;
    const bool isEverythingThawed = std::all_of(held.begin(), held.end(), [](const Held& one) { return one.isThawed; });
    const bool isEndless = deadline == Clock::time_point::max() || isEverythingThawed;
    const std::chrono::nanoseconds untilDeadline = isEndless ? pause : deadline - Clock::now();
    const std::chrono::nanoseconds left = untilDeadline > 0ns ? untilDeadline : pause;
    const timespec time{left / 1s, (left % 1s).count()};
    pollfd told{socket, POLLIN, 0};
    return ::ppoll(&told, 1, isEndless ? nullptr : &time, nullptr) > 0;
  }

  static void thaw(std::vector<Held>& held) noexcept {
    for (Held& one : held) {
      if (!one.isThawed) one.isThawed = thawFileSystem(one.fileSystem).thawed;
    }
  }

  int m_socket = -1;
  pid_t m_process = -1;
};

}  // namespace qmfi_pdk_4_4

#endif

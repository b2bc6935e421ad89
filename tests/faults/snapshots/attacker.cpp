// The attacker's process, and what is said to it.
#include "attacker.h"

#include <grp.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <random>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "attacked_place.h"
#include "attackers_tricks.h"

namespace faults {

namespace {

using qmfi_system::Descriptor;

constexpr std::array names = {"link to a victim",
                              "link to a victim's parent",
                              "link to the root directory",
                              "link to another file system",
                              "link to the snapshot",
                              "link in a circle",
                              "link to nothing",
                              "link with line feeds",
                              "directory of his own",
                              "empty directory",
                              "nothing",
                              "file",
                              "pipe",
                              "mount point is a pipe",
                              "mount point is a file",
                              "files held open",
                              "files planted",
                              "attempts to get in"};
static_assert(names.size() == static_cast<std::size_t>(Trick::count));

constexpr char putBackRequest = 'b';
constexpr char playRequest = 'p';
constexpr char raceRequest = 'r';
constexpr char endRequest = 'e';

constexpr std::size_t longestMessage = 8192;

// Nothing when the other side is gone.
std::string receive(const Descriptor& socket) {
  std::string text(longestMessage, '\0');
  const ssize_t length = recv(socket.get(), text.data(), text.size(), 0);
  text.resize(static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
  return text;
}

void send(const Descriptor& socket, const std::string& text) {
  static_cast<void>(::send(socket.get(), text.data(), std::min(text.size(), longestMessage), MSG_NOSIGNAL));
}

// No answer is empty: that would be the end of the other side.
void answer(const Descriptor& socket, const std::string& report) {
  send(socket, "." + report);
}

bool isReadable(int descriptor) {
  pollfd one{descriptor, POLLIN, 0};
  return poll(&one, 1, 0) == 1;
}

// What somebody opens or reads is seen where the attacker may read himself.
void watch(const Descriptor& events, const std::string& otherMountPoint) {
  for (const std::string& path : {std::string(attackersHome), std::string(attackersPlace),
                                  std::string(attackedMountPoint), otherMountPoint, std::string("/dev/qm/dsk/dg1"),
                                  std::string("/run"), std::string("/etc"), std::string("/proc/self/mountinfo")}) {
    inotify_add_watch(events.get(), path.c_str(), IN_OPEN | IN_ACCESS | IN_CLOSE | IN_ATTRIB);
  }
}

// Plays until a word comes from the other side. After each event a few tricks, one right after another.
std::string race(const Descriptor& socket, AttackersTricks& tricks, const std::string& otherMountPoint, unsigned seed) {
  const Descriptor events(inotify_init1(IN_CLOEXEC | IN_NONBLOCK));
  watch(events, otherMountPoint);
  std::mt19937 random(seed);
  constexpr unsigned mostAtOnce = 6;
  std::string report;
  for (;;) {
    std::array<pollfd, 2> awaited = {pollfd{socket.get(), POLLIN, 0}, pollfd{events.get(), POLLIN, 0}};
    poll(awaited.data(), awaited.size(), -1);
    if (awaited[0].revents != 0) return report + tricks.putBack();
    for (unsigned left = random() % mostAtOnce + 1; left > 0 && !isReadable(socket.get()); --left) {
      const unsigned chosen = random() % (2UL * static_cast<unsigned>(Trick::count));
      const bool plays = chosen < static_cast<unsigned>(Trick::count);
      report += plays ? tricks.play(static_cast<Trick>(chosen)) : tricks.putBack();
    }
    // What he has caused himself is no event.
    std::array<char, 4096> passed{};
    while (read(events.get(), passed.data(), passed.size()) > 0) continue;
  }
}

void obey(const Descriptor& socket, const std::string& otherMountPoint) {
  AttackersTricks tricks(otherMountPoint);
  for (std::string request = receive(socket); !request.empty(); request = receive(socket)) {
    const unsigned number = static_cast<unsigned>(std::strtoul(request.c_str() + 1, nullptr, 10));
    switch (request.front()) {
      case playRequest:
        answer(socket, tricks.play(static_cast<Trick>(number)));
        break;
      case putBackRequest:
        answer(socket, tricks.putBack());
        break;
      case raceRequest: {
        answer(socket, {});
        const std::string report = race(socket, tricks, otherMountPoint, number);
        receive(socket);
        answer(socket, report);
        break;
      }
      default:
        return;
    }
  }
}

// The rights of root go with the user's number; nothing of the campaign's is kept open.
bool becomeAttacker(int socket) {
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  if (socket != STDERR_FILENO + 1 && dup2(socket, STDERR_FILENO + 1) < 0) return false;
  close_range(STDERR_FILENO + 2, ~0U, 0);
  return setgroups(0, nullptr) == 0 && setresgid(attackingUser, attackingUser, attackingUser) == 0 &&
         setresuid(attackingUser, attackingUser, attackingUser) == 0;
}

}  // namespace

const char* nameOf(Trick trick) {
  return names.at(static_cast<std::size_t>(trick));
}

Attacker::Attacker(std::string otherMountPoint) {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) {
    throw std::system_error(errno, std::generic_category(), "socketpair");
  }
  m_socket.reset(ends[0]);
  const Descriptor own(ends[1]);
  m_process = fork();
  if (m_process < 0) throw std::system_error(errno, std::generic_category(), "fork");
  if (m_process != 0) return;
  if (!becomeAttacker(own.get())) _exit(1);
  obey(Descriptor(STDERR_FILENO + 1), otherMountPoint);
  _exit(0);
}

Attacker::~Attacker() {
  m_socket.reset();
  waitpid(m_process, nullptr, 0);
}

std::string Attacker::ask(const std::string& request) {
  send(m_socket, request);
  const std::string report = receive(m_socket);
  if (report.empty()) throw std::runtime_error("the attacker is gone");
  return report.substr(1);
}

std::string Attacker::play(Trick trick) {
  return ask(playRequest + std::to_string(static_cast<int>(trick)));
}

std::string Attacker::putBack() {
  return ask({putBackRequest});
}

void Attacker::beginRace(unsigned seed) {
  ask(raceRequest + std::to_string(seed));
}

std::string Attacker::endRace() {
  return ask({endRequest});
}

}  // namespace faults

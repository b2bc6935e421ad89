// Forking, and looking at children that do not end.
#include "forking_host.h"

#include <poll.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <sstream>

namespace faults {

namespace {

constexpr int lookEvery = 200;  // milliseconds

bool isOfCLibrary(const std::string& file) {
  return file.find("/libc.so.") != std::string::npos || file.find("/ld-linux") != std::string::npos;
}

}  // namespace

ForkingHost::~ForkingHost() {
  end();
  close(m_processes);
}

std::vector<std::string> ForkingHost::failures() {
  end();
  m_campaign.count("forks", m_forks);
  m_campaign.count("children waiting for the C library", m_waitingForLibrary);
  return m_failures;
}

void ForkingHost::end() {
  m_ends = true;
  if (m_thread.joinable()) m_thread.join();
}

void ForkingHost::forkAlways() {
  while (!m_ends) {
    const pid_t child = fork();
    if (child == 0) std::exit(0);
    if (child < 0) continue;
    ++m_forks;
    waitFor(child);
  }
}

// Another thread may reap the child first, or the kernel does; then nothing is known of its end.
void ForkingHost::waitFor(pid_t child) {
  const int process = static_cast<int>(syscall(SYS_pidfd_open, child, 0));
  if (process < 0) return;
  pollfd ended{.fd = process, .events = POLLIN, .revents = 0};
  while (poll(&ended, 1, lookEvery) == 0) {
    if (waitsForLock(child)) kill(child, SIGKILL);
  }
  close(process);
  int status = 0;
  if (waitpid(child, &status, WNOHANG) == child && status != 0 && status != SIGKILL) {
    m_failures.push_back("a forked child ended with the status " + std::to_string(status));
  }
}

// The child has one thread only, so nobody will ever give the lock back.
bool ForkingHost::waitsForLock(pid_t child) {
  std::istringstream call(textOfProcess(child, "syscall"));
  long number = -1;
  std::string lock;
  if (!(call >> number >> lock) || number != SYS_futex) return false;
  const std::string library = fileAt(child, std::stoull(lock, nullptr, 16));
  if (isOfCLibrary(library)) {
    ++m_waitingForLibrary;
  } else {
    m_failures.push_back("a forked child waits for a lock of \"" + library + "\"");
  }
  return true;
}

std::string ForkingHost::textOfProcess(pid_t child, const std::string& name) const {
  const int file = openat(m_processes, (std::to_string(child) + "/" + name).c_str(), O_RDONLY | O_CLOEXEC);
  std::string text;
  std::array<char, 4096> piece;
  for (ssize_t size = 0; (size = read(file, piece.data(), piece.size())) > 0;) {
    text.append(piece.data(), static_cast<std::size_t>(size));
  }
  close(file);
  return text;
}

// What is mapped there: a file, with the zeroed memory behind it, or the heap and the like.
std::string ForkingHost::fileAt(pid_t child, std::uint64_t address) const {
  std::istringstream lines(textOfProcess(child, "maps"));
  std::string file;
  for (std::string line; std::getline(lines, line);) {
    const std::size_t path = line.find_first_of("/[");
    if (path != std::string::npos) file = line.substr(path);
    const std::size_t dash = line.find('-');
    if (address < std::stoull(line.substr(dash + 1), nullptr, 16)) return file;
  }
  return "";
}

}  // namespace faults

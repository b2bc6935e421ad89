// Writing again and again.
#include "support/writer.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <functional>
#include <stdexcept>
#include <thread>

#include "support/text_file.h"

namespace testbed_test {

namespace {

constexpr std::chrono::seconds patience(60);

bool waitFor(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + patience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::yield();
  }
  return true;
}

}  // namespace

Writer::Writer(const std::string& path) {
  void* shared = mmap(nullptr, sizeof *m_writes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (shared == MAP_FAILED) throw std::runtime_error("no shared memory");
  m_writes = static_cast<volatile std::uint64_t*>(shared);
  m_process = fork();
  if (m_process < 0) throw std::runtime_error("no process");
  if (m_process > 0) return;
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  while (pwrite(file, "x", 1, 0) == 1) *m_writes = *m_writes + 1;
  _exit(1);
}

Writer::~Writer() {
  kill(m_process, SIGKILL);
  waitpid(m_process, nullptr, 0);
  munmap(const_cast<std::uint64_t*>(m_writes), sizeof *m_writes);
}

bool Writer::waitUntilBlocked() const {
  // Where the kernel lets those wait who want to change a frozen file system; for a slow disk they wait elsewhere.
  constexpr const char* placeOfHalt = "percpu_rwsem_wait";
  // The first file system of a group is frozen before the last.
  constexpr std::chrono::milliseconds longEnough(20);
  auto since = std::chrono::steady_clock::now();
  return waitFor([&] {
    const auto now = std::chrono::steady_clock::now();
    if (textOf("/proc/" + std::to_string(m_process) + "/wchan") != placeOfHalt) since = now;
    return now - since >= longEnough;
  });
}

bool Writer::waitForProgress() const {
  // The first one may have been written before, and only been counted now.
  const auto enough = writes() + 2;
  return waitFor([&] { return writes() >= enough; });
}

std::uint64_t Writer::writes() const {
  return *m_writes;
}

}  // namespace testbed_test

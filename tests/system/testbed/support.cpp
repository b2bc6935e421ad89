// What the tests inside the testbed share: running programs, reading the mount table, issuing freeze requests.
#include "support.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <functional>
#include <sstream>
#include <stdexcept>
#include <thread>

namespace testbed_test {

namespace {

// The driver's interface, as its callers know it.
constexpr unsigned long qmFreeze = 0x514D4601;
constexpr unsigned long qmThaw = 0x514D4602;
constexpr unsigned long qmFreezeAll = 0x514D4603;

struct FreezeAll {
  std::int32_t count;
  std::int32_t timeout;
  const std::int32_t* descriptors;
};

constexpr std::chrono::seconds patience(10);

bool waitFor(const std::function<bool()>& condition) {
  const auto end = std::chrono::steady_clock::now() + patience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::yield();
  }
  return true;
}

std::vector<char*> pointersTo(const std::vector<std::string>& texts) {
  std::vector<char*> pointers;
  pointers.reserve(texts.size() + 1);
  for (const auto& text : texts) pointers.push_back(const_cast<char*>(text.c_str()));
  pointers.push_back(nullptr);
  return pointers;
}

int result(int answer) {
  return answer == 0 ? 0 : errno;
}

}  // namespace

Outcome run(const std::vector<std::string>& words, const std::optional<std::vector<std::string>>& environment) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) < 0) throw std::runtime_error("no pipe");
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDERR_FILENO);
  pid_t process;
  const auto given = environment ? pointersTo(*environment) : std::vector<char*>();
  const int failure = posix_spawn(&process, words[0].c_str(), &actions, nullptr, pointersTo(words).data(),
                                  environment ? given.data() : environ);
  posix_spawn_file_actions_destroy(&actions);
  close(ends[1]);
  Outcome outcome{.status = 127, .output = {}};
  char part[4096];
  for (ssize_t length; (length = read(ends[0], part, sizeof part)) > 0;) outcome.output.append(part, length);
  close(ends[0]);
  int status;
  if (failure != 0 || waitpid(process, &status, 0) < 0) return outcome;
  outcome.status = WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
  return outcome;
}

std::string textOf(const std::string& path) {
  const int file = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  std::string text;
  char part[4096];
  for (ssize_t length; (length = read(file, part, sizeof part)) > 0;) text.append(part, length);
  close(file);
  return text;
}

std::vector<std::string> mountLines(const std::string& directory) {
  std::vector<std::string> lines;
  std::istringstream table(textOf("/etc/mtab"));
  for (std::string line; std::getline(table, line);) {
    std::istringstream fields(line);
    std::string device;
    std::string field;
    if (fields >> device >> field && field == directory) lines.push_back(line);
  }
  return lines;
}

OpenDirectory::OpenDirectory(const std::string& path) : m_descriptor(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
  if (m_descriptor < 0) throw std::runtime_error("cannot open " + path);
}

OpenDirectory::~OpenDirectory() {
  close(m_descriptor);
}

int freeze(int descriptor, int timeoutSeconds) {
  return result(ioctl(descriptor, qmFreeze, timeoutSeconds));
}

int thaw(int descriptor) {
  return result(ioctl(descriptor, qmThaw, 0));
}

int freezeAll(int issuedOn, const std::vector<std::int32_t>& descriptors, int timeoutSeconds) {
  FreezeAll record{static_cast<std::int32_t>(descriptors.size()), timeoutSeconds, descriptors.data()};
  return result(ioctl(issuedOn, qmFreezeAll, &record));
}

ThawAtEnd::~ThawAtEnd() {
  for (const int descriptor : m_descriptors) thaw(descriptor);
}

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
  // A write may wait for other reasons, but not as long.
  constexpr std::chrono::milliseconds longEnough(20);
  auto since = std::chrono::steady_clock::now();
  auto before = writes();
  return waitFor([&] {
    const std::string status = textOf("/proc/" + std::to_string(m_process) + "/stat");
    const auto name = status.rfind(") ");
    const bool waits = name != std::string::npos && status[name + 2] == 'D' && writes() == before;
    const auto now = std::chrono::steady_clock::now();
    before = writes();
    if (!waits) since = now;
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

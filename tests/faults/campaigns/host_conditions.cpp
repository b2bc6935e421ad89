// Hosts that are hard places.
#include "host_conditions.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <csignal>
#include <stdexcept>
#include <thread>

#include "forking_host.h"
#include "support/text_file.h"

namespace faults {

namespace {

// What the host does about ended children: nothing, so that the kernel reaps them.
class ChildrenAction : public Condition {
 public:
  ChildrenAction(void (*handler)(int), int flags) {
    struct sigaction action {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigaction(SIGCHLD, &action, &m_before);
  }
  ~ChildrenAction() override { sigaction(SIGCHLD, &m_before, nullptr); }

 private:
  struct sigaction m_before {};
};

class ReapedChildren : public Condition {
 public:
  ~ReapedChildren() override {
    m_ends = true;
    m_thread.join();
  }

 private:
  void reap() const {
    while (!m_ends) {
      if (waitpid(-1, nullptr, WNOHANG) <= 0) std::this_thread::yield();
    }
  }

  std::atomic<bool> m_ends{false};
  std::thread m_thread{[this] { reap(); }};
};

// streams: a bit for each that is closed.
class ClosedStreams : public Condition {
 public:
  explicit ClosedStreams(unsigned streams) {
    for (int stream = 0; stream < 3; ++stream) {
      if ((streams >> stream & 1U) == 0) continue;
      m_saved[static_cast<std::size_t>(stream)] = fcntl(stream, F_DUPFD_CLOEXEC, 10);
      close(stream);
    }
  }
  ~ClosedStreams() override {
    for (int stream = 0; stream < 3; ++stream) {
      const int saved = m_saved[static_cast<std::size_t>(stream)];
      if (saved < 0) continue;
      dup2(saved, stream);
      close(saved);
    }
  }

 private:
  std::array<int, 3> m_saved = {-1, -1, -1};
};

class ModeMask : public Condition {
 public:
  explicit ModeMask(mode_t mask) : m_before(umask(mask)) {}
  ~ModeMask() override { umask(m_before); }

 private:
  const mode_t m_before;
};

// An empty directory covers it, for the whole private root: in a mount namespace of its own the campaign could not see
// what the plug-in does.
class WithoutProc : public Condition {
 public:
  WithoutProc() {
    if (mount("nothing", "/proc", "tmpfs", 0, nullptr) != 0) throw std::runtime_error("/proc cannot be covered");
  }
  ~WithoutProc() override { umount2("/proc", MNT_DETACH); }
};

// Closes the log's descriptor and has a file of its own there.
class ClosedDescriptors : public Condition {
 public:
  explicit ClosedDescriptors(const Machine& machine)
      : m_log(machine.path("log/qmfsfi.log")), m_ownPath(machine.path("file_of_the_host")) {}
  ~ClosedDescriptors() override {
    for (const int descriptor : m_taken) close(descriptor);
    unlink(m_ownPath.c_str());
  }

  void started() override {
    m_hasStarted = true;
    const int own = open(m_ownPath.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    for (int descriptor = 0; descriptor < mostDescriptors; ++descriptor) {
      if (isOpenOnLog(descriptor)) m_taken.push_back(dup3(own, descriptor, O_CLOEXEC));
    }
    close(own);
  }
  std::vector<std::string> failures() override {
    std::vector<std::string> found;
    if (m_hasStarted && m_taken.empty()) found.emplace_back("the log was not open");
    for (const int descriptor : m_taken) {
      if (fcntl(descriptor, F_GETFD) < 0) found.emplace_back("the host's descriptor was closed");
    }
    if (!m_taken.empty() && !textOf(m_ownPath).empty()) found.emplace_back("the host's file was written to");
    return found;
  }

 private:
  static constexpr int mostDescriptors = 64;

  // Without a look into /proc, which may be covered.
  bool isOpenOnLog(int descriptor) const {
    struct stat log {};
    struct stat status {};
    if (stat(m_log.c_str(), &log) != 0 || fstat(descriptor, &status) != 0) return false;
    return status.st_dev == log.st_dev && status.st_ino == log.st_ino;
  }

  const std::string m_log;
  const std::string m_ownPath;
  bool m_hasStarted = false;
  std::vector<int> m_taken;
};

template <typename Made, typename... Arguments>
NamedCondition condition(const char* name, Arguments... arguments) {
  return {name, [=](Campaign&, const Machine&) { return std::make_unique<Made>(arguments...); }};
}

}  // namespace

const std::vector<NamedCondition>& hostConditions() {
  static const std::vector<NamedCondition> all = {
      condition<ChildrenAction>("SIGCHLD ignored", SIG_IGN, 0),
      condition<ChildrenAction>("children not waited for", SIG_DFL, SA_NOCLDWAIT),
      condition<ReapedChildren>("all children reaped"),
      condition<ClosedStreams>("no standard input", 1U),
      condition<ClosedStreams>("no standard output", 2U),
      condition<ClosedStreams>("no standard streams", 7U),
      condition<ModeMask>("umask 0", 0U),
      condition<ModeMask>("umask 0777", 0777U),
      {"descriptors closed",
       [](Campaign&, const Machine& machine) { return std::make_unique<ClosedDescriptors>(machine); }},
      {"forks at every moment",
       [](Campaign& campaign, const Machine&) { return std::make_unique<ForkingHost>(campaign); }},
      condition<WithoutProc>("no /proc"),
  };
  return all;
}

}  // namespace faults

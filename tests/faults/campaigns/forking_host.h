// A host that forks at every moment.
#ifndef FORKING_HOST_H
#define FORKING_HOST_H

#include <fcntl.h>
#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include "host_conditions.h"

namespace faults {

// A thread forks all the time; each child exits as a program does, and must not wait for a lock. The C library gives a
// child its own locks as they are: one that another thread holds just then, noting down what is to be destroyed, keeps
// the child from exiting, whoever asked for it. Such children are counted.
class ForkingHost : public Condition {
 public:
  explicit ForkingHost(Campaign& campaign) : m_campaign(campaign) {}
  ~ForkingHost() override;

  std::vector<std::string> failures() override;

 private:
  void forkAlways();
  void waitFor(pid_t child);
  bool waitsForLock(pid_t child);
  std::string textOfProcess(pid_t child, const std::string& name) const;
  std::string fileAt(pid_t child, std::uint64_t address) const;
  void end();

  Campaign& m_campaign;
  // Stays when /proc is covered.
  const int m_processes = open("/proc", O_PATH | O_DIRECTORY | O_CLOEXEC);
  std::atomic<bool> m_ends{false};
  std::uint64_t m_forks = 0;
  std::uint64_t m_waitingForLibrary = 0;
  std::vector<std::string> m_failures;
  std::thread m_thread{[this] { forkAlways(); }};
};

}  // namespace faults

#endif

// The lock of the state directory.
#ifndef STATE_LOCK_H
#define STATE_LOCK_H

#include <filesystem>
#include <functional>
#include <string>

#include "state/lock_holder.h"
#include "system/descriptor.h"

namespace qmfi_host {

// Held by one process at a time, from its making to its end; another process waits. Freed by the kernel when its holder
// is killed. It is the directory itself that is locked: a file in it could be removed under its holder.
class StateLock {
 public:
  // Waits for the lock of a state directory, which exists; signals that are not blocked end the process meanwhile.
  // command: what this process does with the state; the file "lock" tells it to those who wait. Throws HostError, also
  // at the end of the wait.
  StateLock(std::filesystem::path directory, std::string command, WaitingReport report, WaitingEnd end = std::nullopt);

  // Lets another process have the lock.
  void release() { m_lock.reset(); }
  // Waits for the lock again, without an end: there is work to be brought to its end. Throws HostError.
  void acquire() { acquire(std::nullopt); }

 private:
  void acquire(WaitingEnd end);

  std::filesystem::path m_directory;
  std::string m_command;
  WaitingReport m_report;
  qmfi_system::Descriptor m_lock;  // the directory, open
};

// Runs an action that others need not wait for, while they may change the state.
using RunUnlocked = std::function<void(const std::function<void()>& action)>;

// The same with the lock held all the time.
inline void runLocked(const std::function<void()>& action) {
  action();
}

}  // namespace qmfi_host

#endif

// A lock for those who can neither fail nor report that they did.
#ifndef LOCK_IF_POSSIBLE_H
#define LOCK_IF_POSSIBLE_H

#include <mutex>
#include <system_error>

namespace qmfi_runtime {

// Locks the mutex; where it fails, the caller goes on without it, since the host's process must not end for that.
inline std::unique_lock<std::mutex> lockIfPossible(std::mutex& mutex) noexcept {
  std::unique_lock<std::mutex> lock(mutex, std::defer_lock);
  try {
    lock.lock();
  } catch (const std::system_error&) {
    return lock;
  }
  return lock;
}

}  // namespace qmfi_runtime

#endif

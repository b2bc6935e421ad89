// The file systems that the driver has frozen, and their time-outs.
#ifndef FREEZE_REGISTRY_H
#define FREEZE_REGISTRY_H

#include <sys/types.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <set>
#include <thread>
#include <vector>

#include "driver/watchdog.h"
#include "system/descriptor.h"

namespace testbed {

// Freezes and thaws, each file system at most once at a time. Thread-safe. Every error is an errno value, 0 is success.
// Nothing is left frozen after thawEverything, which the destructor calls too.
class FreezeRegistry {
 public:
  // `pool`: only file systems on volumes of this pool are frozen. `watchdog`: outlives this object.
  FreezeRegistry(dev_t pool, WatchdogLink& watchdog);
  FreezeRegistry(const FreezeRegistry&) = delete;
  FreezeRegistry& operator=(const FreezeRegistry&) = delete;
  ~FreezeRegistry();

  // Freezes the file systems that the descriptors lie on, all or none, as nearly at the same moment as it can; a file
  // system that lies in an image on another one of the list comes before it. They thaw by themselves after `timeout`.
  // EBUSY: one is frozen already or twice in the list; ENOTTY: one is not on a volume; else what FIFREEZE said.
  int freeze(std::vector<qmfi_system::Descriptor> descriptors, std::chrono::seconds timeout);

  // Thaws the file system that the descriptor lies on. EINVAL: it is not frozen; ETIMEDOUT: its time-out ended the
  // freeze, said once for a freeze; ENOTTY: it is not on a volume; else what FITHAW said.
  int thaw(const qmfi_system::Descriptor& descriptor);

  // Thaws all that is frozen, last frozen first, and freezes nothing any more (ENODEV).
  void thawEverything();

 private:
  using Clock = std::chrono::steady_clock;

  // An entry that is not frozen belongs to the thread that is freezing or thawing it; the others leave it alone.
  enum class State { freezing, frozen, thawing };

  struct Entry {
    qmfi_system::Descriptor descriptor;  // on the file system; keeps it mounted
    int distance;                        // loop devices down to the pool
    State state = State::freezing;
    Clock::time_point deadline{};
    std::uint64_t order = 0;  // grows with every freeze
  };

  Entry* settled(std::unique_lock<std::mutex>& lock, dev_t device);
  int reserve(std::vector<qmfi_system::Descriptor> descriptors, std::vector<dev_t>& devices);
  std::vector<std::vector<dev_t>> levels(const std::vector<dev_t>& devices);
  int freezeReserved(const std::vector<dev_t>& devices, std::vector<dev_t>& frozen);
  bool commit(const std::vector<dev_t>& devices, std::chrono::seconds timeout);
  std::vector<int> descriptorsOf(const std::vector<dev_t>& devices);
  int thawOwned(dev_t device);
  void forget(dev_t device, bool byTimeout = false);
  bool takeFrozen(Clock::time_point latestDeadline, dev_t& device);
  void expire();

  const dev_t m_pool;
  WatchdogLink& m_watchdog;

  std::mutex m_mutex;
  std::condition_variable m_changed;
  std::map<dev_t, Entry> m_entries;  // under m_mutex
  std::set<dev_t> m_expired;         // under m_mutex; freezes that ended by time-out and were not thawed since
  std::uint64_t m_order = 0;         // under m_mutex
  bool m_stopping = false;           // under m_mutex
  std::thread m_expiry;
};

}  // namespace testbed

#endif

// The file systems that the driver has frozen, and their time-outs.
#include "driver/freeze_registry.h"

#include <linux/fs.h>
#include <linux/membarrier.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <functional>

#include "common/loop_device.h"

namespace testbed {

using qmfi_system::Descriptor;

namespace {

// A freeze mostly waits for the kernel's grace periods. One that has begun when all freezes start makes them wait for
// the same next one, and so end together instead of one after another.
constexpr std::chrono::milliseconds gracePeriodLead(1);

dev_t deviceOf(const Descriptor& descriptor) {
  struct stat status {};
  return fstat(descriptor.get(), &status) == 0 ? status.st_dev : 0;
}

int freezeNow(int descriptor) {
  return ioctl(descriptor, FIFREEZE, 0) == 0 ? 0 : errno;
}
int thawNow(int descriptor) {
  return ioctl(descriptor, FITHAW, 0) == 0 ? 0 : errno;
}

// The result of freezing each of the descriptors, in their order.
std::vector<int> freezeTogether(const std::vector<int>& descriptors) {
  std::vector<int> results(descriptors.size());
  if (descriptors.size() == 1) {
    results[0] = freezeNow(descriptors[0]);
    return results;
  }
  // Nobody waits for this one: where the kernel needs no grace period the freezes are done long before it ends.
  std::thread([] { syscall(SYS_membarrier, MEMBARRIER_CMD_GLOBAL, 0, 0); }).detach();
  std::this_thread::sleep_for(gracePeriodLead);
  std::vector<std::thread> threads;
  for (std::size_t i = 0; i < descriptors.size(); ++i) {
    threads.emplace_back([&result = results[i], descriptor = descriptors[i]] { result = freezeNow(descriptor); });
  }
  for (auto& thread : threads) thread.join();
  return results;
}

}  // namespace

FreezeRegistry::FreezeRegistry(dev_t pool, WatchdogLink& watchdog)
    : m_pool(pool), m_watchdog(watchdog), m_expiry([this] { expire(); }) {}

FreezeRegistry::~FreezeRegistry() {
  thawEverything();
  m_expiry.join();
}

int FreezeRegistry::freeze(std::vector<Descriptor> descriptors, std::chrono::seconds timeout) {
  std::vector<dev_t> devices;
  if (const int error = reserve(std::move(descriptors), devices); error != 0) return error;
  std::vector<dev_t> frozen;
  int error = freezeReserved(devices, frozen);
  if (error == 0 && !commit(devices, timeout)) error = ENODEV;
  if (error == 0) return 0;

  std::for_each(frozen.rbegin(), frozen.rend(), [this](dev_t device) { thawOwned(device); });
  for (const dev_t device : devices) forget(device);
  return error;
}

// The entry of a file system, or null, once no thaw of it is under way.
FreezeRegistry::Entry* FreezeRegistry::settled(std::unique_lock<std::mutex>& lock, dev_t device) {
  Entry* entry = nullptr;
  m_changed.wait(lock, [&] {
    const auto found = m_entries.find(device);
    entry = found == m_entries.end() ? nullptr : &found->second;
    return entry == nullptr || entry->state != State::thawing;
  });
  return entry;
}

// Enters every file system as one to be frozen by this thread, or none.
int FreezeRegistry::reserve(std::vector<Descriptor> descriptors, std::vector<dev_t>& devices) {
  int error = 0;
  for (auto& descriptor : descriptors) {
    const dev_t device = deviceOf(descriptor);
    const int distance = distanceFromPool(device, m_pool);
    std::unique_lock lock(m_mutex);
    if (distance == 0) error = ENOTTY;
    if (settled(lock, device) != nullptr) error = EBUSY;
    if (m_stopping) error = ENODEV;
    if (error != 0) break;
    m_entries.emplace(device, Entry{.descriptor = std::move(descriptor), .distance = distance});
    devices.push_back(device);
  }
  if (error != 0) {
    for (const dev_t device : devices) forget(device);
  }
  return error;
}

// The file systems in the order of their freezing: each level lies in images on the next ones.
std::vector<std::vector<dev_t>> FreezeRegistry::levels(const std::vector<dev_t>& devices) {
  const std::lock_guard lock(m_mutex);
  std::map<int, std::vector<dev_t>, std::greater<>> byDistance;
  for (const dev_t device : devices) byDistance[m_entries.at(device).distance].push_back(device);
  std::vector<std::vector<dev_t>> ordered;
  ordered.reserve(byDistance.size());
  for (auto& [distance, level] : byDistance) ordered.push_back(std::move(level));
  return ordered;
}

// Stops at the first level with a failure. `frozen`: receives those that are frozen now.
int FreezeRegistry::freezeReserved(const std::vector<dev_t>& devices, std::vector<dev_t>& frozen) {
  int error = 0;
  for (const auto& level : levels(devices)) {
    const auto descriptors = descriptorsOf(level);
    for (std::size_t i = 0; i < level.size(); ++i) m_watchdog.hold(level[i], descriptors[i]);
    const auto results = freezeTogether(descriptors);
    for (std::size_t i = 0; i < level.size(); ++i) {
      if (results[i] == 0) frozen.push_back(level[i]);
      if (results[i] != 0 && error == 0) error = results[i];
    }
    if (error != 0) break;
  }
  return error;
}

// Hands the frozen file systems over to their time-outs; false when it is too late for that.
bool FreezeRegistry::commit(const std::vector<dev_t>& devices, std::chrono::seconds timeout) {
  const std::lock_guard lock(m_mutex);
  if (m_stopping) return false;
  for (const dev_t device : devices) {
    auto& entry = m_entries.at(device);
    entry.state = State::frozen;
    entry.deadline = Clock::now() + timeout;
    entry.order = ++m_order;
    m_expired.erase(device);
  }
  m_changed.notify_all();
  return true;
}

int FreezeRegistry::thaw(const Descriptor& descriptor) {
  const dev_t device = deviceOf(descriptor);
  if (distanceFromPool(device, m_pool) == 0) return ENOTTY;
  {
    std::unique_lock lock(m_mutex);
    Entry* entry = settled(lock, device);
    if (entry == nullptr) return m_expired.erase(device) != 0 ? ETIMEDOUT : EINVAL;
    if (entry->state == State::freezing) return EINVAL;
    entry->state = State::thawing;
  }
  const int error = thawOwned(device);
  forget(device);
  return error;
}

void FreezeRegistry::thawEverything() {
  {
    const std::lock_guard lock(m_mutex);
    m_stopping = true;
    m_changed.notify_all();
  }
  for (dev_t device; takeFrozen(Clock::time_point::max(), device);) {
    thawOwned(device);
    forget(device);
  }
}

int FreezeRegistry::thawOwned(dev_t device) {
  return thawNow(descriptorsOf({device}).front());
}

// Descriptors on the file systems, which the calling thread owns.
std::vector<int> FreezeRegistry::descriptorsOf(const std::vector<dev_t>& devices) {
  const std::lock_guard lock(m_mutex);
  std::vector<int> descriptors(devices.size());
  std::transform(devices.begin(), devices.end(), descriptors.begin(),
                 [this](dev_t device) { return m_entries.at(device).descriptor.get(); });
  return descriptors;
}

// Nobody keeps the file system busy any more when this returns.
void FreezeRegistry::forget(dev_t device, bool byTimeout) {
  m_watchdog.release(device);
  const std::lock_guard lock(m_mutex);
  m_entries.erase(device);
  if (byTimeout) m_expired.insert(device);
  m_changed.notify_all();
}

// Finds the file system that was frozen last among those whose deadline has come, and gives it to the calling thread to
// thaw.
bool FreezeRegistry::takeFrozen(Clock::time_point latestDeadline, dev_t& device) {
  const std::lock_guard lock(m_mutex);
  Entry* last = nullptr;
  for (auto& [candidate, entry] : m_entries) {
    if (entry.state != State::frozen || entry.deadline > latestDeadline) continue;
    if (last != nullptr && last->order > entry.order) continue;
    last = &entry;
    device = candidate;
  }
  if (last != nullptr) last->state = State::thawing;
  return last != nullptr;
}

void FreezeRegistry::expire() {
  for (;;) {
    for (dev_t device; takeFrozen(Clock::now(), device);) {
      thawOwned(device);
      forget(device, true);
    }
    std::unique_lock lock(m_mutex);
    if (m_stopping) return;
    auto next = Clock::time_point::max();
    for (const auto& [device, entry] : m_entries) {
      if (entry.state == State::frozen) next = std::min(next, entry.deadline);
    }
    if (next == Clock::time_point::max()) {
      m_changed.wait(lock);
    } else {
      m_changed.wait_until(lock, next);
    }
  }
}

}  // namespace testbed

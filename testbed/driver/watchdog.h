// The watchdog: a second process that holds every frozen file system, so that the supervisor's death cannot leave one
// frozen.
#ifndef WATCHDOG_H
#define WATCHDOG_H

#include <sys/types.h>

#include <map>
#include <mutex>

#include "system/descriptor.h"

namespace testbed {

// What the supervisor tells the watchdog. The watchdog answers each with one byte, so that the supervisor knows when a
// descriptor is held, and when it is given back and no longer keeps the file system busy.
struct WatchdogMessage {
  // hold: keep the descriptor that comes along. release: give it back. pool: see announcePool.
  enum Kind : int { hold, release, pool } kind;
  dev_t device;  // of the file system; of the pool's file system for pool
};

// The supervisor's side. Thread-safe. Calls do nothing more once the watchdog is gone.
class WatchdogLink {
 public:
  // socket: connected to the watchdog's.
  explicit WatchdogLink(qmfi_system::Descriptor socket) : m_socket(std::move(socket)) {}

  // Before a freeze: `descriptor` lies on the file system to be frozen; the watchdog holds a copy.
  void hold(dev_t device, int descriptor) { call({WatchdogMessage::hold, device}, descriptor); }
  // After the thaw.
  void release(dev_t device) { call({WatchdogMessage::release, device}, -1); }
  // Names the pool, whose loop devices the watchdog detaches when the supervisor did not live to do it.
  void announcePool(dev_t device) { call({WatchdogMessage::pool, device}, -1); }

 private:
  void call(const WatchdogMessage& message, int descriptor);

  std::mutex m_mutex;
  qmfi_system::Descriptor m_socket;  // one call at a time, under m_mutex
};

// The watchdog's side, of a single thread.
class Watchdog {
 public:
  // socket: connected to the supervisor's.
  explicit Watchdog(qmfi_system::Descriptor socket) : m_socket(std::move(socket)) {}

  int socket() const { return m_socket.get(); }

  // Takes one message and answers it. When the supervisor is gone: thaws all that is held and returns false.
  bool serve();

  // Detaches what is still attached to the pool; to be called when no process of the testbed is left.
  void detachLeftovers() const;

 private:
  void thawAll();

  qmfi_system::Descriptor m_socket;
  std::map<dev_t, qmfi_system::Descriptor> m_held;
  dev_t m_pool = 0;
};

}  // namespace testbed

#endif

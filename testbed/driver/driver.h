// The stand-in for the file system's kernel driver: answers the freeze requests of the filtered processes.
#ifndef DRIVER_H
#define DRIVER_H

#include <array>
#include <condition_variable>
#include <mutex>
#include <vector>

#include "driver/caller.h"
#include "driver/fault.h"
#include "driver/freeze_registry.h"
#include "system/descriptor.h"

struct seccomp_notif;

namespace testbed {

// Every request is served by a thread of its own, so that none waits for another's delay.
class Driver {
 public:
  // `pool`: the file system that holds the volumes' files; `watchdog` outlives this object.
  Driver(dev_t pool, WatchdogLink& watchdog, std::vector<Fault> faults);
  Driver(const Driver&) = delete;
  Driver& operator=(const Driver&) = delete;
  ~Driver();

  // Takes one request from `listener`, which is readable. To be called from one thread only.
  void serve(int listener);

  // Thaws everything, refuses every further request with ENODEV and waits for those under way.
  void stop();

 private:
  struct Request;

  void begin(const Request& request);
  void answer(const Request& request, int error);
  int perform(const Request& request);
  int act(const Request& request);
  int inject(const Request& request);

  const std::vector<Fault> m_faults;
  FreezeRegistry m_registry;
  std::array<unsigned, requestKinds> m_counts{};  // of the serving thread

  std::mutex m_mutex;
  std::condition_variable m_changed;
  int m_underWay = 0;       // under m_mutex
  bool m_stopping = false;  // under m_mutex
};

}  // namespace testbed

#endif

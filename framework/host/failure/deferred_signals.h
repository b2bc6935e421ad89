// Signals that would end the host in the middle of its work are kept until it has finished or undone it.
#ifndef DEFERRED_SIGNALS_H
#define DEFERRED_SIGNALS_H

#include <condition_variable>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "system/signal_masks.h"

namespace qmfi_host {

// Blocks the signals by which users and the system ask a program to end: SIGINT, SIGTERM, SIGHUP and SIGQUIT.
class DeferredSignals {
 public:
  // They are blocked from here on.
  DeferredSignals();

  // Those signals.
  static const sigset_t& all();

  // The name of one that has come ("SIGINT"); nothing when none has.
  std::optional<std::string> pending() const;

  // Throws HostError when one of them has come. To be called where the work can be given up.
  void throwIfPending() const;

  // Lets them end the program while the action waits for something, when there is nothing to be undone.
  template <typename Action>
  void deliverDuring(Action action) const {
    deliver(true);
    action();
    deliver(false);
  }

  // The same for an action that can be gone on with later, from a second on: what is quickly over comes to its end.
  template <typename Action>
  void deliverDuringLong(Action action) const {
    const LateDelivery late;
    action();
  }

 private:
  // A thread that takes the signals once the object is a second old.
  class LateDelivery {
   public:
    LateDelivery() : m_thread([this] { run(); }) {}
    LateDelivery(const LateDelivery&) = delete;
    LateDelivery& operator=(const LateDelivery&) = delete;
    ~LateDelivery();

   private:
    void run();

    std::mutex m_mutex;
    std::condition_variable m_ended;
    bool m_isOver = false;
    std::thread m_thread;
  };

  static void deliver(bool now);

  qmfi_system::BlockedSignals m_blocked;
};

}  // namespace qmfi_host

#endif

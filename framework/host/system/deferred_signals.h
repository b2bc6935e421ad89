// Signals that would end the host in the middle of its work are kept until it has put everything in order.
#ifndef DEFERRED_SIGNALS_H
#define DEFERRED_SIGNALS_H

#include <csignal>

namespace qmfi_host {

// Blocks signals of this thread from its making to its end. What came meanwhile is delivered then.
class BlockedSignals {
 public:
  explicit BlockedSignals(const sigset_t& signals);
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;
  ~BlockedSignals();

 private:
  sigset_t m_before;
};

// Blocks the signals by which users and the system ask a program to end: SIGINT, SIGTERM, SIGHUP and SIGQUIT.
class DeferredSignals {
 public:
  DeferredSignals();

  // Throws HostError when one of them has come. To be called where the work can be given up.
  void throwIfPending() const;

  // Lets them end the program while the action waits for something, when there is nothing to be put in order.
  template <typename Action>
  void deliverDuring(Action action) const {
    deliver(true);
    action();
    deliver(false);
  }

 private:
  static void deliver(bool now);

  BlockedSignals m_blocked;
};

// Every signal that can be blocked.
sigset_t allSignals();

}  // namespace qmfi_host

#endif

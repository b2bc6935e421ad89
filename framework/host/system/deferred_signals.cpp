// Blocking of signals.
#include "system/deferred_signals.h"

#include <cstring>
#include <string>

#include "failure/host_error.h"

namespace qmfi_host {

namespace {

constexpr int signalsThatEnd[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

sigset_t endingSignals() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int signal : signalsThatEnd) sigaddset(&signals, signal);
  return signals;
}

}  // namespace

BlockedSignals::BlockedSignals(const sigset_t& signals) {
  pthread_sigmask(SIG_BLOCK, &signals, &m_before);
}

BlockedSignals::~BlockedSignals() {
  pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
}

DeferredSignals::DeferredSignals() : m_blocked(endingSignals()) {}

void DeferredSignals::throwIfPending() const {
  sigset_t pending;
  sigpending(&pending);
  for (const int signal : signalsThatEnd) {
    if (sigismember(&pending, signal) == 1) {
      throw HostError(std::string("interrupted by SIG") + sigabbrev_np(signal));
    }
  }
}

void DeferredSignals::deliver(bool now) {
  const sigset_t signals = endingSignals();
  pthread_sigmask(now ? SIG_UNBLOCK : SIG_BLOCK, &signals, nullptr);
}

sigset_t allSignals() {
  sigset_t signals;
  sigfillset(&signals);
  return signals;
}

}  // namespace qmfi_host

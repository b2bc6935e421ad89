// Blocking of signals.
#include "system/signal_masks.h"

namespace qmfi_system {

sigset_t signalSet(std::initializer_list<int> signals) {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : signals) sigaddset(&set, signal);
  return set;
}

sigset_t allSignals() {
  sigset_t signals;
  sigfillset(&signals);
  return signals;
}

BlockedSignals::BlockedSignals(const sigset_t& signals) {
  pthread_sigmask(SIG_BLOCK, &signals, &m_before);
}

BlockedSignals::~BlockedSignals() {
  pthread_sigmask(SIG_SETMASK, &m_before, nullptr);
}

}  // namespace qmfi_system

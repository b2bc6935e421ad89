// Signals that wait until a piece of work is done.
#ifndef SYSTEM_SIGNAL_MASKS_H
#define SYSTEM_SIGNAL_MASKS_H

#include <csignal>
#include <initializer_list>

namespace qmfi_system {

// The set of these signals, each a signal number.
sigset_t signalSet(std::initializer_list<int> signals);

// Every signal that can be blocked.
sigset_t allSignals();

// Blocks signals of its thread from its making to its end, besides those that are blocked already. What came meanwhile
// is delivered then. To be destroyed by the thread that made it; several are destroyed in reverse order.
class BlockedSignals {
 public:
  // They are blocked from here on.
  explicit BlockedSignals(const sigset_t& signals);
  BlockedSignals(const BlockedSignals&) = delete;
  BlockedSignals& operator=(const BlockedSignals&) = delete;
  ~BlockedSignals();

 private:
  sigset_t m_before;
};

}  // namespace qmfi_system

#endif

// Runs an action whichever way a scope is left.
#ifndef CFISCOPEEXIT_H
#define CFISCOPEEXIT_H

#include <utility>

namespace qmfi_pdk_4_4 {

// The action must not throw.
template <typename Action>
class CFiScopeExit {
 public:
  // Keeps the action until the scope ends.
  explicit CFiScopeExit(Action action) : m_action(std::move(action)) {}
  CFiScopeExit(const CFiScopeExit&) = delete;
  CFiScopeExit& operator=(const CFiScopeExit&) = delete;
  ~CFiScopeExit() { m_action(); }

 private:
  Action m_action;
};

}  // namespace qmfi_pdk_4_4

#endif

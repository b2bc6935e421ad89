// The queue of pushed messages, and the handlers that each message is passed to.
#ifndef CFIERRORMANAGER_H
#define CFIERRORMANAGER_H

#include <memory>
#include <vector>

#include "cfierrorhandlerbase.h"
#include "cfimessage.h"

namespace qmfi_pdk_4_4 {

// Keeps the newest messages and passes each to the registered handlers. While the split context is open the handlers
// wait until it closes, since they print and nothing may touch a disk while file systems are frozen; whoever opens it
// waits for a handler that is running. May be used from any thread; handlers are called without a lock held, in the
// order of registration.
class CFiErrorManager : public virtual CFiRefCount {
 public:
  // Knows no handler and no message.
  CFiErrorManager();
  ~CFiErrorManager() override;

  // Keeps the message (the oldest gives way beyond 64) and hands it to the handlers. An empty pointer is ignored, as is
  // a message that cannot be counted because its mutex fails. Returns 0. Throws std::bad_alloc when memory is short,
  // and then the message is neither kept nor handed out. Required: taken by value, since plug-ins import it so.
  int pushError(CFiMessageSPtr message);

  // Takes ownership of a handler made with new, until the manager is destroyed. Null is ignored. Returns 0.
  int registerHandler(CFiErrorHandlerBase* handler);

  // What was pushed since the last clear, newest first. Throws std::system_error when a mutex fails.
  std::vector<CFiMessageSPtr> messages() const;

  // Forgets what was kept.
  void clear();

 private:
  struct Implementation;
  const std::unique_ptr<Implementation> m_implementation;
};

using CFiErrorManagerSPtr = CFiSmartPtr<CFiErrorManager>;

}  // namespace qmfi_pdk_4_4

#endif

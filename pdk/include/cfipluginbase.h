// The provider interface: every operation that the framework can ask of a plug-in, with the framework's own answers.
#ifndef CFIPLUGINBASE_H
#define CFIPLUGINBASE_H

#include <ace/Guard_T.h>
#include <ace/Recursive_Thread_Mutex.h>
#include <ace/SString.h>

#include <cerrno>
#include <cstddef>
#include <string>
#include <system_error>

#include "cficonfigparam.h"
#include "cfierrormanager.h"
#include "cfimessagecatalog.h"
#include "cfiobjctlargs.h"
#include "cfiprivatedatamanager.h"
#include "cfisession.h"
#include "cfismartptr.h"
#include "cfistatus.h"
#include "cfistringallocator.h"
#include "cfitracelog.h"
#include "kfi.h"

namespace qmfi_pdk_4_4 {

// What the processors hand each other at least: data written by one thread and data read by another are better apart by
// that much.
inline constexpr std::size_t CFI_CACHE_LINE_BYTES = 64;

// Base of every provider. The operations stand in the order of the provider's virtual table; those that a provider does
// not override answer CFI_STATUS_NOT_SUPPORTED, except where they say otherwise. An operation may be called from any of
// the framework's threads; what its pointers may be is the entry point's contract.
class CFiPluginBase : public virtual CFiRefCount, public virtual CFiTraceable {
 public:
  // Has no names and no managers until the frame gives them.
  CFiPluginBase();
  ~CFiPluginBase() override;

  // Runs once before the first ordinary call; a non-zero result fails that call.
  virtual int delayedInit() { return CFI_STATUS_SUCCESS; }

  // Description list 0 or 1 of the first array (kind false) or the second (kind true). index is not checked.
  virtual CFiConfigParamInfoList& globalConfigInfoList(int index, bool kind) {
    return kind ? m_providerConfigInfoLists[index] : m_frameworkConfigInfoLists[index];
  }

  // Starts the provider, at the end of the function init; answers its status.
  virtual int init() = 0;
  // Ends the provider, at the beginning of the function fini.
  virtual void fini() = 0;

// NOLINTNEXTLINE(bugprone-macro-parentheses): these are a name and a list of parameters.
#define FI_OPERATION(slot, operation, answer, parameters, arguments) virtual int operation parameters;
#include "cfientrypoints.def"

  // Runs delayedInit before the first ordinary call and returns its result; 0 ever after, also when it failed: a
  // failure is reported once and not tried again. Throws std::system_error when the mutex fails, and then the next call
  // runs it.
  int invokeDelayedInit() {
    const ACE_Guard<ACE_Recursive_Thread_Mutex> lock(m_delayedInitMutex);
    if (lock.locked() == 0) {
      throw std::system_error(errno, std::generic_category(), "the delayed initialisation cannot be locked");
    }
    if (m_delayedInitDone) return CFI_STATUS_SUCCESS;
    m_delayedInitDone = true;
    return delayedInit();
  }

  // Each is called by the frame before init, and not locked. A name is copied. A manager is counted; one whose mutex
  // fails is not taken: std::system_error is thrown. An offset is what the numbers of errors count from. A null FIM
  // name counts as empty.
  void setProviderName(const ACE_String_Base<char>& name);
  void setFimName(const char* name);
  void setMessageIndexOffset(int offset);
  void registerErrorManager(const CFiErrorManagerSPtr& manager);
  void registerCatalogManager(const CFiMessageCatalogManagerSPtr& manager);
  void registerPrivateDataManager(const CFiPrivateDataManagerSPtr& manager);
  void registerSessionManager(const CFiSessionManagerSPtr& manager);

  // Tells the framework that this plug-in is going away.
  static void isShuttingDown(bool shuttingDown);

 protected:
  // The name that the frame has given.
  const ACE_String_Base<char>& providerName() const {
    return m_providerName;
  }
  // The host's; empty when it has none.
  const ACE_String_Base<char>& fimName() const {
    return m_fimName;
  }
  // What numbers of errors count from.
  int messageIndexOffset() const {
    return m_messageIndexOffset;
  }

 private:
  // A cache line of its own: on the line of the pointer to the virtual table, which every call reads while it holds
  // other locks, the calls of one thread would hold up those of another.
  alignas(CFI_CACHE_LINE_BYTES) ACE_Recursive_Thread_Mutex m_delayedInitMutex;
  bool m_delayedInitDone = false;
  ACE_String_Base<char> m_providerName{CFiStringAllocator::instance()};
  ACE_String_Base<char> m_fimName{CFiStringAllocator::instance()};
  int m_messageIndexOffset = 0;
  CFiErrorManagerSPtr m_errorManager;
  CFiMessageCatalogManagerSPtr m_catalogManager;
  CFiPrivateDataManagerSPtr m_privateDataManager;
  CFiSessionManagerSPtr m_sessionManager;
  CFiConfigParamInfoList m_frameworkConfigInfoLists[2];
  CFiConfigParamInfoList m_providerConfigInfoLists[2];
};

}  // namespace qmfi_pdk_4_4

#endif

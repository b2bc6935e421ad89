// The base of every provider: it notes what it is told, and frees what belongs to a node.
#include <cstdlib>
#include <string>

#include "cfipluginbase.h"
#include "record.h"

namespace qmfi_pdk_4_4 {

CFiPluginBase::CFiPluginBase() {
  noteEvent("CFiPluginBase()");
}

CFiPluginBase::~CFiPluginBase() {
  noteEvent("~CFiPluginBase()");
}

void CFiPluginBase::setProviderName(const ACE_String_Base<char>& name) {
  noteEvent(std::string("setProviderName(") + name.c_str() + ")");
}

void CFiPluginBase::setFimName(const char* name) {
  noteEvent(std::string("setFimName(") + name + ")");
}

void CFiPluginBase::setMessageIndexOffset(int offset) {
  noteEvent("setMessageIndexOffset(" + std::to_string(offset) + ")");
}

// The trace log is registered by the plug-in's own code, which is seen here only.
void CFiPluginBase::registerErrorManager(const CFiErrorManagerSPtr& manager) {
  noteEvent(traceLog() ? "registerErrorManager() behind the trace log" : "registerErrorManager()");
  frameworkRecord().errorManagerOfTheProvider = manager.get();
  m_errorManager = manager;
}

void CFiPluginBase::registerCatalogManager(const CFiMessageCatalogManagerSPtr& manager) {
  noteEvent("registerCatalogManager()");
  m_catalogManager = manager;
}

void CFiPluginBase::registerPrivateDataManager(const CFiPrivateDataManagerSPtr& manager) {
  noteEvent(manager->traceLog() ? "registerPrivateDataManager() with a trace log" : "registerPrivateDataManager()");
  m_privateDataManager = manager;
}

void CFiPluginBase::registerSessionManager(const CFiSessionManagerSPtr& manager) {
  noteEvent("registerSessionManager()");
  m_sessionManager = manager;
}

void CFiPluginBase::isShuttingDown(bool shuttingDown) {
  noteEvent(shuttingDown ? "isShuttingDown(true)" : "isShuttingDown(false)");
}

int CFiPluginBase::deInitNode(kfi_domain* node) {
  if (node->fid_qnode != nullptr) {
    std::free(node->fid_qnode->kqn_fitype);
    qmfi_free_buf(node->fid_qnode, sizeof *node->fid_qnode);
    node->fid_qnode = nullptr;
  }
  return m_privateDataManager->getProviderFactory()->deallocate(node);
}

int CFiPluginBase::make(char*, kfi_splitnode**, int, qmfi_objid***, int*) {
  return CFI_STATUS_USE_SESSION;
}

int CFiPluginBase::makeSnapshots(CFiSessionSPtr session) {
  for (const auto& [key, name] : frameworkRecord().secondNames) session->setSecondName(key, name);
  return CFI_STATUS_SUCCESS;
}

int CFiPluginBase::prepare(char*, kfi_splitnode**, int, int) {
  return CFI_STATUS_USE_SESSION;
}

int CFiPluginBase::select(char*, kfi_splitnode**, int) {
  return CFI_STATUS_USE_SESSION;
}

}  // namespace qmfi_pdk_4_4

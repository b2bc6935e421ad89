// The session forms of the entry points: which session an operation runs over, and the names that make reports.
#ifndef CFIAPISESSION_H
#define CFIAPISESSION_H

#include <cstdint>
#include <string>
#include <vector>

#include "cfidomain.h"
#include "cfientryguard.h"
#include "cfierror.h"

namespace qmfi_pdk_4_4 {

using CFiSplitNodeList = CFiNodeList<kfi_splitnode>;

// Runs call with the session of that name in this plug-in and returns its status; status 6 when a mutex that fails
// leaves no session.
template <typename Call>
int withSession(const char* name, Call&& call) {
  const auto manager = CFiContextSingleton<CFiSessionManager, FI_PLUGIN_NAME>::instance(false);
  const CFiSessionSPtr session = manager ? manager->getSession(name) : CFiSessionSPtr();
  return session ? call(session) : CFI_STATUS_FAILED;
}

// Whether no node of the list is missing or without a key; none need be there.
inline bool haveKeys(const CFiSplitNodeList& list) {
  if (list.count() > 0 && list.nodes() == nullptr) return false;
  for (int i = 0; i < list.count(); ++i) {
    const kfi_splitnode* const node = list.nodes()[i];
    if (node == nullptr || nodeName(node->ksn_domain) == nullptr) return false;
  }
  return true;
}

// Whether a session can take the nodes, which it keeps by their keys together with their names.
inline bool canBeAdded(const CFiSplitNodeList& list) {
  if (!haveKeys(list)) return false;
  for (int i = 0; i < list.count(); ++i) {
    if (list.nodes()[i]->ksn_name == nullptr) return false;
  }
  return true;
}

// Marks each node as selected and collects the second names that the session keeps for them.
inline std::vector<std::string> selectedNames(const CFiSession& session, const CFiSplitNodeList& list) {
  std::vector<std::string> names;
  for (int i = 0; i < list.count(); ++i) {
    kfi_domain* const domain = list.nodes()[i]->ksn_domain;
    domain->fid_attr |= KFI_ATTR_SELECTED;
    CFiSplitNode node;
    if (session.findNode(nodeName(domain), node)) names.emplace_back(node.secondName.c_str(), node.secondName.length());
  }
  return names;
}

// Hands out the identifiers of names. Required: when one cannot be made the array is null, the count still that of the
// names, and the status 0; a framework takes this for no identifiers. Throws CFiError 5 when there is no memory for the
// array.
inline int exportIdentifiers(const std::vector<std::string>& names, qmfi_objid*** objects, int* objectCount) {
  *objects = nullptr;
  *objectCount = static_cast<int>(names.size());
  if (names.empty()) return CFI_STATUS_SUCCESS;
  const std::size_t size = names.size() * sizeof(qmfi_objid*);
  auto** const array = static_cast<qmfi_objid**>(qmfi_alloc_buf(size));
  if (array == nullptr) {
    throw CFiError(CFI_STATUS_NO_MEMORY, "Bad allocation for object identifiers", "cfiapisession.h",
                   "exportIdentifiers", __LINE__);
  }
  for (std::size_t i = 0; i < names.size(); ++i) {
    array[i] = qmfi_get_objid(names[i].c_str(), static_cast<std::uint32_t>(names[i].size() + 1), KFI_OBJID_PATH);
    if (array[i] == nullptr) {
      qmfi_free_buf(array, size);
      return CFI_STATUS_SUCCESS;
    }
  }
  *objects = array;
  return CFI_STATUS_SUCCESS;
}

// The functions of the list by these names. Without a session name, or with a node without a name or key, the forms
// with the session answer CFI_STATUS_INVALID_ARGUMENT, and then nothing has been added to a session.
inline int makeInSession(CFiPluginBase& plugin, char* sessionName, const CFiSplitNodeList& list, qmfi_objid*** objects,
                         int* objectCount) {
  const int status = plugin.make(sessionName, list.nodes(), list.count(), objects, objectCount);
  if (status != CFI_STATUS_USE_SESSION) return status;
  if (sessionName == nullptr || objects == nullptr || objectCount == nullptr || !haveKeys(list)) {
    return CFI_STATUS_INVALID_ARGUMENT;
  }
  return withSession(sessionName, [&](const CFiSessionSPtr& session) {
    const int made = plugin.makeSnapshots(session);
    return made == CFI_STATUS_SUCCESS ? exportIdentifiers(selectedNames(*session, list), objects, objectCount) : made;
  });
}

// As makeInSession, for prepare; flag is the provider's.
inline int prepareInSession(CFiPluginBase& plugin, char* sessionName, const CFiSplitNodeList& list, int flag) {
  const int status = plugin.prepare(sessionName, list.nodes(), list.count(), flag);
  if (status != CFI_STATUS_USE_SESSION) return status;
  // The session knows its nodes; those of the list are not looked at.
  if (sessionName == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
  return withSession(sessionName, [&](const CFiSessionSPtr& session) { return plugin.prepareSnapshots(session); });
}

// As makeInSession, for select: the nodes are added to the session when the provider does not refuse them.
inline int selectInSession(CFiPluginBase& plugin, char* sessionName, const CFiSplitNodeList& list) {
  const int status = plugin.select(sessionName, list.nodes(), list.count());
  if (status != CFI_STATUS_USE_SESSION && status != CFI_STATUS_SUCCESS) return status;
  if (sessionName == nullptr || !canBeAdded(list)) return CFI_STATUS_INVALID_ARGUMENT;
  return withSession(sessionName, [&](const CFiSessionSPtr& session) {
    session->addNodes(list.nodes(), list.count());
    return status == CFI_STATUS_USE_SESSION ? plugin.selectSnapshots(session) : status;
  });
}

// Required: only the session learns of the nodes; the provider's own preselect is not called.
inline int preselectInSession(char* sessionName, const CFiSplitNodeList& list) {
  if (sessionName == nullptr || !canBeAdded(list)) return CFI_STATUS_INVALID_ARGUMENT;
  return withSession(sessionName, [&](const CFiSessionSPtr& session) -> int {
    session->addNodes(list.nodes(), list.count());
    return CFI_STATUS_SUCCESS;
  });
}

// As makeInSession, for a session as a whole; handle is the provider's.
inline int updateHandleInSession(CFiPluginBase& plugin, char* sessionName, void* handle) {
  if (sessionName == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
  return withSession(sessionName,
                     [&](const CFiSessionSPtr& session) { return plugin.updateSnapshotHandle(session, handle); });
}

}  // namespace qmfi_pdk_4_4

#endif

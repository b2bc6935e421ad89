// The provider interface: every operation that the framework can ask of a plug-in, with the framework's own answers.
#ifndef CFIPLUGINBASE_H
#define CFIPLUGINBASE_H

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

#include <ace/Guard_T.h>
#include <ace/Recursive_Thread_Mutex.h>
#include <ace/SString.h>

#include <cstddef>
#include <string>

namespace qmfi_pdk_4_4 {

// What the processors hand each other at least: data written by one thread and data read by another are better apart by
// that much.
inline constexpr std::size_t CFI_CACHE_LINE_BYTES = 64;

// Base of every provider. The operations stand in the order of the provider's virtual table; those that a provider does
// not override answer CFI_STATUS_NOT_SUPPORTED, except where they say otherwise. An operation may be called from any of
// the framework's threads; what its pointers may be is the entry point's contract.
class CFiPluginBase : public virtual CFiRefCount, public virtual CFiTraceable {
 public:
  CFiPluginBase();
  ~CFiPluginBase() override;

  // Runs once before the first ordinary call; a non-zero result fails that call.
  virtual int delayedInit() { return CFI_STATUS_SUCCESS; }

  // Description list 0 or 1 of the first array (kind false) or the second (kind true). index is not checked.
  virtual CFiConfigParamInfoList& globalConfigInfoList(int index, bool kind) {
    return kind ? m_providerConfigInfoLists[index] : m_frameworkConfigInfoLists[index];
  }

  virtual int init() = 0;
  virtual void fini() = 0;
  virtual int claim(qmfi_objid* object, qmfi_objid*** groups, int* count);
  virtual int supportsFiType(kfi_domain* domain, char* fiType);
  virtual int deportTree(kfi_domain* primary, kfi_domain* alternate, kfi_accessnode* access);
  virtual int importTreeNode(kfi_domain* domain, qmfi_objid** objects, qmfi_objid** snapObjects, int count,
                             qmfi_objid** altObject);
  virtual int initNode(kfi_domain* node, kfi_domain** domains, int count, qmfi_objid* object);
  // Stores each parameter of spec in data list category of the node's private data. CFI_STATUS_INVALID_ARGUMENT, and
  // nothing stored, for a category other than 0 and 1, a node without private data, or a parameter that the provider
  // has not declared.
  virtual int config(kfi_domain* node, int category, char* text, kfi_confspec* spec);
  virtual int initAltNode(kfi_domain* first, kfi_domain* second, kfi_domain* target, bool remote);
  virtual int reAccessTmpObj(kfi_domain* domain, qmfi_objid* object, char* name, kfi_domain* other, char* otherName,
                             kfi_intent intent);
  virtual int reAccessAltNode(kfi_domain* domain, qmfi_objid* altObject, qmfi_objid* other, char* name,
                              qmfi_objid** out1, qmfi_objid** out2, int count, kfi_intent intent);
  // Frees the node's quiesce node and releases its private data. Returns 0.
  virtual int deInitNode(kfi_domain* node);
  virtual int dispose(kfi_domain* first, kfi_domain* node, kfi_splitnode* splitNode, kfi_disposition disposition);
  virtual int online(kfi_domain* domain, kfi_domain* node, int mode, kfi_disposition disposition);
  // Hands out the sub-objects of the node's private data: a buffer of qmfi_alloc_buf and their number, null and 0 for
  // an empty list. CFI_STATUS_INVALID_ARGUMENT without private data. Throws CFiError 5 when
  // memory is short.
  virtual int subobjList(kfi_domain* node, qmfi_objid*** objects, int* count);
  // Stores a constant English sentence for a status. Returns 0.
  virtual int errMsg(int status, const char** text);
  virtual int buildAltTree(kfi_domain* domain, char* fiid, qmfi_objid** objects, qmfi_objid** snapObjects, int count,
                           qmfi_objid** altObject);
  virtual int quiesce(kfi_quiescenode** nodes, int count, char* options);
  virtual int unquiesce(kfi_quiescenode** nodes, int count);
  // make, prepare and select answer CFI_STATUS_USE_SESSION, which asks for the form with the session.
  virtual int make(char* session, kfi_splitnode** nodes, int count, qmfi_objid*** objects, int* objectCount);
  virtual int makeSnapshots(CFiSessionSPtr session);
  virtual int prepare(char* session, kfi_splitnode** nodes, int count, int flag);
  virtual int prepareSnapshots(CFiSessionSPtr session);
  virtual int select(char* session, kfi_splitnode** nodes, int count);
  virtual int selectSnapshots(CFiSessionSPtr session);
  virtual int isReady(char* session, kfi_splitnode** nodes, int count);
  virtual int cacheDisable(kfi_domain* domain, int reserved);
  virtual int cacheEnable(kfi_domain* domain, int reserved);
  virtual int cacheFlush(kfi_domain* domain, int reserved);
  virtual int interpose(kfi_domain* domain, qmfi_objid** objects, qmfi_objid*** outObjects, int* count);
  virtual int getAttr(kfi_domain* first, kfi_domain* second, kfi_splitnode* splitNode, kfi_attributes* attributes);
  virtual int getProviderInfo(kfi_provider_list** list);
  virtual int enumerateNodes(kfi_node_list** list, int* count, int kind, char* name);
  virtual int enumerateAssociations(kfi_assoc_list** list);
  virtual int enumerateGroupNodes(kfi_group_node_list** list);
  virtual int enumerateFims(kfi_fim_list** list);
  virtual int isValidNodeAssociation(kfi_assoc* association, int* valid);
  virtual int getAssociatedNodes(kfi_node* node, kfi_node_list** list);
  virtual int checkNodeExistence(kfi_domain* node, int* exists);
  virtual int objctl(ACE_String_Base<char> name, CFiObjctlArgs& arguments);
  virtual int processProviderState(kfi_domain* node, kfi_blob* blob, kfi_op_providerstate operation);
  // Hands out what was pushed since the last delLastError, newest first; null when there is nothing. Returns 0, or 5
  // when memory is short.
  virtual int getLastError(kfi_msg_info** list);
  // Frees the list, nulls the caller's pointer and forgets what was pushed. Returns 0.
  virtual int delLastError(kfi_msg_info** list);
  // Turns a record into UTF-8 text of a language (null or empty: the default locale), to be freed with
  // delLocaleMessage, and stores the text's length. Returns 0, 3 for a missing record or place, or 5 when memory is
  // short.
  virtual int getLocaleMessage(int* length, kfi_msg_info* record, const char* language, char** text);
  // Frees the text and nulls the pointer. Returns 0.
  virtual int delLocaleMessage(char** text);
  virtual int enableAccess(kfi_node_subobj_list* list, long flags, int level, int options);
  virtual int disableAccess(kfi_node_subobj_list* list, long flags);
  virtual int restore(qmfi_objid** from, qmfi_objid** to, long count, char* session, char* options, char*** names,
                      long* nameCount, long flags, long* handle);
  virtual int resync(qmfi_objid** from, qmfi_objid** to, long count, char* session, char* options, long flags,
                     long* handle);
  virtual int getStatus(qmfi_objid** from, qmfi_objid** to, long count, char* session, long flags, long* status);
  virtual int prePrepare(kfi_domain* domain);
  virtual int queryValidSecondaries(char* name, qmfi_objid*** objects, long* count);
  virtual int resourceStatus(qmfi_objid* object, long flags, long* status, kfi_msg_info** messages);
  virtual int revisitPluginNodes(kfi_pgn_node_list* list);
  virtual int verifyQSCombos(kfi_splitnode** nodes, int count);
  virtual int setImportOptions(kfi_splitnode** nodes, int count, kfi_host_infn* hosts, int hostCount, void* options);
  virtual int startBuildAltTree(kfi_domain* domain, qmfi_objid** objects, void* options);
  virtual int translateResourceNames(char** names, int count, char** translated);
  virtual int enumerateEnclosures(kfi_enclosure_node_list** list, int* count, char* name);
  virtual int importResource(char** devices, char* name, char* type, char* options, int flags, char** path, char* host);
  virtual int format(char** devices, int count, char* extra1, char* type, char* extra2, int flags, char*** paths,
                     int* pathCount);
  virtual int enumerateHostNodes(kfi_host_node_list** list, int* count, char* name);
  virtual int onlineResource(char** devices, int count, char* mountPoint, char* type, char* options, char* extra3,
                             int extra4, char*** paths, int* pathCount);
  virtual int deportResource(char* name, char* type, char* options, char* host, int flags);
  virtual int isParentPgn(char* device, int* isParent, int reserved);
  virtual int unformat(char** devices, int count, int flags);
  virtual int preDeportResource(char* name, int flags, char* options);
  virtual int refreshTree(kfi_domain* domain, int kind, int flags, kfi_resource* resources, int count, int* status,
                          void* options, int reserved);
  virtual int getBackupset(kfi_domain* domain, int kind, char** names, int count, kfi_bkupset* set);
  virtual int getAppStatus(kfi_domain* domain, int kind, void* status);
  virtual int setOpStatus(kfi_domain* domain, int status);
  virtual int setCompStatus(kfi_domain* domain, int kind, char* name, int status);
  virtual int setRestorepaths(kfi_domain* domain, char* paths, int count);
  virtual int createSnapReplicaNode(kfi_domain* domain, kfi_snapreplica_ele* element);
  virtual int updateSnapshotId(kfi_domain* first, kfi_domain* second, kfi_snapreplica_ele* element, int flags);
  virtual int getSnapshotSetId(kfi_domain* domain, char** id);
  virtual int preselect(kfi_splitnode* node, char* session, kfi_splitnode** nodes, int count);
  virtual int updateSnapshotHandle(CFiSessionSPtr session, void* handle);
  virtual int getSnapdiff(kfi_domain* domain, kfi_snapreplica_ele* first, kfi_snapreplica_ele* second,
                          TrieNode_* differences);
  virtual int postDeport(kfi_domain* first, kfi_domain* second);

  // Runs delayedInit before the first ordinary call and returns its result; 0 ever after, also when it failed: a
  // failure is reported once and not tried again.
  int invokeDelayedInit() {
    const ACE_Guard<ACE_Recursive_Thread_Mutex> lock(m_delayedInitMutex);
    if (m_delayedInitDone) {
      return CFI_STATUS_SUCCESS;
    }
    m_delayedInitDone = true;
    return delayedInit();
  }

  void setProviderName(const ACE_String_Base<char>& name);
  // A null name counts as empty.
  void setFimName(const char* name);
  void setMessageIndexOffset(int offset);
  void registerErrorManager(const CFiErrorManagerSPtr& manager);
  void registerCatalogManager(const CFiMessageCatalogManagerSPtr& manager);
  void registerPrivateDataManager(const CFiPrivateDataManagerSPtr& manager);
  void registerSessionManager(const CFiSessionManagerSPtr& manager);

  // Tells the framework that this plug-in is going away.
  static void isShuttingDown(bool shuttingDown);

 protected:
  const ACE_String_Base<char>& providerName() const { return m_providerName; }
  const ACE_String_Base<char>& fimName() const { return m_fimName; }
  int messageIndexOffset() const { return m_messageIndexOffset; }

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

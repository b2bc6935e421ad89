// A provider that does nothing but note what it is asked for.
#ifndef TESTS_UNIT_KIT_TINY_PROVIDER_H
#define TESTS_UNIT_KIT_TINY_PROVIDER_H

#include "cfipluginbase.h"
#include "tiny_control.h"

TinyControl& tinyControl();

// Notes the call of an operation with its arguments as text and answers as the control record says.
int noteCall(const std::string& operation, const std::string& arguments);

// Arguments as text: addresses and numbers in decimal, "null", a session by its identifier and its number of nodes.
std::string argumentText(const void* address);
std::string argumentText(long number);
std::string argumentText(const qmfi_pdk_4_4::CFiSessionSPtr& session);
std::string argumentText(const ACE_String_Base<char>& text);
std::string argumentText(const qmfi_pdk_4_4::CFiObjctlArgs& arguments);
inline std::string argumentText(int number) {
  return argumentText(static_cast<long>(number));
}
inline std::string argumentText(bool flag) {
  return flag ? "true" : "false";
}

template <typename... Arguments>
int note(const char* operation, const Arguments&... arguments) {
  std::string text;
  ((text += (text.empty() ? "" : ", ") + argumentText(arguments)), ...);
  return noteCall(operation, text);
}

// The same for operations over a list of nodes, which is noted element by element.
template <typename Node>
std::string listText(Node** nodes, int count) {
  std::string text = "[";
  for (int i = 0; nodes != nullptr && i < count; ++i) {
    text += (i != 0 ? " " : "") + argumentText(nodes[i]);
  }
  return nodes != nullptr ? text + "], " + argumentText(count) : "null, " + argumentText(count);
}

class CTinyPlugin : public qmfi_pdk_4_4::CFiPluginBase {
 public:
  CTinyPlugin() { ++tinyControl().providers; }
  ~CTinyPlugin() override { --tinyControl().providers; }

  int delayedInit() override { return note("delayedInit"); }
  int init() override { return note("init"); }
  void fini() override { note("fini"); }

// An operation whose arguments are noted as they are.
#define TINY_OPERATION_0(name) \
  int name() override {        \
    return note(#name);        \
  }
#define TINY_OPERATION_1(name, A) \
  int name(A a) override {        \
    return note(#name, a);        \
  }
#define TINY_OPERATION_2(name, A, B) \
  int name(A a, B b) override {      \
    return note(#name, a, b);        \
  }
#define TINY_OPERATION_3(name, A, B, C) \
  int name(A a, B b, C c) override {    \
    return note(#name, a, b, c);        \
  }
#define TINY_OPERATION_4(name, A, B, C, D) \
  int name(A a, B b, C c, D d) override {  \
    return note(#name, a, b, c, d);        \
  }
#define TINY_OPERATION_5(name, A, B, C, D, E)  \
  int name(A a, B b, C c, D d, E e) override { \
    return note(#name, a, b, c, d, e);         \
  }
#define TINY_OPERATION_6(name, A, B, C, D, E, F)    \
  int name(A a, B b, C c, D d, E e, F f) override { \
    return note(#name, a, b, c, d, e, f);           \
  }
#define TINY_OPERATION_7(name, A, B, C, D, E, F, G)      \
  int name(A a, B b, C c, D d, E e, F f, G g) override { \
    return note(#name, a, b, c, d, e, f, g);             \
  }
#define TINY_OPERATION_8(name, A, B, C, D, E, F, G, H)        \
  int name(A a, B b, C c, D d, E e, F f, G g, H h) override { \
    return note(#name, a, b, c, d, e, f, g, h);               \
  }
#define TINY_OPERATION_9(name, A, B, C, D, E, F, G, H, I)          \
  int name(A a, B b, C c, D d, E e, F f, G g, H h, I i) override { \
    return note(#name, a, b, c, d, e, f, g, h, i);                 \
  }
  TINY_OPERATION_3(claim, qmfi_objid*, qmfi_objid***, int*)
  TINY_OPERATION_2(supportsFiType, kfi_domain*, char*)
  TINY_OPERATION_3(deportTree, kfi_domain*, kfi_domain*, kfi_accessnode*)
  TINY_OPERATION_5(importTreeNode, kfi_domain*, qmfi_objid**, qmfi_objid**, int, qmfi_objid**)
  TINY_OPERATION_4(initNode, kfi_domain*, kfi_domain**, int, qmfi_objid*)
  TINY_OPERATION_4(config, kfi_domain*, int, char*, kfi_confspec*)
  TINY_OPERATION_4(initAltNode, kfi_domain*, kfi_domain*, kfi_domain*, bool)
  TINY_OPERATION_6(reAccessTmpObj, kfi_domain*, qmfi_objid*, char*, kfi_domain*, char*, kfi_intent)
  TINY_OPERATION_8(reAccessAltNode, kfi_domain*, qmfi_objid*, qmfi_objid*, char*, qmfi_objid**, qmfi_objid**, int,
                   kfi_intent)
  TINY_OPERATION_1(deInitNode, kfi_domain*)
  TINY_OPERATION_4(dispose, kfi_domain*, kfi_domain*, kfi_splitnode*, kfi_disposition)
  TINY_OPERATION_4(online, kfi_domain*, kfi_domain*, int, kfi_disposition)
  TINY_OPERATION_3(subobjList, kfi_domain*, qmfi_objid***, int*)
  TINY_OPERATION_2(errMsg, int, const char**)
  TINY_OPERATION_6(buildAltTree, kfi_domain*, char*, qmfi_objid**, qmfi_objid**, int, qmfi_objid**)
  TINY_OPERATION_2(cacheDisable, kfi_domain*, int)
  TINY_OPERATION_2(cacheEnable, kfi_domain*, int)
  TINY_OPERATION_2(cacheFlush, kfi_domain*, int)
  TINY_OPERATION_4(interpose, kfi_domain*, qmfi_objid**, qmfi_objid***, int*)
  TINY_OPERATION_4(getAttr, kfi_domain*, kfi_domain*, kfi_splitnode*, kfi_attributes*)
  TINY_OPERATION_1(getProviderInfo, kfi_provider_list**)
  TINY_OPERATION_4(enumerateNodes, kfi_node_list**, int*, int, char*)
  TINY_OPERATION_1(enumerateAssociations, kfi_assoc_list**)
  TINY_OPERATION_1(enumerateGroupNodes, kfi_group_node_list**)
  TINY_OPERATION_1(enumerateFims, kfi_fim_list**)
  TINY_OPERATION_2(isValidNodeAssociation, kfi_assoc*, int*)
  TINY_OPERATION_2(getAssociatedNodes, kfi_node*, kfi_node_list**)
  TINY_OPERATION_2(checkNodeExistence, kfi_domain*, int*)
  TINY_OPERATION_3(processProviderState, kfi_domain*, kfi_blob*, kfi_op_providerstate)
  TINY_OPERATION_4(enableAccess, kfi_node_subobj_list*, long, int, int)
  TINY_OPERATION_2(disableAccess, kfi_node_subobj_list*, long)
  TINY_OPERATION_9(restore, qmfi_objid**, qmfi_objid**, long, char*, char*, char***, long*, long, long*)
  TINY_OPERATION_7(resync, qmfi_objid**, qmfi_objid**, long, char*, char*, long, long*)
  TINY_OPERATION_6(getStatus, qmfi_objid**, qmfi_objid**, long, char*, long, long*)
  TINY_OPERATION_1(prePrepare, kfi_domain*)
  TINY_OPERATION_3(queryValidSecondaries, char*, qmfi_objid***, long*)
  TINY_OPERATION_4(resourceStatus, qmfi_objid*, long, long*, kfi_msg_info**)
  TINY_OPERATION_1(revisitPluginNodes, kfi_pgn_node_list*)
  TINY_OPERATION_3(startBuildAltTree, kfi_domain*, qmfi_objid**, void*)
  TINY_OPERATION_3(translateResourceNames, char**, int, char**)
  TINY_OPERATION_3(enumerateEnclosures, kfi_enclosure_node_list**, int*, char*)
  TINY_OPERATION_7(importResource, char**, char*, char*, char*, int, char**, char*)
  TINY_OPERATION_8(format, char**, int, char*, char*, char*, int, char***, int*)
  TINY_OPERATION_3(enumerateHostNodes, kfi_host_node_list**, int*, char*)
  TINY_OPERATION_9(onlineResource, char**, int, char*, char*, char*, char*, int, char***, int*)
  TINY_OPERATION_5(deportResource, char*, char*, char*, char*, int)
  TINY_OPERATION_3(isParentPgn, char*, int*, int)
  TINY_OPERATION_3(unformat, char**, int, int)
  TINY_OPERATION_3(preDeportResource, char*, int, char*)
  TINY_OPERATION_8(refreshTree, kfi_domain*, int, int, kfi_resource*, int, int*, void*, int)
  TINY_OPERATION_5(getBackupset, kfi_domain*, int, char**, int, kfi_bkupset*)
  TINY_OPERATION_3(getAppStatus, kfi_domain*, int, void*)
  TINY_OPERATION_2(setOpStatus, kfi_domain*, int)
  TINY_OPERATION_4(setCompStatus, kfi_domain*, int, char*, int)
  TINY_OPERATION_3(setRestorepaths, kfi_domain*, char*, int)
  TINY_OPERATION_2(createSnapReplicaNode, kfi_domain*, kfi_snapreplica_ele*)
  TINY_OPERATION_4(updateSnapshotId, kfi_domain*, kfi_domain*, kfi_snapreplica_ele*, int)
  TINY_OPERATION_2(getSnapshotSetId, kfi_domain*, char**)
  TINY_OPERATION_4(preselect, kfi_splitnode*, char*, kfi_splitnode**, int)
  TINY_OPERATION_4(getSnapdiff, kfi_domain*, kfi_snapreplica_ele*, kfi_snapreplica_ele*, TrieNode_*)
  TINY_OPERATION_2(postDeport, kfi_domain*, kfi_domain*)

  // Operations over sessions and lists.
  int makeSnapshots(qmfi_pdk_4_4::CFiSessionSPtr session) override;
  TINY_OPERATION_1(prepareSnapshots, qmfi_pdk_4_4::CFiSessionSPtr)
  TINY_OPERATION_1(selectSnapshots, qmfi_pdk_4_4::CFiSessionSPtr)
  TINY_OPERATION_2(updateSnapshotHandle, qmfi_pdk_4_4::CFiSessionSPtr, void*)
  int quiesce(kfi_quiescenode** nodes, int count, char* options) override;
  int unquiesce(kfi_quiescenode** nodes, int count) override;
  int make(char* session, kfi_splitnode** nodes, int count, qmfi_objid*** objects, int* objectCount) override;
  int prepare(char* session, kfi_splitnode** nodes, int count, int flag) override;
  int select(char* session, kfi_splitnode** nodes, int count) override;
  int isReady(char* session, kfi_splitnode** nodes, int count) override;
  int verifyQSCombos(kfi_splitnode** nodes, int count) override;
  int setImportOptions(kfi_splitnode** nodes, int count, kfi_host_infn* hosts, int hostCount, void* options) override;
  int objctl(ACE_String_Base<char> name, qmfi_pdk_4_4::CFiObjctlArgs& arguments) override;
};

#endif

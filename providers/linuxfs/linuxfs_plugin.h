// The snapshot provider for the file systems that every Linux server has: xfs and ext4.
#ifndef LINUXFS_PLUGIN_H
#define LINUXFS_PLUGIN_H

#include "cfiquiescence.h"
#include "cfitracedpluginbase.h"

// The group of objects that this provider quiesces, and the parameter with the freeze time-out in seconds.
inline constexpr const char* linuxFSQuiesceGroup = "linuxfs-quiesce";
inline constexpr const char* linuxFSFreezeTimeout = "linuxfsFreezeTimeout";

// What an operation does, takes and answers stands in cfientrypoints.def. File systems are those of the kernel's mount
// table, found by numbers; they are frozen by the kernel's own request, all at once. A status other than 0 comes with a
// message. Operations may run on several threads; only one quiesce can be outstanding.
class CLinuxFSPlugin : public qmfi_pdk_4_4::CFiTracedPluginBase {
 public:
  int init() override;
  void fini() override;
  int getProviderInfo(kfi_provider_list** list) override;
  int supportsFiType(kfi_domain* domain, char* fiType) override;
  int claim(qmfi_objid* object, qmfi_objid*** groups, int* count) override;
  int checkNodeExistence(kfi_domain* node, int* exists) override;
  int isParentPgn(char* device, int* isParent, int reserved) override;
  int initNode(kfi_domain* node, kfi_domain** domains, int count, qmfi_objid* object) override;
  int initAltNode(kfi_domain* first, kfi_domain* second, kfi_domain* target, bool remote) override;
  int quiesce(kfi_quiescenode** nodes, int count, char* options) override;
  int unquiesce(kfi_quiescenode** nodes, int count) override;
  int buildAltTree(kfi_domain* domain, char* fiid, qmfi_objid** objects, qmfi_objid** snapObjects, int count,
                   qmfi_objid** altObject) override;
  int importTreeNode(kfi_domain* domain, qmfi_objid** objects, qmfi_objid** snapObjects, int count,
                     qmfi_objid** altObject) override;
  int online(kfi_domain* domain, kfi_domain* node, int mode, kfi_disposition disposition) override;
  int dispose(kfi_domain* first, kfi_domain* node, kfi_splitnode* splitNode, kfi_disposition disposition) override;
  int deportTree(kfi_domain* primary, kfi_domain* alternate, kfi_accessnode* access) override;
  int processProviderState(kfi_domain* node, kfi_blob* blob, kfi_op_providerstate operation) override;
  int enableAccess(kfi_node_subobj_list* list, long flags, int level, int options) override;
  int disableAccess(kfi_node_subobj_list* list, long flags) override;
  int cacheEnable(kfi_domain* domain, int reserved) override;
  int format(char** devices, int count, char* extra1, char* type, char* extra2, int flags, char*** paths,
             int* pathCount) override;
  int onlineResource(char** devices, int count, char* mountPoint, char* type, char* options, char* extra3, int extra4,
                     char*** paths, int* pathCount) override;

 private:
  qmfi_pdk_4_4::CFiOutstandingQuiesce m_quiesce;
  qmfi_objid* m_groups[1] = {nullptr};  // as claim hands it out
};

#endif

// The answers of operations that a provider does not implement.
#include "cfipluginbase.h"

namespace qmfi_pdk_4_4 {

int CFiPluginBase::claim(qmfi_objid*, qmfi_objid***, int*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::supportsFiType(kfi_domain*, char*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::deportTree(kfi_domain*, kfi_domain*, kfi_accessnode*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::importTreeNode(kfi_domain*, qmfi_objid**, qmfi_objid**, int, qmfi_objid**) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::initNode(kfi_domain*, kfi_domain**, int, qmfi_objid*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::initAltNode(kfi_domain*, kfi_domain*, kfi_domain*, bool) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::reAccessTmpObj(kfi_domain*, qmfi_objid*, char*, kfi_domain*, char*, kfi_intent) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::reAccessAltNode(kfi_domain*, qmfi_objid*, qmfi_objid*, char*, qmfi_objid**, qmfi_objid**, int,
                                   kfi_intent) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::dispose(kfi_domain*, kfi_domain*, kfi_splitnode*, kfi_disposition) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::online(kfi_domain*, kfi_domain*, int, kfi_disposition) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::buildAltTree(kfi_domain*, char*, qmfi_objid**, qmfi_objid**, int, qmfi_objid**) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::quiesce(kfi_quiescenode**, int, char*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::unquiesce(kfi_quiescenode**, int) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::makeSnapshots(CFiSessionSPtr) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::prepareSnapshots(CFiSessionSPtr) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::selectSnapshots(CFiSessionSPtr) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::isReady(char*, kfi_splitnode**, int) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::cacheDisable(kfi_domain*, int) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::cacheEnable(kfi_domain*, int) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::cacheFlush(kfi_domain*, int) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::interpose(kfi_domain*, qmfi_objid**, qmfi_objid***, int*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::getAttr(kfi_domain*, kfi_domain*, kfi_splitnode*, kfi_attributes*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::getProviderInfo(kfi_provider_list**) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::enumerateNodes(kfi_node_list**, int*, int, char*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::enumerateAssociations(kfi_assoc_list**) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::enumerateGroupNodes(kfi_group_node_list**) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::enumerateFims(kfi_fim_list**) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::isValidNodeAssociation(kfi_assoc*, int*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::getAssociatedNodes(kfi_node*, kfi_node_list**) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::checkNodeExistence(kfi_domain*, int*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::objctl(ACE_String_Base<char>, CFiObjctlArgs&) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::processProviderState(kfi_domain*, kfi_blob*, kfi_op_providerstate) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::enableAccess(kfi_node_subobj_list*, long, int, int) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::disableAccess(kfi_node_subobj_list*, long) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::restore(qmfi_objid**, qmfi_objid**, long, char*, char*, char***, long*, long, long*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::resync(qmfi_objid**, qmfi_objid**, long, char*, char*, long, long*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::getStatus(qmfi_objid**, qmfi_objid**, long, char*, long, long*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::prePrepare(kfi_domain*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::queryValidSecondaries(char*, qmfi_objid***, long*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::resourceStatus(qmfi_objid*, long, long*, kfi_msg_info**) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::revisitPluginNodes(kfi_pgn_node_list*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::verifyQSCombos(kfi_splitnode**, int) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::setImportOptions(kfi_splitnode**, int, kfi_host_infn*, int, void*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::startBuildAltTree(kfi_domain*, qmfi_objid**, void*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::translateResourceNames(char**, int, char**) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::enumerateEnclosures(kfi_enclosure_node_list**, int*, char*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::importResource(char**, char*, char*, char*, int, char**, char*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::format(char**, int, char*, char*, char*, int, char***, int*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::enumerateHostNodes(kfi_host_node_list**, int*, char*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::onlineResource(char**, int, char*, char*, char*, char*, int, char***, int*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::deportResource(char*, char*, char*, char*, int) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::isParentPgn(char*, int*, int) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::unformat(char**, int, int) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::preDeportResource(char*, int, char*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::refreshTree(kfi_domain*, int, int, kfi_resource*, int, int*, void*, int) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::getBackupset(kfi_domain*, int, char**, int, kfi_bkupset*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::getAppStatus(kfi_domain*, int, void*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::setOpStatus(kfi_domain*, int) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::setCompStatus(kfi_domain*, int, char*, int) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::setRestorepaths(kfi_domain*, char*, int) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::createSnapReplicaNode(kfi_domain*, kfi_snapreplica_ele*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::updateSnapshotId(kfi_domain*, kfi_domain*, kfi_snapreplica_ele*, int) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::getSnapshotSetId(kfi_domain*, char**) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::preselect(kfi_splitnode*, char*, kfi_splitnode**, int) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::updateSnapshotHandle(CFiSessionSPtr, void*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::getSnapdiff(kfi_domain*, kfi_snapreplica_ele*, kfi_snapreplica_ele*, TrieNode_*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::postDeport(kfi_domain*, kfi_domain*) {
  return CFI_STATUS_NOT_SUPPORTED;
}

int CFiPluginBase::make(char*, kfi_splitnode**, int, qmfi_objid***, int*) {
  return CFI_STATUS_USE_SESSION;
}

int CFiPluginBase::prepare(char*, kfi_splitnode**, int, int) {
  return CFI_STATUS_USE_SESSION;
}

int CFiPluginBase::select(char*, kfi_splitnode**, int) {
  return CFI_STATUS_USE_SESSION;
}

}  // namespace qmfi_pdk_4_4

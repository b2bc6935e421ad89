// Node initialisation: the framework's record is filled, and device and mount options are put into private data.
#include <cstdint>

#include "cfidomain.h"
#include "cfistringtool.h"
#include "qmfs_log_texts.h"
#include "qmfs_node_access.h"
#include "qmfs_plugin.h"

using namespace qmfi_pdk_4_4;

int CQmFSPlugin::attachSubObject(CQmFSPrivateData& data, const char* device) {
  const ACE_String_Base<char> name = CFiStringTool::str2tstr(device);
  qmfi_objid* const identifier =
      qmfi_get_objid(name.c_str(), static_cast<std::uint32_t>(name.length() + 1), KFI_OBJID_OBJECT);
  if (identifier == nullptr) return CFI_STATUS_FAILED;
  data.addSubObject(identifier);
  return 0;
}

int CQmFSPlugin::recordMount(kfi_domain* node, CQmFSPrivateData& data, bool alternate) {
  const char* const name = objectName(node);
  const char* const role = alternate ? "target" : "node";
  trace(CFI_TRACE_DETAIL, qmfs_log::nodeCallingGetsubobj, role, name);
  const MountTableAnswer mounted = deviceOfMount(name);
  if (mounted.result < 0) {
    trace(CFI_TRACE_ERROR, qmfs_log::lookupFailed);
    return CFI_STATUS_FAILED;
  }
  if (mounted.found == nullptr) {
    trace(CFI_TRACE_ERROR, qmfs_log::nodeWithoutDevice, role, name);
    pushMessage("MSG_ERROR_SUBOBJ_NOT_FOUND", {messageText(name)}, KFI_SEVERITY_ERROR, CFiSourceLocation::here());
    return CFI_STATUS_FAILED;
  }
  // Required: the same line has another level for an alternate node, and only a primary one tells of the addition.
  trace(alternate ? CFI_TRACE_PROGRESS : CFI_TRACE_DETAIL, qmfs_log::nodeDevice, name, mounted.found.get());
  if (data.getSubObjectListLength() == 0) {
    if (!alternate) trace(CFI_TRACE_DETAIL, qmfs_log::deviceAdded);
    const int status = attachSubObject(data, mounted.found.get());
    if (status != 0) return status;
  }
  if (mounted.options != nullptr) {
    trace(CFI_TRACE_PROGRESS, qmfs_log::nodeOptions, name, mounted.options.get());
    data.setMntOpts(mounted.options.get());
  }
  return 0;
}

int CQmFSPlugin::initNode(kfi_domain* node, kfi_domain** domains, int count, qmfi_objid* /*object*/) {
  const auto scope = traceScope("initNode");
  return guarded([&]() -> int {
    const char* const name = objectName(node);
    const CFiPrivateDataFactorySPtr factory = providerFactory();
    if (name == nullptr || count < 0 || (count > 0 && domains == nullptr) || !factory) {
      return CFI_STATUS_INVALID_ARGUMENT;
    }
    trace(CFI_TRACE_PROGRESS, qmfs_log::node, name);
    fillNodeRecord(*node);
    if (!attachQuiesceNode(*node, QMFS_TYPE)) {
      throw CFiError(CFI_STATUS_NO_MEMORY, "Bad allocation for quiesce node", "qmfs_plugin_node.cpp", "initNode",
                     __LINE__);
    }
    const CFiPrivateDataSPtr data = factory->allocate(node, false);
    if (count == 0) return 0;
    node->fid_qnode->kqn_config = domains[0];
    return recordMount(node, qmfsDataOf(data), false);
  });
}

int CQmFSPlugin::initAltNode(kfi_domain* /*first*/, kfi_domain* /*second*/, kfi_domain* target, bool /*remote*/) {
  const auto scope = traceScope("initAltNode");
  return guarded([&]() -> int {
    if (target == nullptr) {
      throw CFiError(CFI_STATUS_INVALID_ARGUMENT, "initAltNode(), target node is invalid.", "qmfs_plugin_node.cpp",
                     "initAltNode", __LINE__);
    }
    const CFiPrivateDataFactorySPtr factory = providerFactory();
    if (objectName(target) == nullptr || !factory) return CFI_STATUS_INVALID_ARGUMENT;
    fillNodeRecord(*target);
    const CFiPrivateDataSPtr data = factory->allocate(target, true);
    return recordMount(target, qmfsDataOf(data), true);
  });
}

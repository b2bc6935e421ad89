// Node initialisation: the framework's record is filled, and device and mount options are put into private data.
#include "cfidomain.h"
#include "cfistringtool.h"
#include "qmfs_node_access.h"
#include "qmfs_plugin.h"

#include <cstdint>
#include <cstring>

using namespace qmfi_pdk_4_4;

namespace {

void fillNodeRecord(kfi_domain* node) {
  node->fid_name = node->fid_objid->vid_name;
  node->fid_qnode = nullptr;
  node->fid_qnode_next = nullptr;
  node->fid_attr = KFI_ATTR_FILE_SYSTEM_NODE;
}

}  // namespace

void CQmFSPlugin::attachQuiesceNode(kfi_domain* node) {
  MallocString type(::strdup(QMFS_TYPE));
  auto* const quiesceNode = static_cast<kfi_quiescenode*>(qmfi_alloc_buf(sizeof(kfi_quiescenode)));
  if (quiesceNode == nullptr || type == nullptr) {
    qmfi_free_buf(quiesceNode, sizeof(kfi_quiescenode));
    throw CFiError(CFI_STATUS_NO_MEMORY, "Bad allocation for quiesce node", "qmfs_plugin_node.cpp", "initNode",
                   __LINE__);
  }
  *quiesceNode = kfi_quiescenode{type.release(), node, nullptr};
  node->fid_qnode = quiesceNode;
}

int CQmFSPlugin::attachSubObject(CQmFSPrivateData& data, const char* device) {
  const ACE_String_Base<char> name = CFiStringTool::str2tstr(device);
  qmfi_objid* const identifier =
      qmfi_get_objid(name.c_str(), static_cast<std::uint32_t>(name.length() + 1), KFI_OBJID_OBJECT);
  if (identifier == nullptr) {
    return CFI_STATUS_FAILED;
  }
  data.addSubObject(identifier);
  return 0;
}

int CQmFSPlugin::recordMount(kfi_domain* node, CQmFSPrivateData& data, bool alternate) {
  const char* const name = objectName(node);
  const char* const role = alternate ? "target" : "node";
  trace(CFI_TRACE_DETAIL, "Calling qmfs_getsubobj for %s : %s", role, name);
  const MountTableAnswer mounted = deviceOfMount(name);
  if (mounted.result < 0) {
    trace(CFI_TRACE_ERROR, "Mount point entry lookup failed");
    return CFI_STATUS_FAILED;
  }
  if (mounted.found == nullptr) {
    trace(CFI_TRACE_ERROR, "subobj not found for %s : %s", role, name);
    pushMessage("MSG_ERROR_SUBOBJ_NOT_FOUND", {messageText(name)}, KFI_SEVERITY_ERROR, CFiSourceLocation::here());
    return CFI_STATUS_FAILED;
  }
  // Required: the same line has another level for an alternate node, and only a primary one tells of the addition.
  trace(alternate ? CFI_TRACE_PROGRESS : CFI_TRACE_DETAIL, "Node: %s :: subobj: %s ", name, mounted.found.get());
  if (data.getSubObjectListLength() == 0) {
    if (!alternate) {
      trace(CFI_TRACE_DETAIL, "Added subobj to the privated data");
    }
    const int status = attachSubObject(data, mounted.found.get());
    if (status != 0) {
      return status;
    }
  }
  if (mounted.options != nullptr) {
    trace(CFI_TRACE_PROGRESS, "Node: %s :: mnt_opts: %s", name, mounted.options.get());
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
    trace(CFI_TRACE_PROGRESS, "Node: %s", name);
    fillNodeRecord(node);
    attachQuiesceNode(node);
    const CFiPrivateDataSPtr data = factory->allocate(node, false);
    if (count == 0) {
      return 0;
    }
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
    if (objectName(target) == nullptr || !factory) {
      return CFI_STATUS_INVALID_ARGUMENT;
    }
    fillNodeRecord(target);
    const CFiPrivateDataSPtr data = factory->allocate(target, true);
    return recordMount(target, qmfsDataOf(data), true);
  });
}

// The provider's identity, what it claims, its nodes, and their snapshots mounted.
#include "linuxfs_plugin.h"

#include <chrono>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cfidomain.h"
#include "cfiformatoptionlist.h"
#include "cfimounting.h"
#include "cfinode.h"
#include "cfiproviderinfo.h"
#include "linuxfs_mounting.h"
#include "linuxfs_private_data.h"

using namespace qmfi_pdk_4_4;

namespace {

CFiMount requireMount(const char* path) {
  const std::optional<CFiMount> mount = linuxFSMountOn(path);
  if (!mount) throw CFiFailure(CFI_STATUS_FAILED, "MSG_LINUXFS_NOT_MOUNTED", {path});
  return *mount;
}

// Where a node's snapshot is to be mounted.
std::string alternateOf(const kfi_domain& node) {
  const std::string name = given(nodeName(&node), "name of the node");
  const char* const asked = askedAlternate(node);
  return asked != nullptr ? asked : generatedAlternate(name);
}

// Mounts a node's snapshot, unless it is mounted there already, and hands out where.
int showSnapshot(kfi_domain& node, qmfi_objid** snapObjects, const std::string& alternate, qmfi_objid** altObject) {
  CLinuxFSPrivateData& data = linuxFSDataOf(node);
  const std::string device = given(objectName(*given(snapObjects, "snapshot objects")), "snapshot device");
  given(altObject, "place for the alternate object");
  const std::string type = data.type.empty() ? linuxFSTypeOn(device) : data.type;
  if (!isMountedThere(device, alternate)) mountLinuxFS(type, device, alternate, "ro,nosuid,nodev");
  *altObject = objectIdentifier(alternate, KFI_OBJID_PATH);
  if (*altObject == nullptr) throw std::bad_alloc();
  data.alternate = alternate;
  return CFI_STATUS_SUCCESS;
}

// A file system that was not in use.
void checkAndMount(const CLinuxFSPrivateData& data, const std::string& device, const std::string& mountPoint) {
  const std::string type = data.type.empty() ? linuxFSTypeOn(device) : data.type;
  checkLinuxFS(type, device);
  mountLinuxFS(type, device, mountPoint, data.options.empty() ? "ro" : data.options);
}

// False where none of the provider's file systems is mounted.
bool unmountLinuxFS(const std::string& path, CFiUnmount how) {
  const std::optional<CFiMount> mount = linuxFSMountOn(path);
  if (mount) unmountFileSystem(path, mount->device, how);
  return mount.has_value();
}

// The type that a caller names, or else the provider's first.
std::string typeOf(const char* type) {
  if (type == nullptr) return "xfs";
  if (!isLinuxFSType(type)) throw CFiFailure(CFI_STATUS_INVALID_ARGUMENT, "MSG_LINUXFS_TYPE", {type});
  return type;
}

void requireList(const kfi_node_subobj_list* list) {
  if (list != nullptr && list->kns_node != nullptr) return;
  throw CFiFailure(CFI_STATUS_FAILED, "MSG_ERROR_INVALID_ARGUMENT", {"list of nodes"});
}

}  // namespace

int CLinuxFSPlugin::init() {
  return operation("init", [&] {
    registerProviderFactories<CLinuxFSPrivateData>();
    CFiConfigParamInfo parameter;
    parameter.name = linuxFSFreezeTimeout;
    globalConfigInfoList(0, true).addParamInfo(parameter);
    m_groups[0] = objectIdentifier(linuxFSQuiesceGroup, KFI_OBJID_OBJECT);
    if (m_groups[0] == nullptr) throw std::bad_alloc();
    return CFI_STATUS_SUCCESS;
  });
}

int CLinuxFSPlugin::getProviderInfo(kfi_provider_list** list) {
  return operation("getProviderInfo", [&] {
    CFiProviderInfo info{.version = {1, 0, 0, 0}, .attributes = {0, 0}, .fiTypes = {"xfs", "ext4"}};
    info.name = cfi_pgn_name_tstr;
    *given(list, "list") = CFiProviderInfoListFactory::allocateListElement(info);
    return CFI_STATUS_SUCCESS;
  });
}

int CLinuxFSPlugin::supportsFiType(kfi_domain* domain, char* fiType) {
  const bool isSupported = fiType != nullptr && isLinuxFSType(fiType);
  if (domain != nullptr && domain->fid_supported != nullptr) *domain->fid_supported = isSupported ? 1 : 0;
  return CFI_STATUS_SUCCESS;
}

int CLinuxFSPlugin::claim(qmfi_objid* object, qmfi_objid*** groups, int* count) {
  return operation("claim", [&]() -> int {
    if (!linuxFSMountOn(given(objectName(object), "object"))) return 0;
    given(count, "place for the number of groups");
    *given(groups, "place for the groups") = m_groups;
    *count = 1;
    return KFI_CLAIMED;
  });
}

int CLinuxFSPlugin::checkNodeExistence(kfi_domain* node, int* exists) {
  return operation("checkNodeExistence", [&] {
    *given(exists, "place for the answer") = linuxFSMountOn(given(objectName(node), "node")) ? 1 : 0;
    return CFI_STATUS_SUCCESS;
  });
}

int CLinuxFSPlugin::isParentPgn(char* device, int* isParent, int /*reserved*/) {
  return operation("isParentPgn", [&] {
    const bool isDevice = blockDeviceNumber(given(device, "device")).has_value();
    *given(isParent, "place for the answer") = isDevice && !linuxFSTypeOn(device).empty() ? 1 : 0;
    return CFI_STATUS_SUCCESS;
  });
}

int CLinuxFSPlugin::initNode(kfi_domain* node, kfi_domain** domains, int count, qmfi_objid* /*object*/) {
  return operation("initNode", [&] {
    const char* const name = given(objectName(node), "node");
    kfi_domain* const config = count != 0 ? *given(count > 0 ? domains : nullptr, "configuration domains") : nullptr;
    fillNodeRecord(*node);
    CLinuxFSPrivateData& data = linuxFSDataOf(*node);
    if (config != nullptr) data.record(requireMount(name));
    if (!attachQuiesceNode(*node, data.type.c_str())) throw std::bad_alloc();
    node->fid_qnode->kqn_config = config;
    return CFI_STATUS_SUCCESS;
  });
}

int CLinuxFSPlugin::initAltNode(kfi_domain* /*first*/, kfi_domain* /*second*/, kfi_domain* target, bool /*remote*/) {
  return operation("initAltNode", [&] {
    if (target == nullptr) throw CFiFailure(CFI_STATUS_FAILED, "MSG_ERROR_INVALID_ARGUMENT", {"target"});
    const char* const name = given(objectName(target), "name of the target");
    fillNodeRecord(*target);
    linuxFSDataOf(*target, true).record(requireMount(name));
    return CFI_STATUS_SUCCESS;
  });
}

int CLinuxFSPlugin::quiesce(kfi_quiescenode** nodes, int count, char* /*options*/) {
  return operation("quiesce", [&] {
    constexpr std::chrono::seconds otherwise(10);
    given(count > 0 ? nodes : nullptr, "list of nodes");
    kfi_domain* const config = given(nodes[0], "first node")->kqn_config;
    const std::chrono::seconds timeout = freezeTimeoutOf(config, linuxFSFreezeTimeout, otherwise);
    std::vector<CFiFrozenMember> members;
    members.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
      kfi_domain* const node = given(nodes[i], "node of the list")->kqn_node;
      const char* const name = given(objectName(node), "name of a node");
      members.push_back(openToFreeze(name, linuxFSDataOf(*node).device));
    }
    return m_quiesce.quiesce(std::move(members), timeout);
  });
}

int CLinuxFSPlugin::unquiesce(kfi_quiescenode** /*nodes*/, int /*count*/) {
  return operation("unquiesce", [&] {
    m_quiesce.thaw();
    return CFI_STATUS_SUCCESS;
  });
}

void CLinuxFSPlugin::fini() {
  unquiesce(nullptr, 0);
}

int CLinuxFSPlugin::buildAltTree(kfi_domain* domain, char* fiid, qmfi_objid** /*objects*/, qmfi_objid** snapObjects,
                                 int /*count*/, qmfi_objid** altObject) {
  return operation("buildAltTree", [&] {
    const bool isOwn = domain != nullptr && fiid != nullptr && domain->fid_provider != nullptr &&
                       cfi_pgn_name_str == domain->fid_provider;
    if (!isOwn) throw CFiFailure(CFI_STATUS_FAILED, "MSG_ERROR_INVALID_ARGUMENT", {"node, or its session"});
    return showSnapshot(*domain, snapObjects, alternateOf(*domain), altObject);
  });
}

int CLinuxFSPlugin::importTreeNode(kfi_domain* domain, qmfi_objid** /*objects*/, qmfi_objid** snapObjects,
                                   int /*count*/, qmfi_objid** altObject) {
  return operation("importTreeNode", [&] {
    const std::string remembered = linuxFSDataOf(*given(domain, "node")).alternate;
    return showSnapshot(*domain, snapObjects, remembered.empty() ? alternateOf(*domain) : remembered, altObject);
  });
}

int CLinuxFSPlugin::online(kfi_domain* /*domain*/, kfi_domain* node, int mode, kfi_disposition disposition) {
  return operation("online", [&] {
    if (mode != KFI_ONLINE_BRING && mode != KFI_ONLINE_TAKE_OFFLINE) return CFI_STATUS_SUCCESS;
    const std::string name = given(objectName(node), "node");
    if (mode == KFI_ONLINE_TAKE_OFFLINE) {
      unmountLinuxFS(name, CFiUnmount::byForce);
      if (disposition == KFI_DISPOSITION_REMOVE) removeMountPoint(name);
      return CFI_STATUS_SUCCESS;
    }
    CLinuxFSPrivateData& data = linuxFSDataOf(*node);
    const std::string device = data.deviceName();
    if (!isMountedThere(device, name)) mountLinuxFS(data.type, device, name, data.options);
    return CFI_STATUS_SUCCESS;
  });
}

int CLinuxFSPlugin::dispose(kfi_domain* /*first*/, kfi_domain* node, kfi_splitnode* /*splitNode*/,
                            kfi_disposition disposition) {
  if (disposition != KFI_DISPOSITION_REMOVE) return CFI_STATUS_SUCCESS;
  return online(nullptr, node, KFI_ONLINE_TAKE_OFFLINE, disposition);
}

int CLinuxFSPlugin::deportTree(kfi_domain* /*primary*/, kfi_domain* alternate, kfi_accessnode* access) {
  return operation("deportTree", [&] {
    if (alternate == nullptr || (access != nullptr && access->kan_access == 0)) return CFI_STATUS_SUCCESS;
    const std::string name = given(objectName(alternate), "name of the alternate node");
    if (unmountLinuxFS(name, CFiUnmount::byForce)) removeMountPoint(name);
    return CFI_STATUS_SUCCESS;
  });
}

int CLinuxFSPlugin::processProviderState(kfi_domain* node, kfi_blob* blob, kfi_op_providerstate operationKind) {
  return operation("processProviderState", [&]() -> int {
    if (std::strcmp(given(objectName(node), "node"), linuxFSQuiesceGroup) == 0) return CFI_STATUS_SUCCESS;
    CLinuxFSPrivateData& data = linuxFSDataOf(*node);
    if (operationKind == KFI_PROVIDERSTATE_FETCH) {
      *given(blob, "blob") = {};
      return data.getNodeState(blob);
    }
    if (operationKind != KFI_PROVIDERSTATE_STORE) return CFI_STATUS_SUCCESS;
    if (blob == nullptr || blob->kb_buffer == nullptr) {
      throw CFiFailure(CFI_STATUS_FAILED, "MSG_LINUXFS_STATE", {data.getObjName()});
    }
    return data.setNodeState(blob);
  });
}

int CLinuxFSPlugin::disableAccess(kfi_node_subobj_list* list, long flags) {
  return operation("disableAccess", [&] {
    requireList(list);
    for (; list != nullptr; list = list->kns_next) {
      kfi_domain& node = *given(list->kns_node, "node of the list");
      if ((node.fid_attr & KFI_ATTR_ACCESS_DISABLED) != 0) continue;
      const std::string name = given(objectName(&node), "name of the node");
      const bool byForce = (flags & KFI_ACCESS_BY_FORCE) != 0;
      unmountLinuxFS(name, byForce ? CFiUnmount::byForce : CFiUnmount::unused);
      node.fid_attr |= KFI_ATTR_ACCESS_DISABLED;
    }
    return CFI_STATUS_SUCCESS;
  });
}

int CLinuxFSPlugin::enableAccess(kfi_node_subobj_list* list, long /*flags*/, int /*level*/, int options) {
  return operation("enableAccess", [&] {
    if ((options & KFI_ACCESS_ENABLE_NOTHING) != 0) return CFI_STATUS_SUCCESS;
    requireList(list);
    for (; list != nullptr; list = list->kns_next) {
      kfi_domain& node = *given(list->kns_node, "node of the list");
      if ((node.fid_attr & KFI_ATTR_ACCESS_DISABLED) == 0) continue;
      const std::string device = given(objectName(given(list->subobjs, "devices of the node")->kso_objid), "device");
      const std::string name = given(objectName(&node), "name of the node");
      if (!isMountedThere(device, name)) checkAndMount(linuxFSDataOf(node), device, name);
      node.fid_attr &= ~static_cast<std::uint32_t>(KFI_ATTR_ACCESS_DISABLED);
    }
    return CFI_STATUS_SUCCESS;
  });
}

// It has no status of its own to answer with.
int CLinuxFSPlugin::cacheEnable(kfi_domain* /*domain*/, int /*reserved*/) {
  return operation("cacheEnable", []() -> int { throw CFiFailure(CFI_STATUS_NOT_SUPPORTED, "MSG_LINUXFS_NO_CACHE"); });
}

int CLinuxFSPlugin::format(char** devices, int /*count*/, char* /*extra1*/, char* type, char* /*extra2*/, int flags,
                           char*** /*paths*/, int* /*pathCount*/) {
  return operation("format", [&] {
    const std::string madeType = typeOf(type);
    if ((flags & KFI_FORMAT_DEVICE) == 0) return CFI_STATUS_SUCCESS;
    const std::string device = given(*given(devices, "devices"), "device");
    formatLinuxFS(madeType, device);
    return CFI_STATUS_SUCCESS;
  });
}

int CLinuxFSPlugin::onlineResource(char** devices, int /*count*/, char* mountPoint, char* type, char* options,
                                   char* /*extra3*/, int /*extra4*/, char*** paths, int* pathCount) {
  return operation("onlineResource", [&] {
    given(pathCount, "place for the number of paths");
    *given(paths, "place for the paths") = nullptr;
    *pathCount = 0;
    const std::string device = given(*given(devices, "devices"), "device");
    const std::string target = mountPoint != nullptr ? mountPoint : "/" + device.substr(device.rfind('/') + 1);
    if (!isMountedThere(device, target)) {
      const std::string found = type != nullptr ? typeOf(type) : linuxFSTypeOn(device);
      const std::string mountOptions = CFiFormatOptionList::parse(options != nullptr ? options : "")["mountOptions"];
      try {
        mountLinuxFS(found, device, target, mountOptions);
      } catch (const CFiFailure&) {
        checkLinuxFS(found, device);
        mountLinuxFS(found, device, target, mountOptions);
      }
    }
    if (!handOutPath(target, paths, pathCount)) throw std::bad_alloc();
    return CFI_STATUS_SUCCESS;
  });
}

// The operations of the provider.
#include "sample_plugin.h"

#include <chrono>
#include <cstdint>
#include <cstring>
#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "cfidescriptor.h"
#include "cfidomain.h"
#include "cfimounting.h"
#include "cfinode.h"
#include "cfiproviderinfo.h"
#include "sample_private_data.h"

using namespace qmfi_pdk_4_4;

namespace {

// The file system of the provider's type that is mounted as a whole on a path.
std::optional<CFiMount> sampleMountOn(const std::string& path) {
  std::optional<CFiMount> mount = wholeMountOn(path);
  return mount && mount->type == sampleType ? mount : std::nullopt;
}

CFiMount requireMount(const std::string& path) {
  const std::optional<CFiMount> mount = sampleMountOn(path);
  if (!mount) throw CFiFailure(CFI_STATUS_FAILED, "MSG_SAMPLE_NOT_MOUNTED", {path});
  return *mount;
}

// Whether a device holds what the type begins with: for ext4 a number behind its first kilobyte.
bool holdsSample(const std::string& device) {
  constexpr std::uint16_t magic = 0xEF53;
  constexpr off_t place = 0x438;
  std::uint16_t found = 0;
  const CFiDescriptor file(::open(device.c_str(), O_RDONLY | O_CLOEXEC));
  return file.isOpen() && ::pread(file.get(), &found, sizeof found, place) == sizeof found && found == magic;
}

// Mounts a copy where it is to be, unless it is there already. Its log is replayed, so the device must be writable.
void mountCopy(const std::string& device, const std::string& mountPoint) {
  if (!isMountedThere(device, mountPoint)) mountFileSystem(sampleType, device, mountPoint, "ro,nosuid,nodev");
}

void unmountCopy(const std::string& path) {
  const std::optional<CFiMount> mount = sampleMountOn(path);
  if (mount) unmountFileSystem(path, mount->device, CFiUnmount::byForce);
}

}  // namespace

int CSamplePlugin::init() {
  return operation("init", [&] {
    registerProviderFactories<CSamplePrivateData>();
    CFiConfigParamInfo parameter;
    parameter.name = sampleFreezeTimeout;
    globalConfigInfoList(0, true).addParamInfo(parameter);
    m_groups[0] = objectIdentifier(sampleQuiesceGroup, KFI_OBJID_OBJECT);
    if (m_groups[0] == nullptr) throw std::bad_alloc();
    return CFI_STATUS_SUCCESS;
  });
}

void CSamplePlugin::fini() {
  unquiesce(nullptr, 0);
}

int CSamplePlugin::getProviderInfo(kfi_provider_list** list) {
  return operation("getProviderInfo", [&] {
    CFiProviderInfo info{.version = {1, 0, 0, 0}, .attributes = {0, 0}, .fiTypes = {sampleType}};
    info.name = cfi_pgn_name_tstr;
    *given(list, "list") = CFiProviderInfoListFactory::allocateListElement(info);
    return CFI_STATUS_SUCCESS;
  });
}

int CSamplePlugin::supportsFiType(kfi_domain* domain, char* fiType) {
  const bool isSupported = fiType != nullptr && std::strcmp(fiType, sampleType) == 0;
  if (domain != nullptr && domain->fid_supported != nullptr) *domain->fid_supported = isSupported ? 1 : 0;
  return CFI_STATUS_SUCCESS;
}

int CSamplePlugin::claim(qmfi_objid* object, qmfi_objid*** groups, int* count) {
  return operation("claim", [&]() -> int {
    if (!sampleMountOn(given(objectName(object), "object"))) return 0;
    given(count, "place for the number of groups");
    *given(groups, "place for the groups") = m_groups;
    *count = 1;
    return KFI_CLAIMED;
  });
}

int CSamplePlugin::checkNodeExistence(kfi_domain* node, int* exists) {
  return operation("checkNodeExistence", [&] {
    *given(exists, "place for the answer") = sampleMountOn(given(objectName(node), "node")) ? 1 : 0;
    return CFI_STATUS_SUCCESS;
  });
}

int CSamplePlugin::isParentPgn(char* device, int* isParent, int /*reserved*/) {
  return operation("isParentPgn", [&] {
    const bool isDevice = blockDeviceNumber(given(device, "device")).has_value();
    *given(isParent, "place for the answer") = isDevice && holdsSample(device) ? 1 : 0;
    return CFI_STATUS_SUCCESS;
  });
}

// A group of file systems is a node, too: then there are no domains, and nothing is looked up.
int CSamplePlugin::initNode(kfi_domain* node, kfi_domain** domains, int count, qmfi_objid* /*object*/) {
  return operation("initNode", [&] {
    const char* const name = given(objectName(node), "node");
    kfi_domain* const config = count != 0 ? *given(count > 0 ? domains : nullptr, "configuration domains") : nullptr;
    fillNodeRecord(*node);
    CSamplePrivateData& data = sampleDataOf(*node);
    if (config != nullptr) data.record(requireMount(name));
    if (!attachQuiesceNode(*node, sampleType)) throw std::bad_alloc();
    node->fid_qnode->kqn_config = config;
    return CFI_STATUS_SUCCESS;
  });
}

int CSamplePlugin::initAltNode(kfi_domain* /*first*/, kfi_domain* /*second*/, kfi_domain* target, bool /*remote*/) {
  return operation("initAltNode", [&] {
    const char* const name = given(objectName(target), "name of the target");
    fillNodeRecord(*target);
    sampleDataOf(*target, true).record(requireMount(name));
    return CFI_STATUS_SUCCESS;
  });
}

// The kit freezes all at once, with a watchdog over them. Another way of freezing goes here.
int CSamplePlugin::quiesce(kfi_quiescenode** nodes, int count, char* /*options*/) {
  return operation("quiesce", [&] {
    constexpr std::chrono::seconds otherwise(10);
    given(count > 0 ? nodes : nullptr, "list of nodes");
    kfi_domain* const config = given(nodes[0], "first node")->kqn_config;
    const std::chrono::seconds timeout = freezeTimeoutOf(config, sampleFreezeTimeout, otherwise);
    std::vector<CFiFrozenMember> members;
    members.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
      kfi_domain* const node = given(nodes[i], "node of the list")->kqn_node;
      members.push_back(openToFreeze(given(objectName(node), "name of a node"), sampleDataOf(*node).device));
    }
    return m_quiesce.quiesce(std::move(members), timeout);
  });
}

int CSamplePlugin::unquiesce(kfi_quiescenode** /*nodes*/, int /*count*/) {
  return operation("unquiesce", [&] {
    m_quiesce.thaw();
    return CFI_STATUS_SUCCESS;
  });
}

int CSamplePlugin::buildAltTree(kfi_domain* domain, char* fiid, qmfi_objid** /*objects*/, qmfi_objid** snapObjects,
                                int /*count*/, qmfi_objid** altObject) {
  return operation("buildAltTree", [&] {
    given(fiid, "session");
    const std::string name = given(nodeName(given(domain, "node")), "name of the node");
    const std::string device = given(objectName(*given(snapObjects, "snapshot objects")), "snapshot device");
    given(altObject, "place for the alternate object");
    const char* const asked = askedAlternate(*domain);
    const std::string alternate = asked != nullptr ? asked : generatedAlternate(name);
    mountCopy(device, alternate);
    *altObject = objectIdentifier(alternate, KFI_OBJID_PATH);
    if (*altObject == nullptr) throw std::bad_alloc();
    return CFI_STATUS_SUCCESS;
  });
}

int CSamplePlugin::online(kfi_domain* /*domain*/, kfi_domain* node, int mode, kfi_disposition disposition) {
  return operation("online", [&] {
    if (mode != KFI_ONLINE_BRING && mode != KFI_ONLINE_TAKE_OFFLINE) return CFI_STATUS_SUCCESS;
    const std::string name = given(objectName(node), "node");
    if (mode == KFI_ONLINE_BRING) {
      mountCopy(sampleDataOf(*node).deviceName(), name);
      return CFI_STATUS_SUCCESS;
    }
    unmountCopy(name);
    if (disposition == KFI_DISPOSITION_REMOVE) removeMountPoint(name);
    return CFI_STATUS_SUCCESS;
  });
}

int CSamplePlugin::dispose(kfi_domain* /*first*/, kfi_domain* node, kfi_splitnode* /*splitNode*/,
                           kfi_disposition disposition) {
  if (disposition != KFI_DISPOSITION_REMOVE) return CFI_STATUS_SUCCESS;
  return online(nullptr, node, KFI_ONLINE_TAKE_OFFLINE, disposition);
}

int CSamplePlugin::deportTree(kfi_domain* /*primary*/, kfi_domain* alternate, kfi_accessnode* access) {
  if (alternate == nullptr || (access != nullptr && access->kan_access == 0)) return CFI_STATUS_SUCCESS;
  return online(nullptr, alternate, KFI_ONLINE_TAKE_OFFLINE, KFI_DISPOSITION_REMOVE);
}

int CSamplePlugin::processProviderState(kfi_domain* node, kfi_blob* blob, kfi_op_providerstate operationKind) {
  return operation("processProviderState", [&]() -> int {
    if (std::strcmp(given(objectName(node), "node"), sampleQuiesceGroup) == 0) return CFI_STATUS_SUCCESS;
    CSamplePrivateData& data = sampleDataOf(*node);
    if (operationKind == KFI_PROVIDERSTATE_FETCH) {
      *given(blob, "blob") = {};
      return data.getNodeState(blob);
    }
    if (operationKind != KFI_PROVIDERSTATE_STORE) return CFI_STATUS_SUCCESS;
    if (given(blob, "blob")->kb_buffer == nullptr) {
      throw CFiFailure(CFI_STATUS_FAILED, "MSG_SAMPLE_STATE", {data.getObjName()});
    }
    return data.setNodeState(blob);
  });
}

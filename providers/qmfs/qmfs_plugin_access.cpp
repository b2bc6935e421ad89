// Access to nodes disabled and enabled by unmounting and mounting, and the logging mode switched by a remount.
#include <cstring>

#include "cfidomain.h"
#include "qmfs_command_lines.h"
#include "qmfs_log_texts.h"
#include "qmfs_node_access.h"
#include "qmfs_plugin.h"

using namespace qmfi_pdk_4_4;

namespace {

void requireList(const kfi_node_subobj_list* list, const char* text, const char* function, int line) {
  if (list == nullptr || list->kns_node == nullptr) {
    throw CFiError(CFI_STATUS_INVALID_ARGUMENT, text, "qmfs_plugin_access.cpp", function, line);
  }
}

// Name of the device that holds the element's file system; null when there is none. It may be empty.
const char* deviceOf(const kfi_node_subobj_list& element) {
  return element.subobjs != nullptr ? objectName(element.subobjs->kso_objid) : nullptr;
}

bool isDisabled(const kfi_domain& node) {
  return (node.fid_attr & KFI_ATTR_ACCESS_DISABLED) != 0;
}

}  // namespace

int CQmFSPlugin::disableAccess(kfi_node_subobj_list* list, long flags) {
  const auto scope = traceScope("disableAccess");
  return guarded([&]() -> int {
    requireList(list, "disableAccess(): Invalid subobj list", "disableAccess", __LINE__);
    for (const kfi_node_subobj_list* element = list; element != nullptr; element = element->kns_next) {
      if (element->kns_node == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
      const int status = disableNode(*element->kns_node, (flags & KFI_ACCESS_BY_FORCE) != 0);
      if (status != 0) return status;
    }
    return 0;
  });
}

int CQmFSPlugin::disableNode(kfi_domain& node, bool force) {
  if (isDisabled(node)) return 0;
  if (objectName(&node) == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
  char* const name = node.fid_objid->vid_name;
  const int status = QmFSUmount(name, force);
  if (status != 0) {
    trace(CFI_TRACE_ERROR, qmfs_log::umountFailed, name);
    return status;
  }
  node.fid_attr |= KFI_ATTR_ACCESS_DISABLED;
  return 0;
}

int CQmFSPlugin::enableAccess(kfi_node_subobj_list* list, long /*flags*/, int /*level*/, int options) {
  const auto scope = traceScope("enableAccess");
  return guarded([&]() -> int {
    if ((options & KFI_ACCESS_ENABLE_NOTHING) != 0) return 0;
    requireList(list, "enableAccess(): Invalid subobj list", "enableAccess", __LINE__);
    for (const kfi_node_subobj_list* element = list; element != nullptr; element = element->kns_next) {
      kfi_domain* const node = element->kns_node;
      if (node == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
      if (isDisabled(*node)) {
        const NodeAccess access = enableNode(*element);
        if (!access.mounted) return access.status;
      }
      node->fid_attr &= ~static_cast<std::uint32_t>(KFI_ATTR_ACCESS_DISABLED);
    }
    return 0;
  });
}

CQmFSPlugin::NodeAccess CQmFSPlugin::enableNode(const kfi_node_subobj_list& element) {
  const char* const device = deviceOf(element);
  if (device == nullptr) {
    trace(CFI_TRACE_ERROR, qmfs_log::accessWithoutDevices);
    return {false, CFI_STATUS_INVALID_ARGUMENT};
  }
  trace(CFI_TRACE_DETAIL, qmfs_log::accessCallingGetmnt, device);
  const MountTableAnswer mounted = mountOfDevice(device);
  if (mounted.result < 0) {
    trace(CFI_TRACE_ERROR, qmfs_log::lookupFailed);
    return {false, CFI_STATUS_FAILED};
  }
  const char* const name = objectName(element.kns_node);
  if (name == nullptr) return {false, CFI_STATUS_INVALID_ARGUMENT};
  if (mounted.found == nullptr) return mountNode(element, device, name);
  trace(CFI_TRACE_PROGRESS, qmfs_log::accessMount, device, mounted.found.get());
  if (std::strcmp(mounted.found.get(), name) == 0) {
    // Required: the walk ends here with success, and the node stays marked.
    trace(CFI_TRACE_PROGRESS, qmfs_log::alreadyMounted, device);
    return {false, 0};
  }
  trace(CFI_TRACE_ERROR, qmfs_log::mountedElsewhere, device);
  return {false, CFI_STATUS_MOUNTED_ELSEWHERE};
}

CQmFSPlugin::NodeAccess CQmFSPlugin::mountNode(const kfi_node_subobj_list& element, const char* device,
                                               const char* name) {
  const CFiPrivateDataSPtr data = privateDataOf(element.kns_node);
  if (!data) trace(CFI_TRACE_DETAIL, qmfs_log::accessReadOnly);
  const std::string options = data ? qmfsDataOf(data).getMntOpts() : "ro";
  // The list is the framework's, which may have cleared it meanwhile.
  if (element.subobjs == nullptr) {
    trace(CFI_TRACE_ERROR, qmfs_log::accessWithoutList);
    return {false, CFI_STATUS_FAILED};
  }
  const auto mountPoint = acceptedMountPoint(name);
  const auto mountable = mountPoint ? acceptedDevice(device) : std::nullopt;
  if (!mountable || !acceptsOptions(options)) return {false, CFI_STATUS_INVALID_ARGUMENT};
  commandRunner().runOrThrow(mkdirCommand(*mountPoint));
  fsck(*mountable);
  commandRunner().runOrThrow(accessMountCommand(*mountable, *mountPoint, options));
  return {true, 0};
}

int CQmFSPlugin::cacheEnable(kfi_domain* domain, int /*reserved*/) {
  const auto scope = traceScope("cacheEnable");
  return guarded([&] { return remount(domain, cacheEnableCommand); });
}

int CQmFSPlugin::cacheDisable(kfi_domain* domain, int /*reserved*/) {
  const auto scope = traceScope("cacheDisable");
  return guarded([&] { return remount(domain, cacheDisableCommand); });
}

int CQmFSPlugin::remount(kfi_domain* domain, RemountCommand command) {
  const char* const name = objectName(domain);
  if (name == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
  const CFiPrivateDataSPtr data = privateDataOf(domain);
  const char* const device = deviceOf(data);
  if (device == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
  trace(CFI_TRACE_PROGRESS, qmfs_log::child, device);
  const auto mountPoint = acceptedMountPoint(name);
  const auto mounted = mountPoint ? acceptedDevice(device) : std::nullopt;
  if (!mounted) return CFI_STATUS_INVALID_ARGUMENT;
  commandRunner().runOrThrow(command(*mounted, *mountPoint));
  return 0;
}

// Access to nodes disabled and enabled by unmounting and mounting, and the logging mode switched by a remount.
#include "cfidomain.h"
#include "qmfs_command_lines.h"
#include "qmfs_node_access.h"
#include "qmfs_plugin.h"

#include <cstring>

using namespace qmfi_pdk_4_4;

namespace {

constexpr long forcedUnmount = 0x10;
constexpr int enableNothing = 0x1;

void requireList(const kfi_node_subobj_list* list, const char* text, const char* function, int line) {
  if (list == nullptr || list->kns_node == nullptr) {
    throw CFiError(CFI_ERROR_INVALID_ARGUMENT, text, "qmfs_plugin_access.cpp", function, line);
  }
}

// Name of the device that holds the element's file system; null when there is none.
const char* deviceOf(const kfi_node_subobj_list& element) {
  return element.subobjs != nullptr ? givenName(objectName(element.subobjs->kso_objid)) : nullptr;
}

bool isDisabled(const kfi_domain& node) {
  return (node.fid_attr & KFI_ATTR_ACCESS_DISABLED) != 0;
}

// Whether every element of the list has a node, and every node whose access is to be changed a name.
bool areNamed(const kfi_node_subobj_list* list, bool disable) {
  for (; list != nullptr; list = list->kns_next) {
    const kfi_domain* const node = list->kns_node;
    if (node == nullptr || (isDisabled(*node) != disable && objectName(node) == nullptr)) {
      return false;
    }
  }
  return true;
}

// Whether commands can carry the names of all nodes that they would unmount. The elements must be named.
bool canDisable(const kfi_node_subobj_list* list) {
  for (; list != nullptr; list = list->kns_next) {
    const char* const name = objectName(list->kns_node);
    if (!isDisabled(*list->kns_node) && !isCommandWord(name) && qmfs_check_claim(name) == 1) {
      return false;
    }
  }
  return true;
}

// Whether commands can carry the names of all nodes and devices that they would mount. The elements must be named. A
// node without a device, or whose device is mounted, has its own answer and ends the walk.
bool canEnable(const kfi_node_subobj_list* list) {
  for (; list != nullptr; list = list->kns_next) {
    if (!isDisabled(*list->kns_node)) {
      continue;
    }
    const char* const device = deviceOf(*list);
    if (device == nullptr || mountOfDevice(device).result != 0) {
      return true;
    }
    if (!isCommandWord(objectName(list->kns_node)) || !isCommandWord(device)) {
      return false;
    }
  }
  return true;
}

}  // namespace

int CQmFSPlugin::disableAccess(kfi_node_subobj_list* list, long flags) {
  const auto scope = traceScope("disableAccess");
  return guarded([&] {
    requireList(list, "disableAccess(): Invalid subobj list", "disableAccess", __LINE__);
    if (!areNamed(list, true) || !canDisable(list)) {
      return static_cast<int>(CFI_STATUS_INVALID_ARGUMENT);
    }
    for (const kfi_node_subobj_list* element = list; element != nullptr; element = element->kns_next) {
      kfi_domain* const node = element->kns_node;
      if (!isDisabled(*node)) {
        char* const name = node->fid_objid->vid_name;
        const int status = QmFSUmount(name, (flags & forcedUnmount) != 0);
        if (status != 0) {
          trace(CFI_TRACE_ERROR, "Umount failed for %s", name);
          return status;
        }
      }
      node->fid_attr |= KFI_ATTR_ACCESS_DISABLED;
    }
    return 0;
  });
}

int CQmFSPlugin::enableAccess(kfi_node_subobj_list* list, long /*flags*/, int /*level*/, int options) {
  const auto scope = traceScope("enableAccess");
  return guarded([&] {
    if ((options & enableNothing) != 0) {
      return 0;
    }
    requireList(list, "enableAccess(): Invalid subobj list", "enableAccess", __LINE__);
    if (!areNamed(list, false) || !canEnable(list)) {
      return static_cast<int>(CFI_STATUS_INVALID_ARGUMENT);
    }
    for (const kfi_node_subobj_list* element = list; element != nullptr; element = element->kns_next) {
      kfi_domain* const node = element->kns_node;
      if (isDisabled(*node)) {
        const NodeAccess access = enableNode(*element);
        if (!access.mounted) {
          return access.status;
        }
      }
      node->fid_attr &= ~static_cast<std::uint32_t>(KFI_ATTR_ACCESS_DISABLED);
    }
    return 0;
  });
}

CQmFSPlugin::NodeAccess CQmFSPlugin::enableNode(const kfi_node_subobj_list& element) {
  kfi_domain* const node = element.kns_node;
  const char* const name = objectName(node);
  const char* const device = deviceOf(element);
  if (device == nullptr) {
    trace(CFI_TRACE_ERROR, "list->subobjs list is null");
    return {false, CFI_STATUS_INVALID_ARGUMENT};
  }
  trace(CFI_TRACE_DETAIL, "Calling qmfs_getmnt for : %s", device);
  const MountTableAnswer mounted = mountOfDevice(device);
  if (mounted.result < 0) {
    trace(CFI_TRACE_ERROR, "Mount point entry lookup failed");
    return {false, QMFS_STATUS_FAILED};
  }
  if (mounted.found != nullptr) {
    trace(CFI_TRACE_PROGRESS, "Device: %s :: mount: %s", device, mounted.found.get());
    if (std::strcmp(mounted.found.get(), name) == 0) {
      // Required: the walk ends here with success, and the node stays marked.
      trace(CFI_TRACE_PROGRESS, "Device {%s} is already mounted", device);
      return {false, 0};
    }
    trace(CFI_TRACE_ERROR, "Device {%s} is mounted on different mount point already", device);
    return {false, QMFS_STATUS_MOUNTED_ELSEWHERE};
  }
  if (!isCommandWord(name) || !isCommandWord(device)) {
    return {false, CFI_STATUS_INVALID_ARGUMENT};
  }
  const CFiPrivateDataSPtr data = privateDataOf(node);
  if (!data) {
    trace(CFI_TRACE_DETAIL, "As CFiPrivateDataSPtr is null, using readonly mount options");
  }
  const std::string options = data ? qmfsDataOf(data).getMntOpts() : "ro";
  runOrThrow(mkdirCommand(name));
  fsck(device);
  runOrThrow(accessMountCommand(device, name, options));
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
  if (name == nullptr) {
    return CFI_STATUS_INVALID_ARGUMENT;
  }
  const CFiPrivateDataSPtr data = privateDataOf(domain);
  const char* const device = deviceOf(data);
  if (device == nullptr || !isCommandWord(name) || !isCommandWord(device)) {
    return CFI_STATUS_INVALID_ARGUMENT;
  }
  trace(CFI_TRACE_PROGRESS, "Child is : %s", device);
  runOrThrow(command(device, name));
  return 0;
}

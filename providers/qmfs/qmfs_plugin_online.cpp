// Snapshots brought online and taken offline, alternate trees taken down, and node states kept and restored.
#include <sys/stat.h>

#include <cstring>

#include "cfidomain.h"
#include "qmfs_command_lines.h"
#include "qmfs_log_texts.h"
#include "qmfs_node_access.h"
#include "qmfs_plugin.h"

using namespace qmfi_pdk_4_4;

int CQmFSPlugin::online(kfi_domain* /*domain*/, kfi_domain* node, int mode, kfi_disposition disposition) {
  const auto scope = traceScope("online");
  return guarded([&]() -> int {
    if (mode != KFI_ONLINE_BRING && mode != KFI_ONLINE_TAKE_OFFLINE) return 0;
    if (objectName(node) == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
    return mode == KFI_ONLINE_BRING ? bringOnline(node) : takeOffline(node, disposition);
  });
}

int CQmFSPlugin::bringOnline(kfi_domain* node) {
  const CFiPrivateDataSPtr data = privateDataOf(node);
  const char* const device = deviceOf(data);
  const char* const name = objectName(node);
  if (device == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
  trace(CFI_TRACE_PROGRESS, qmfs_log::child, device);
  trace(CFI_TRACE_DETAIL, qmfs_log::onlineCallingGetmnt);
  const MountTableAnswer mounted = mountOfDevice(device);
  if (mounted.result < 0) {
    trace(CFI_TRACE_ERROR, qmfs_log::lookupFailed);
    return CFI_STATUS_FAILED;
  }
  if (mounted.found != nullptr) {
    trace(CFI_TRACE_PROGRESS, qmfs_log::onlineMount, device, mounted.found.get(), mounted.options.get());
    if (std::strcmp(mounted.found.get(), name) == 0) {
      trace(CFI_TRACE_PROGRESS, qmfs_log::alreadyMounted, device);
      return 0;
    }
    trace(CFI_TRACE_WARNING, qmfs_log::mountedElsewhere, device);
    return CFI_STATUS_MOUNTED_ELSEWHERE;
  }
  const std::string options = qmfsDataOf(data).getMntOpts();
  const auto mountPoint = acceptedMountPoint(name);
  const auto mountable = mountPoint ? acceptedDevice(device) : std::nullopt;
  if (!mountable || !acceptsOptions(options)) return CFI_STATUS_INVALID_ARGUMENT;
  createMntPoint(*mountPoint);
  commandRunner().runOrThrow(onlineMountCommand(*mountable, *mountPoint, options));
  return 0;
}

int CQmFSPlugin::takeOffline(kfi_domain* node, kfi_disposition disposition) {
  char* const name = node->fid_objid->vid_name;
  const int status = QmFSUmount(name, true);
  if (status != 0) {
    trace(CFI_TRACE_ERROR, qmfs_log::umountFailed, name);
    return status;
  }
  struct stat found {};
  if (disposition == KFI_DISPOSITION_REMOVE && ::stat(name, &found) == 0) {
    const auto mountPoint = acceptedMountPoint(name);
    if (!mountPoint) return CFI_STATUS_INVALID_ARGUMENT;
    removeMntPoint(*mountPoint);
  }
  return 0;
}

int CQmFSPlugin::dispose(kfi_domain* /*first*/, kfi_domain* node, kfi_splitnode* /*splitNode*/,
                         kfi_disposition disposition) {
  const auto scope = traceScope("dispose");
  return guarded([&] {
    return disposition == KFI_DISPOSITION_REMOVE
               ? online(nullptr, node, KFI_ONLINE_TAKE_OFFLINE, KFI_DISPOSITION_REMOVE)
               : 0;
  });
}

int CQmFSPlugin::deportTree(kfi_domain* primary, kfi_domain* alternate, kfi_accessnode* access) {
  const auto scope = traceScope("deportTree");
  return guarded([&]() -> int {
    if (access != nullptr && access->kan_access == 0) return 0;
    if (alternate == nullptr) {
      const char* const name = objectName(primary);
      trace(CFI_TRACE_WARNING, qmfs_log::deportEmptyAlternate, name != nullptr ? name : "");
      return 0;
    }
    if (objectName(alternate) == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
    return deportAltNode(alternate->fid_objid->vid_name);
  });
}

int CQmFSPlugin::deportAltNode(char* name) {
  trace(CFI_TRACE_DETAIL, qmfs_log::deportCallingCheckClaim, name);
  const int mounted = qmfs_check_claim(name);
  if (mounted < 0) {
    trace(CFI_TRACE_ERROR, qmfs_log::lookupFailed);
    return CFI_STATUS_FAILED;
  }
  if (mounted == 0) return 0;
  // Asked for here too: the unmount would not ask if somebody else has unmounted it meanwhile.
  const auto mountPoint = acceptedMountPoint(name);
  if (!mountPoint) return CFI_STATUS_INVALID_ARGUMENT;
  const int status = QmFSUmount(name, true);
  if (status != 0) {
    trace(CFI_TRACE_ERROR, qmfs_log::umountFailed, name);
    return status;
  }
  removeMntPoint(*mountPoint);
  return 0;
}

int CQmFSPlugin::processProviderState(kfi_domain* node, kfi_blob* blob, kfi_op_providerstate operation) {
  const auto scope = traceScope("processProviderState");
  return guarded([&]() -> int {
    const char* const name = objectName(node);
    if (name == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
    if (std::strcmp(name, QMFS_QUIESCE_GROUP) == 0) return 0;
    const CFiPrivateDataFactorySPtr factory = providerFactory();
    if (!factory || (operation == KFI_PROVIDERSTATE_FETCH && blob == nullptr)) return CFI_STATUS_INVALID_ARGUMENT;
    CFiPrivateDataSPtr data = factory->access(node);
    if (!data) data = factory->allocate(node, false);
    if (operation == KFI_PROVIDERSTATE_FETCH) {
      blob->kb_length = 0;
      blob->kb_buffer = nullptr;
      if (deviceOf(data) == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
      return data->getNodeState(blob);
    }
    if (operation == KFI_PROVIDERSTATE_STORE) {
      if (blob == nullptr || blob->kb_buffer == nullptr) {
        throw CFiError(CFI_STATUS_INVALID_ARGUMENT, "processProviderState(): Invalid blob contents",
                       "qmfs_plugin_online.cpp", "processProviderState", __LINE__);
      }
      return data->setNodeState(blob);
    }
    return 0;
  });
}

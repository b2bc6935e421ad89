// Plain storage resources: a device formatted and proved mountable, and a device's file system brought online.
#include <unistd.h>

#include <cstring>

#include "cfiformatoptionlist.h"
#include "cfistringtool.h"
#include "qmfs_command_lines.h"
#include "qmfs_log_texts.h"
#include "qmfs_node_access.h"
#include "qmfs_plugin.h"

using namespace qmfi_pdk_4_4;

namespace {

constexpr int mountAttempts = 2;

// Required: the text carries an option flag of its own, so the command has it twice.
constexpr const char* defaultMountOptions = " -o mincache=closesync ";

// No type at all is ours too.
bool isOwnType(const char* type) {
  return type == nullptr || std::strcmp(type, QMFS_TYPE) == 0;
}

// The first device; null when there is none. It may be empty.
const char* firstDevice(char** devices) {
  return devices != nullptr ? devices[0] : nullptr;
}

std::string mountOptionsOf(const char* options) {
  if (options == nullptr) return std::string();
  const CFiFormatOptionList::Map parsed = CFiFormatOptionList::parse(options);
  const auto found = parsed.find("mountOptions");
  return found != parsed.end() ? found->second : defaultMountOptions;
}

}  // namespace

int CQmFSPlugin::format(char** devices, int /*count*/, char* /*extra1*/, char* type, char* /*extra2*/, int flags,
                        char*** /*paths*/, int* /*pathCount*/) {
  const auto scope = traceScope("format");
  return guarded([&]() -> int {
    if (!isOwnType(type)) {
      trace(CFI_TRACE_ERROR, qmfs_log::typeNotSupported, type);
      return CFI_STATUS_INVALID_ARGUMENT;
    }
    if ((flags & KFI_FORMAT_DEVICE) == 0) return 0;
    const auto device = acceptedDevice(firstDevice(devices));
    if (!device) return CFI_STATUS_INVALID_ARGUMENT;
    std::string rawDevice = device->text();
    convertBlockToRawDevice(rawDevice);
    mkfs(CommandWord::of(rawDevice).value());

    std::string mountPoint = "/tmp_" + getTime();
    const CommandWord temporary = CommandWord::of(mountPoint).value();
    createMntPoint(temporary);
    mount(temporary, *device, "rw");
    // Required: an unmount that fails without an exception is no failure; the directory stays then.
    if (QmFSUmount(mountPoint.data(), false) == 0) ::rmdir(mountPoint.c_str());
    return 0;
  });
}

int CQmFSPlugin::onlineResource(char** devices, int /*count*/, char* mountPoint, char* type, char* options,
                                char* /*extra3*/, int /*extra4*/, char*** paths, int* pathCount) {
  const auto scope = traceScope("onlineResource");
  return guarded([&]() -> int {
    if (paths == nullptr || pathCount == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
    *pathCount = 0;
    *paths = nullptr;
    if (!isOwnType(type)) {
      trace(CFI_TRACE_ERROR, qmfs_log::typeNotSupported, type);
      return CFI_STATUS_INVALID_ARGUMENT;
    }
    const char* const device = firstDevice(devices);
    if (device == nullptr) return CFI_STATUS_INVALID_ARGUMENT;
    const std::string mountOptions = mountOptionsOf(options);
    std::string target;
    if (mountPoint != nullptr) {
      target = mountPoint;
    } else {
      generateName(device, target);
    }
    const int status = bringResourceOnline(device, target, mountOptions, mountPoint == nullptr);
    return status == 0 ? createPathAndAllocBuffer(CFiStringTool::str2tstr(target), paths, pathCount) : status;
  });
}

// Has the device mounted on the mount point when it returns 0, whoever mounted it.
int CQmFSPlugin::bringResourceOnline(const char* device, const std::string& mountPoint, const std::string& options,
                                     bool generated) {
  trace(CFI_TRACE_DETAIL, qmfs_log::resourceCallingGetmnt, device);
  const MountTableAnswer mounted = mountOfDevice(device);
  if (mounted.result < 0) {
    trace(CFI_TRACE_ERROR, qmfs_log::lookupFailed);
    return CFI_STATUS_FAILED;
  }
  if (mounted.found != nullptr) {
    trace(CFI_TRACE_PROGRESS, qmfs_log::resourceMount, device, mounted.found.get());
    if (mountPoint == mounted.found.get()) {
      trace(CFI_TRACE_PROGRESS, qmfs_log::alreadyMounted, device);
      return 0;
    }
    trace(CFI_TRACE_ERROR, qmfs_log::mountedElsewhere, device);
    return CFI_STATUS_MOUNTED_ELSEWHERE;
  }
  const auto mountable = acceptedDevice(device);
  const auto target = mountable ? acceptedMountPoint(mountPoint) : std::nullopt;
  if (!target || !acceptsOptions(options)) return CFI_STATUS_INVALID_ARGUMENT;
  if (generated && mountPoint == "/") {
    trace(CFI_TRACE_REJECTED, qmfs_log::notMountPoint, mountPoint.c_str());
    return CFI_STATUS_INVALID_ARGUMENT;
  }
  makeResourceMountPoint(*target);
  std::string blockDevice = mountable->text();
  convertRawToBlockDevice(blockDevice);
  mountResource(CommandWord::of(blockDevice).value(), *target, options);
  return 0;
}

void CQmFSPlugin::makeResourceMountPoint(const CommandWord& mountPoint) {
  const CQmFSCommandRun run = commandRunner().runTraced(mkdirCommand(mountPoint));
  if (run.succeeded()) return;
  trace(CFI_TRACE_ERROR, qmfs_log::mkdirPipeFailed, run.error.getCode());
  trace(CFI_TRACE_ERROR, qmfs_log::mkdirFailed, run.command.c_str(), run.error.getExitStatus(), run.message().c_str());
  throw EFiExecPipe(run.error);
}

// Mounts, and once more after a check of the file system. Throws when both attempts leave nothing mounted.
void CQmFSPlugin::mountResource(const CommandWord& device, const CommandWord& mountPoint, const std::string& options) {
  const std::string command = mountCommand(device, mountPoint, options);
  for (int attempt = 1;; ++attempt) {
    std::vector<std::string> output;
    trace(CFI_TRACE_PROGRESS, qmfs_log::command, command.c_str());
    const EFiExecPipe error = commandRunner().execute(command, output);
    if (error.getCode() == KFI_EXEC_PIPE_SUCCESS) return;
    const std::string message = CFiStringTool::vec2str(output, "");
    trace(CFI_TRACE_WARNING, qmfs_log::mountPipeFailed, error.getCode());
    if (error.getCode() == KFI_EXEC_PIPE_CMD_FAILED) {
      trace(CFI_TRACE_WARNING, qmfs_log::mountCommandFailed, command.c_str(), error.getExitStatus(), message.c_str());
    }
    if (getMountStatus(mountPoint.c_str()) == QMFS_MOUNTED) {
      trace(CFI_TRACE_WARNING, qmfs_log::mountedNevertheless);
      return;
    }
    trace(CFI_TRACE_WARNING, qmfs_log::notMounted);
    if (attempt == mountAttempts) {
      trace(CFI_TRACE_ERROR, qmfs_log::mountFailed, message.c_str());
      dumpMountInformation(mountPoint, "");
      throw EFiExecPipe(error);
    }
    trace(CFI_TRACE_WARNING, qmfs_log::mountFailedTryingFsck, message.c_str());
    fsck(device);
  }
}

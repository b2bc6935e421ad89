// The simple commands that either succeed or throw, and the programs that may be in several directories.
#include <sys/stat.h>

#include <array>

#include "cfistringtool.h"
#include "qmfs_command_lines.h"
#include "qmfs_log_texts.h"
#include "qmfs_plugin.h"

using namespace qmfi_pdk_4_4;

namespace {

constexpr const char* whiteSpace = " \n\t\r";

constexpr std::array fstypPrograms = {
    "/opt/KRIBqmfs/sbin/fstyp", "/opt/KRIB/bin/fstyp", "/usr/lib/fs/qmfs/fstyp",
    "/usr/sbin/fstyp",          "/sbin/fstyp",         "/etc/fstyp",
};

constexpr std::array umountPrograms = {
    "/opt/KRIB/bin/qmumount", "/sbin/fs/qmfs/qmumount",  "/usr/lib/fs/qmfs/qmumount",
    "/opt/KRIB/bin/umount",   "/usr/lib/fs/qmfs/umount", "/opt/KRIBqmfs/sbin/umount",
};

// Whether something of that name exists; it need not be executable.
bool exists(const char* path) {
  struct stat status {};
  return ::stat(path, &status) == 0;
}

}  // namespace

int CQmFSPlugin::executeCommand(const std::string& command, std::vector<std::string>& output, int& exitStatus,
                                int timeoutSeconds) {
  const EFiExecPipe error = commandRunner().execute(command, output, timeoutSeconds);
  if (error.getCode() == KFI_EXEC_PIPE_CMD_FAILED) exitStatus = error.getExitStatus();
  return error.getCode();
}

void CQmFSPlugin::createMntPoint(const CommandWord& path) {
  const auto scope = traceScope("createMntPoint");
  commandRunner().runOrThrow(mkdirCommand(path));
}

void CQmFSPlugin::removeMntPoint(const CommandWord& path) {
  const auto scope = traceScope("removeMntPoint");
  commandRunner().runOrThrow(rmdirCommand(path));
}

void CQmFSPlugin::mkfs(const CommandWord& device) {
  const auto scope = traceScope("mkfs");
  commandRunner().runOrThrow(mkfsCommand(device));
}

void CQmFSPlugin::fsck(const CommandWord& device) {
  const auto scope = traceScope("fsck");
  commandRunner().runOrThrow(fsckCommand(device));
}

void CQmFSPlugin::mount(const CommandWord& mountPoint, const CommandWord& device, const std::string& options) {
  const auto scope = traceScope("mount");
  commandRunner().runOrThrow(mountCommand(device, mountPoint, options));
}

int CQmFSPlugin::fscdsconv(const std::string& /*device*/) {
  const auto scope = traceScope("fscdsconv");
  return CFI_STATUS_USE_SESSION;
}

std::string CQmFSPlugin::getFSType(const CommandWord& device) {
  const auto scope = traceScope("getFSType");
  std::string program;
  if (getFSTypeLocation(program) != 0) return std::string();
  const CQmFSCommandRun probe = commandRunner().run(fstypCommand(program, device));
  if (!probe.succeeded()) {
    trace(CFI_TRACE_WARNING, qmfs_log::commandFailed, probe.command.c_str(), probe.message().c_str());
    return std::string();
  }
  if (probe.output.empty()) {
    trace(CFI_TRACE_WARNING, qmfs_log::noTypePrinted, probe.command.c_str());
    return std::string();
  }
  std::string type = CFiStringTool::rtrim(probe.output.front(), whiteSpace);
  trace(CFI_TRACE_PROGRESS, qmfs_log::foundType, device.c_str(), type.c_str());
  return type;
}

int CQmFSPlugin::getFSTypeLocation(std::string& path) {
  const auto scope = traceScope("getFSTypeLocation");
  for (const char* const candidate : fstypPrograms) {
    trace(CFI_TRACE_DETAIL, qmfs_log::searchingFstyp, candidate);
    if (exists(candidate)) {
      path = candidate;
      trace(CFI_TRACE_PROGRESS, qmfs_log::foundFstyp, candidate);
      return 0;
    }
  }
  trace(CFI_TRACE_ERROR, qmfs_log::noFstyp);
  return CFI_STATUS_FAILED;
}

bool CQmFSPlugin::getUmountLocation(std::string& path) {
  const auto scope = traceScope("getUmountLocation");
  for (const char* const candidate : umountPrograms) {
    trace(CFI_TRACE_DETAIL, qmfs_log::searchingUmount, candidate);
    if (exists(candidate)) {
      path = candidate;
      trace(CFI_TRACE_PROGRESS, qmfs_log::foundUmount, candidate);
      return true;
    }
  }
  trace(CFI_TRACE_WARNING, qmfs_log::noForcedUmount);
  return false;
}

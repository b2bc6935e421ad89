// The command runner, and the simple commands that either succeed or throw.
#include "cfistringtool.h"
#include "qmfs_command_lines.h"
#include "qmfs_plugin.h"

#include <sys/stat.h>

#include <array>

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

std::string joined(const std::vector<std::string>& lines) {
  return CFiStringTool::vec2str(lines, "");
}

}  // namespace

EFiExecPipe CQmFSPlugin::runPiped(CommandPipe& pipe, const std::string& command, std::vector<std::string>& output,
                                  int timeoutSeconds) {
  const int code = pipe.Exec(command, output, "", timeoutSeconds, "", "", "");
  // What the pipe returns decides; its record has the text and the exit status.
  const EFiExecPipe& record = pipe.getLastError();
  return EFiExecPipe(record.getText(), code, record.getExitStatus());
}

EFiExecPipe CQmFSPlugin::runPiped(const std::string& command, std::vector<std::string>& output, int timeoutSeconds) {
  CommandPipe pipe;
  return runPiped(pipe, command, output, timeoutSeconds);
}

CQmFSPlugin::CommandRun CQmFSPlugin::runTraced(CommandPipe& pipe, const std::string& command) {
  trace(CFI_TRACE_PROGRESS, "Command : %s", command.c_str());
  CommandRun run;
  run.command = command;
  run.error = runPiped(pipe, command, run.output, QMFS_COMMAND_TIMEOUT);
  return run;
}

CQmFSPlugin::CommandRun CQmFSPlugin::runTraced(const std::string& command) {
  CommandPipe pipe;
  return runTraced(pipe, command);
}

void CQmFSPlugin::throwFailed(const CommandRun& run) {
  trace(CFI_TRACE_ERROR, "command '%s' failed with message '%s'.", run.command.c_str(), joined(run.output).c_str());
  throw EFiExecPipe(run.error);
}

void CQmFSPlugin::runOrThrow(CommandPipe& pipe, const std::string& command) {
  const CommandRun run = runTraced(pipe, command);
  if (!run.succeeded()) {
    throwFailed(run);
  }
}

void CQmFSPlugin::runOrThrow(const std::string& command) {
  CommandPipe pipe;
  runOrThrow(pipe, command);
}

EFiExecPipe CQmFSPlugin::execute(const std::string& command, std::vector<std::string>& output, int timeoutSeconds) {
  const auto scope = traceScope("executeCommand");
  trace(CFI_TRACE_DETAIL, "executeCommand - Command : %s", command.c_str());
  EFiExecPipe error = runPiped(command, output, timeoutSeconds);
  const int code = error.getCode();
  if (code == KFI_EXEC_PIPE_SUCCESS) {
    return error;
  }
  const std::string message = joined(output);
  trace(CFI_TRACE_WARNING, "executeCommand - Exec Pipe failed with error code [%d] and message [%s]", code,
        message.c_str());
  if (code == KFI_EXEC_PIPE_CMD_FAILED) {
    trace(CFI_TRACE_WARNING, "executeCommand - Command [%s] failed with error code [%d] and message [%s]",
          command.c_str(), error.getExitStatus(), message.c_str());
  } else if (code == KFI_EXEC_PIPE_READ_TIMEOUT) {
    trace(CFI_TRACE_WARNING, "executeCommand - Command [%s] has timmedout", command.c_str());
  }
  return error;
}

int CQmFSPlugin::executeCommand(const std::string& command, std::vector<std::string>& output, int& exitStatus,
                                int timeoutSeconds) {
  const EFiExecPipe error = execute(command, output, timeoutSeconds);
  if (error.getCode() == KFI_EXEC_PIPE_CMD_FAILED) {
    exitStatus = error.getExitStatus();
  }
  return error.getCode();
}

void CQmFSPlugin::createMntPoint(const std::string& path) {
  const auto scope = traceScope("createMntPoint");
  runOrThrow(mkdirCommand(path));
}

void CQmFSPlugin::removeMntPoint(const std::string& path) {
  const auto scope = traceScope("removeMntPoint");
  runOrThrow(rmdirCommand(path));
}

void CQmFSPlugin::mkfs(const std::string& device) {
  const auto scope = traceScope("mkfs");
  runOrThrow(mkfsCommand(device));
}

void CQmFSPlugin::fsck(const std::string& device) {
  const auto scope = traceScope("fsck");
  runOrThrow(fsckCommand(device));
}

void CQmFSPlugin::mount(const std::string& mountPoint, const std::string& device, const std::string& options) {
  const auto scope = traceScope("mount");
  runOrThrow(mountCommand(device, mountPoint, options));
}

int CQmFSPlugin::fscdsconv(const std::string& /*device*/) {
  const auto scope = traceScope("fscdsconv");
  return CFI_STATUS_USE_SESSION;
}

std::string CQmFSPlugin::getFSType(const std::string& device) {
  const auto scope = traceScope("getFSType");
  std::string program;
  if (getFSTypeLocation(program) != 0) {
    return std::string();
  }
  const std::string command = fstypCommand(program, device);
  std::vector<std::string> output;
  const EFiExecPipe error = runPiped(command, output, QMFS_COMMAND_TIMEOUT);
  if (error.getCode() != KFI_EXEC_PIPE_SUCCESS) {
    trace(CFI_TRACE_WARNING, "command '%s' failed with message '%s'.", command.c_str(), joined(output).c_str());
    return std::string();
  }
  if (output.empty()) {
    trace(CFI_TRACE_WARNING, "command '%s' returned no fstype", command.c_str());
    return std::string();
  }
  std::string type = CFiStringTool::rtrim(output.front(), whiteSpace);
  trace(CFI_TRACE_PROGRESS, "Found fstype for device : %s  as %s", device.c_str(), type.c_str());
  return type;
}

int CQmFSPlugin::getFSTypeLocation(std::string& path) {
  const auto scope = traceScope("getFSTypeLocation");
  for (const char* const candidate : fstypPrograms) {
    trace(CFI_TRACE_DETAIL, "Searching for fstype cmd : %s", candidate);
    if (exists(candidate)) {
      path = candidate;
      trace(CFI_TRACE_PROGRESS, "Found fstype cmd : %s", candidate);
      return 0;
    }
  }
  trace(CFI_TRACE_ERROR, "fstype command is not installed");
  return QMFS_STATUS_FAILED;
}

bool CQmFSPlugin::getUmountLocation(std::string& path) {
  const auto scope = traceScope("getUmountLocation");
  for (const char* const candidate : umountPrograms) {
    trace(CFI_TRACE_DETAIL, "Searching for umount cmd : %s", candidate);
    if (exists(candidate)) {
      path = candidate;
      trace(CFI_TRACE_PROGRESS, "Found umount cmd : %s", candidate);
      return true;
    }
  }
  trace(CFI_TRACE_WARNING, "qmumount command is not installed");
  return false;
}

// Unmounting: plain or forced, tried again while the device is busy, with a dump of what is known when it fails.
#include "cfistringtool.h"
#include "qmfs_command_lines.h"
#include "qmfs_plugin.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <limits>
#include <sstream>

using namespace qmfi_pdk_4_4;

namespace {

// How often and after which first pause a busy device is tried again.
constexpr int busyRetries = 5;
constexpr int firstPauseSeconds = 2;

std::string joined(const std::vector<std::string>& lines) {
  return CFiStringTool::vec2str(lines, "");
}

bool says(const std::vector<std::string>& output, const char* word) {
  return CFiStringTool::find(output, word);
}

template <typename Value>
void writeTagged(std::ostringstream& text, const char* name, Value value) {
  text << "<statData." << name << '>' << value << "</statData." << name << '>';
}

void writeStatus(std::ostringstream& text, const struct stat& status) {
  writeTagged(text, "st_mode", status.st_mode);
  writeTagged(text, "st_dev", status.st_dev);
  writeTagged(text, "st_nlink", status.st_nlink);
  writeTagged(text, "st_uid", status.st_uid);
  writeTagged(text, "st_gid", status.st_gid);
  writeTagged(text, "st_atime", status.st_atime);
  writeTagged(text, "st_ctime", status.st_ctime);
}

// 0, or the error number, which nothing that allocates has touched since.
int errorOfStat(const std::string& path, struct stat& status) {
  return ::stat(path.c_str(), &status) == 0 ? 0 : errno;
}

// A signal that the host handles does not shorten it.
void pauseFor(int seconds) {
  for (auto left = static_cast<unsigned int>(seconds); left != 0;) {
    left = ::sleep(left);
  }
}

// Twice the pause, as long as that is a number of seconds.
int doubled(int pause) {
  constexpr int longest = std::numeric_limits<int>::max();
  return pause <= longest / 2 ? pause * 2 : longest;
}

std::string describeDevice(const std::string& device) {
  std::ostringstream text;
  text << "Dumping device information for device " << device << '\n';
  struct stat status {};
  const int error = errorOfStat(device, status);
  if (error != 0) {
    text << "Stat information failed for the device " << device << "with error code " << error;
    return text.str();
  }
  text << "Dumping stat information for device " << device;
  writeStatus(text, status);
  // Required: the device number stands there twice.
  writeTagged(text, "st_dev", status.st_dev);
  writeTagged(text, "st_rdev", status.st_rdev);
  return text.str();
}

std::string describeMountPoint(const std::string& mountPoint) {
  std::ostringstream text;
  text << "Dumping stat information for mount point " << mountPoint;
  struct stat status {};
  const int error = errorOfStat(mountPoint, status);
  if (error != 0) {
    text << "Stat information failed for the mount point " << mountPoint << "with error code " << error;
    return text.str();
  }
  writeStatus(text, status);
  return text.str();
}

// What a probe printed, or why there is nothing.
std::string describeProbe(const char* title, const char* failure, const CQmFSCommandRun& probe) {
  std::ostringstream text;
  text << title << probe.command;
  if (probe.succeeded()) {
    text << probe.message();
  } else {
    text << failure << probe.error.getCode() << "and output " << probe.message();
  }
  return text.str();
}

}  // namespace

// One unmount of a mount point: its command and what came of it.
struct CQmFSPlugin::UmountAttempt {
  CommandWord mountPoint;
  std::string command = {};
  std::vector<std::string> output = {};
  int code = KFI_EXEC_PIPE_SUCCESS;
  int exitStatus = 0;
};

int CQmFSPlugin::QmFSUmount(char* mountPoint, bool force) {
  const auto scope = traceScope("QmFSUmount");
  if (mountPoint == nullptr) {
    trace(CFI_TRACE_ERROR, "Mount point is not specified");
    return CFI_STATUS_INVALID_ARGUMENT;
  }
  trace(CFI_TRACE_DETAIL, "CQmFSPlugin::QmFSUmount calling qmfs_getsubobj for node : %s", mountPoint);
  const MountTableAnswer mounted = deviceOfMount(mountPoint);
  if (mounted.result < 0) {
    trace(CFI_TRACE_ERROR, "Mount point entry lookup failed");
    return CFI_STATUS_FAILED;
  }
  if (mounted.found == nullptr) {
    trace(CFI_TRACE_PROGRESS, "Mountpoint %s is already umounted", mountPoint);
    return 0;
  }
  const auto word = acceptedMountPoint(mountPoint);
  return word ? unmount(*word, force) : CFI_STATUS_INVALID_ARGUMENT;
}

int CQmFSPlugin::unmount(const CommandWord& mountPoint, bool force) {
  UmountAttempt attempt{mountPoint};
  std::string program;
  const bool forced = force && getUmountLocation(program);
  attempt.command = forced ? forcedUmountCommand(program, mountPoint) : umountCommand(mountPoint);
  if (runUmount(attempt)) {
    return 0;
  }
  if (forced && says(attempt.output, "usage")) {
    return umountWithoutForce(attempt);
  }
  if (says(attempt.output, "busy")) {
    trace(CFI_TRACE_WARNING, "Device to be unmounted is busy");
    return umountRetry(CFiStringTool::str2tstr(attempt.command), busyRetries, firstPauseSeconds);
  }
  traceUmountFailure(attempt);
  trace(CFI_TRACE_ERROR, "unmount failed");
  throw attempt.exitStatus;
}

// The program for forced unmounts has printed its usage: when it does know the force option there is no other way, else
// the plain command is tried once.
int CQmFSPlugin::umountWithoutForce(UmountAttempt& attempt) {
  if (says(attempt.output, "force")) {
    trace(CFI_TRACE_ERROR, "Force unmount is not supported");
    throw attempt.exitStatus;
  }
  attempt.command = umountCommand(attempt.mountPoint);
  if (runUmount(attempt)) {
    return 0;
  }
  if (says(attempt.output, "busy")) {
    trace(CFI_TRACE_WARNING, "Device to be unmounted is busy");
    return umountRetry(CFiStringTool::str2tstr(attempt.command), busyRetries, firstPauseSeconds);
  }
  trace(CFI_TRACE_ERROR, "unmount failed");
  dumpMountInformation(attempt.mountPoint, "");
  throw attempt.exitStatus;
}

// Runs the command once. A command that failed and nevertheless left nothing mounted has succeeded.
bool CQmFSPlugin::runUmount(UmountAttempt& attempt) {
  trace(CFI_TRACE_PROGRESS, "Command : %s", attempt.command.c_str());
  attempt.code = executeCommand(attempt.command, attempt.output, attempt.exitStatus, QMFS_COMMAND_TIMEOUT);
  if (attempt.code == KFI_EXEC_PIPE_SUCCESS) {
    return true;
  }
  traceUmountFailure(attempt);
  if (getMountStatus(attempt.mountPoint.c_str()) == QMFS_NOT_MOUNTED) {
    trace(CFI_TRACE_WARNING, "unmountDevice - Device unmount was succesful");
    return true;
  }
  return false;
}

void CQmFSPlugin::traceUmountFailure(const UmountAttempt& attempt) {
  const std::string message = joined(attempt.output);
  trace(CFI_TRACE_WARNING, "execPipe.Exec failed with errorCode [%d] message %s", attempt.code, message.c_str());
  if (attempt.code == KFI_EXEC_PIPE_CMD_FAILED) {
    trace(CFI_TRACE_PROGRESS, "command '%s' failed with errorCode [%d] message '%s'.", attempt.command.c_str(),
          attempt.exitStatus, message.c_str());
  }
}

int CQmFSPlugin::umountRetry(const ACE_String_Base<char>& command, int retries, int sleepSeconds) {
  const auto scope = traceScope("umountRetry");
  const std::string commandLine = CFiStringTool::tstr2str(command);
  CQmFSCommandRunner runner = commandRunner();
  EFiExecPipe error;
  int pause = sleepSeconds;
  for (int attempt = 1; attempt <= retries; ++attempt) {
    pauseFor(pause);
    trace(CFI_TRACE_PROGRESS, "Retrying umount... slept time '%d' sec and retry attempt '%d'.", pause, attempt);
    pause = doubled(pause);
    const CQmFSCommandRun run = runner.run(commandLine);
    error = run.error;
    if (run.succeeded()) {
      trace(CFI_TRACE_PROGRESS, "umount is successful.");
      return 0;
    }
    trace(CFI_TRACE_WARNING, "Exec Pipe failed with error code [%d]", error.getCode());
    trace(CFI_TRACE_WARNING, "Command [%s] failed with error code [%d] and output [%s]", commandLine.c_str(),
          error.getExitStatus(), run.message().c_str());
    if (says(run.output, "busy")) {
      trace(CFI_TRACE_ERROR, "Device to be unmounted is busy");
      if (attempt == retries) {
        return CFI_STATUS_BUSY;
      }
    }
  }
  throw EFiExecPipe(error);
}

int CQmFSPlugin::getMountStatus(const char* mountPoint) {
  const auto scope = traceScope("getMountStatus");
  switch (deviceOfMount(mountPoint).result) {
    case 0:
      return QMFS_NOT_MOUNTED;
    case 1:
      return QMFS_MOUNTED;
    default:
      return QMFS_MOUNT_STATUS_UNKNOWN;
  }
}

std::string CQmFSPlugin::dumpMountInformation(const CommandWord& mountPoint, const std::string& device) {
  const auto scope = traceScope("dumpMountInformation");
  if (!device.empty()) {
    trace(CFI_TRACE_PROGRESS, "dumpInformationDevice = %s", describeDevice(device).c_str());
  }
  trace(CFI_TRACE_PROGRESS, "dumpInformationMount = %s", describeMountPoint(mountPoint.text()).c_str());

  const std::string fuser = fuserCommand(mountPoint);
  trace(CFI_TRACE_PROGRESS, "dumpInformationFuser: FUSER_CMD = %s", fuser.c_str());
  trace(CFI_TRACE_PROGRESS, "dumpInformationFuser = %s",
        describeProbe("Dumping fuser data for mountpoint using command ",
                      "fuser command failed to print usage information with  error code ", commandRunner().run(fuser))
            .c_str());

  const std::string list = mountListCommand();
  trace(CFI_TRACE_PROGRESS, "dumpInformationMountCmd: MOUNT_CMD = %s", list.c_str());
  const CQmFSCommandRun mounts = commandRunner().runTraced(list);
  std::string text = describeProbe("Dumping information about mounted devices using command ",
                                   "Mount command failed to print mount information with  error code ", mounts);
  trace(CFI_TRACE_PROGRESS, "dumpInformationMountCmd = %s", text.c_str());
  return text;
}

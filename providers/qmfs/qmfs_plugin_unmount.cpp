// Unmounting: plain or forced, tried again while the device is busy, with a dump of what is known when it fails.
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <limits>
#include <sstream>

#include "cfistringtool.h"
#include "qmfs_command_lines.h"
#include "qmfs_log_texts.h"
#include "qmfs_plugin.h"

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
  for (auto left = static_cast<unsigned int>(seconds); left != 0;) left = ::sleep(left);
}

// Twice the pause, as long as that is a number of seconds.
int doubled(int pause) {
  constexpr int longest = std::numeric_limits<int>::max();
  return pause <= longest / 2 ? pause * 2 : longest;
}

std::string describeDevice(const std::string& device) {
  std::ostringstream text;
  text << qmfs_log::dumpingDevice << device << '\n';
  struct stat status {};
  const int error = errorOfStat(device, status);
  if (error != 0) {
    text << qmfs_log::deviceStatFailed << device << qmfs_log::withErrorCode << error;
    return text.str();
  }
  text << qmfs_log::dumpingDeviceStat << device;
  writeStatus(text, status);
  // Required: the device number stands there twice.
  writeTagged(text, "st_dev", status.st_dev);
  writeTagged(text, "st_rdev", status.st_rdev);
  return text.str();
}

std::string describeMountPoint(const std::string& mountPoint) {
  std::ostringstream text;
  text << qmfs_log::dumpingMountPointStat << mountPoint;
  struct stat status {};
  const int error = errorOfStat(mountPoint, status);
  if (error != 0) {
    text << qmfs_log::mountPointStatFailed << mountPoint << qmfs_log::withErrorCode << error;
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
    text << failure << probe.error.getCode() << qmfs_log::andOutput << probe.message();
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
    trace(CFI_TRACE_ERROR, qmfs_log::noMountPoint);
    return CFI_STATUS_INVALID_ARGUMENT;
  }
  trace(CFI_TRACE_DETAIL, qmfs_log::umountCallingGetsubobj, mountPoint);
  const MountTableAnswer mounted = deviceOfMount(mountPoint);
  if (mounted.result < 0) {
    trace(CFI_TRACE_ERROR, qmfs_log::lookupFailed);
    return CFI_STATUS_FAILED;
  }
  if (mounted.found == nullptr) {
    trace(CFI_TRACE_PROGRESS, qmfs_log::alreadyUnmounted, mountPoint);
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
  if (runUmount(attempt)) return 0;
  if (forced && says(attempt.output, "usage")) return umountWithoutForce(attempt);
  if (says(attempt.output, "busy")) {
    trace(CFI_TRACE_WARNING, qmfs_log::deviceBusy);
    return umountRetry(CFiStringTool::str2tstr(attempt.command), busyRetries, firstPauseSeconds);
  }
  traceUmountFailure(attempt);
  trace(CFI_TRACE_ERROR, qmfs_log::unmountFailed);
  throw attempt.exitStatus;
}

// The program for forced unmounts has printed its usage: when it does know the force option there is no other way, else
// the plain command is tried once.
int CQmFSPlugin::umountWithoutForce(UmountAttempt& attempt) {
  if (says(attempt.output, "force")) {
    trace(CFI_TRACE_ERROR, qmfs_log::forceNotSupported);
    throw attempt.exitStatus;
  }
  attempt.command = umountCommand(attempt.mountPoint);
  if (runUmount(attempt)) return 0;
  if (says(attempt.output, "busy")) {
    trace(CFI_TRACE_WARNING, qmfs_log::deviceBusy);
    return umountRetry(CFiStringTool::str2tstr(attempt.command), busyRetries, firstPauseSeconds);
  }
  trace(CFI_TRACE_ERROR, qmfs_log::unmountFailed);
  dumpMountInformation(attempt.mountPoint, "");
  throw attempt.exitStatus;
}

// Runs the command once. A command that failed and nevertheless left nothing mounted has succeeded.
bool CQmFSPlugin::runUmount(UmountAttempt& attempt) {
  trace(CFI_TRACE_PROGRESS, qmfs_log::command, attempt.command.c_str());
  attempt.code = executeCommand(attempt.command, attempt.output, attempt.exitStatus, QMFS_COMMAND_TIMEOUT);
  if (attempt.code == KFI_EXEC_PIPE_SUCCESS) return true;
  traceUmountFailure(attempt);
  if (getMountStatus(attempt.mountPoint.c_str()) == QMFS_NOT_MOUNTED) {
    trace(CFI_TRACE_WARNING, qmfs_log::unmountedNevertheless);
    return true;
  }
  return false;
}

void CQmFSPlugin::traceUmountFailure(const UmountAttempt& attempt) {
  const std::string message = joined(attempt.output);
  trace(CFI_TRACE_WARNING, qmfs_log::pipeFailedWithMessage, attempt.code, message.c_str());
  if (attempt.code == KFI_EXEC_PIPE_CMD_FAILED) {
    trace(CFI_TRACE_PROGRESS, qmfs_log::commandFailedWithCode, attempt.command.c_str(), attempt.exitStatus,
          message.c_str());
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
    trace(CFI_TRACE_PROGRESS, qmfs_log::retrying, pause, attempt);
    pause = doubled(pause);
    const CQmFSCommandRun run = runner.run(commandLine);
    error = run.error;
    if (run.succeeded()) {
      trace(CFI_TRACE_PROGRESS, qmfs_log::retrySucceeded);
      return 0;
    }
    trace(CFI_TRACE_WARNING, qmfs_log::pipeFailed, error.getCode());
    trace(CFI_TRACE_WARNING, qmfs_log::retryFailed, commandLine.c_str(), error.getExitStatus(), run.message().c_str());
    if (says(run.output, "busy")) {
      trace(CFI_TRACE_ERROR, qmfs_log::deviceBusy);
      if (attempt == retries) return CFI_STATUS_BUSY;
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
  if (!device.empty()) trace(CFI_TRACE_PROGRESS, qmfs_log::deviceDump, describeDevice(device).c_str());
  trace(CFI_TRACE_PROGRESS, qmfs_log::mountPointDump, describeMountPoint(mountPoint.text()).c_str());

  const std::string fuser = fuserCommand(mountPoint);
  trace(CFI_TRACE_PROGRESS, qmfs_log::fuserCommand, fuser.c_str());
  trace(CFI_TRACE_PROGRESS, qmfs_log::fuserDump,
        describeProbe(qmfs_log::dumpingFuser, qmfs_log::fuserFailed, commandRunner().run(fuser)).c_str());

  const std::string list = mountListCommand();
  trace(CFI_TRACE_PROGRESS, qmfs_log::mountListCommand, list.c_str());
  const CQmFSCommandRun mounts = commandRunner().runTraced(list);
  std::string text = describeProbe(qmfs_log::dumpingMountList, qmfs_log::mountListFailed, mounts);
  trace(CFI_TRACE_PROGRESS, qmfs_log::mountListDump, text.c_str());
  return text;
}

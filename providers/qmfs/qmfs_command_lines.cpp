// The command lines that the provider runs.
#include "qmfs_command_lines.h"

namespace {

constexpr const char* blank = " ";
constexpr const char* mountProgram = "/bin/mount -t qmfs ";

void append(std::string& command, const std::string& piece) {
  command += piece;
}

void append(std::string& command, const CommandWord& word) {
  command += word.text();
}

template <typename... Pieces>
std::string join(const Pieces&... pieces) {
  std::string command;
  (append(command, pieces), ...);
  return command;
}

}  // namespace

std::string mkdirCommand(const CommandWord& path) {
  return join("/bin/mkdir -p ", blank, path);
}

std::string rmdirCommand(const CommandWord& path) {
  return join("/bin/rmdir ", blank, path);
}

std::string mkfsCommand(const CommandWord& device) {
  return join("/sbin/mkfs -t qmfs ", blank, device);
}

std::string fsckCommand(const CommandWord& device) {
  return join("/sbin/fsck -y -t qmfs ", blank, device);
}

std::string mountCommand(const CommandWord& device, const CommandWord& mountPoint, const std::string& options) {
  const std::string optionPart = options.empty() ? std::string() : join("-o ", options, blank);
  return join(mountProgram, blank, optionPart, device, blank, mountPoint);
}

std::string onlineMountCommand(const CommandWord& device, const CommandWord& mountPoint, const std::string& options) {
  return join(mountProgram, blank, "-o ", options, blank, device, blank, mountPoint);
}

std::string snapshotMountCommand(const CommandWord& device, const CommandWord& mountPoint) {
  return join(mountProgram, " -o ro ", device, blank, mountPoint);
}

std::string accessMountCommand(const CommandWord& device, const CommandWord& mountPoint, const std::string& options) {
  return join(mountProgram, " -o ", options, blank, device, blank, mountPoint);
}

std::string umountCommand(const CommandWord& mountPoint) {
  return join("/bin/umount ", blank, mountPoint);
}

std::string forcedUmountCommand(const std::string& program, const CommandWord& mountPoint) {
  return join(program, " -o force ", blank, mountPoint);
}

std::string fstypCommand(const std::string& program, const CommandWord& device) {
  return join(program, blank, device);
}

std::string fuserCommand(const CommandWord& mountPoint) {
  return join("/sbin/fuser ", mountPoint);
}

std::string mountListCommand() {
  return mountProgram;
}

std::string cacheEnableCommand(const CommandWord& device, const CommandWord& mountPoint) {
  return join("/bin/mount -t qmfs -o remount,log,mincache=closesync", blank, device, blank, mountPoint);
}

std::string cacheDisableCommand(const CommandWord& device, const CommandWord& mountPoint) {
  return join("/bin/mount -t qmfs -o remount,delaylog", blank, device, blank, mountPoint);
}

std::string installCheckCommand() {
  return join("/bin/rpm -qa ", " | ", "/bin/grep ", "KRIBqmfs");
}

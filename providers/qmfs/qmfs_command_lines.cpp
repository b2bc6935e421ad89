// The command lines that the provider runs.
#include "qmfs_command_lines.h"

namespace {

constexpr const char* blank = " ";
constexpr const char* mountProgram = "/bin/mount -t qmfs ";

template <typename... Pieces>
std::string join(const Pieces&... pieces) {
  std::string command;
  (command.append(pieces), ...);
  return command;
}

}  // namespace

std::string mkdirCommand(const std::string& path) {
  return join("/bin/mkdir -p ", blank, path);
}

std::string rmdirCommand(const std::string& path) {
  return join("/bin/rmdir ", blank, path);
}

std::string mkfsCommand(const std::string& device) {
  return join("/sbin/mkfs -t qmfs ", blank, device);
}

std::string fsckCommand(const std::string& device) {
  return join("/sbin/fsck -y -t qmfs ", blank, device);
}

std::string mountCommand(const std::string& device, const std::string& mountPoint, const std::string& options) {
  const std::string optionPart = options.empty() ? std::string() : join("-o ", options, blank);
  return join(mountProgram, blank, optionPart, device, blank, mountPoint);
}

std::string onlineMountCommand(const std::string& device, const std::string& mountPoint, const std::string& options) {
  return join(mountProgram, blank, "-o ", options, blank, device, blank, mountPoint);
}

std::string snapshotMountCommand(const std::string& device, const std::string& mountPoint) {
  return join(mountProgram, " -o ro ", device, blank, mountPoint);
}

std::string accessMountCommand(const std::string& device, const std::string& mountPoint, const std::string& options) {
  return join(mountProgram, " -o ", options, blank, device, blank, mountPoint);
}

std::string umountCommand(const std::string& mountPoint) {
  return join("/bin/umount ", blank, mountPoint);
}

std::string forcedUmountCommand(const std::string& program, const std::string& mountPoint) {
  return join(program, " -o force ", blank, mountPoint);
}

std::string fstypCommand(const std::string& program, const std::string& device) {
  return join(program, blank, device);
}

std::string fuserCommand(const std::string& mountPoint) {
  return join("/sbin/fuser ", mountPoint);
}

std::string mountListCommand() {
  return mountProgram;
}

std::string cacheEnableCommand(const std::string& device, const std::string& mountPoint) {
  return join("/bin/mount -t qmfs -o remount,log,mincache=closesync", blank, device, blank, mountPoint);
}

std::string cacheDisableCommand(const std::string& device, const std::string& mountPoint) {
  return join("/bin/mount -t qmfs -o remount,delaylog", blank, device, blank, mountPoint);
}

std::string installCheckCommand() {
  return join("/bin/rpm -qa ", " | ", "/bin/grep ", "KRIBqmfs");
}

// The command lines that the provider runs.
#include "qmfs_command_lines.h"

namespace {

constexpr const char* BLANK = " ";
constexpr const char* MOUNT = "/bin/mount -t qmfs ";

template <typename... Pieces>
std::string join(const Pieces&... pieces) {
  std::string command;
  (command.append(pieces), ...);
  return command;
}

}  // namespace

std::string mkdirCommand(const std::string& path) {
  return join("/bin/mkdir -p ", BLANK, path);
}

std::string rmdirCommand(const std::string& path) {
  return join("/bin/rmdir ", BLANK, path);
}

std::string mkfsCommand(const std::string& device) {
  return join("/sbin/mkfs -t qmfs ", BLANK, device);
}

std::string fsckCommand(const std::string& device) {
  return join("/sbin/fsck -y -t qmfs ", BLANK, device);
}

std::string mountCommand(const std::string& device, const std::string& mountPoint, const std::string& options) {
  const std::string optionPart = options.empty() ? std::string() : join("-o ", options, BLANK);
  return join(MOUNT, BLANK, optionPart, device, BLANK, mountPoint);
}

std::string onlineMountCommand(const std::string& device, const std::string& mountPoint, const std::string& options) {
  return join(MOUNT, BLANK, "-o ", options, BLANK, device, BLANK, mountPoint);
}

std::string snapshotMountCommand(const std::string& device, const std::string& mountPoint) {
  return join(MOUNT, " -o ro ", device, BLANK, mountPoint);
}

std::string accessMountCommand(const std::string& device, const std::string& mountPoint, const std::string& options) {
  return join(MOUNT, " -o ", options, BLANK, device, BLANK, mountPoint);
}

std::string umountCommand(const std::string& mountPoint) {
  return join("/bin/umount ", BLANK, mountPoint);
}

std::string forcedUmountCommand(const std::string& program, const std::string& mountPoint) {
  return join(program, " -o force ", BLANK, mountPoint);
}

std::string fstypCommand(const std::string& program, const std::string& device) {
  return join(program, BLANK, device);
}

std::string fuserCommand(const std::string& mountPoint) {
  return join("/sbin/fuser ", mountPoint);
}

std::string mountListCommand() {
  return MOUNT;
}

std::string cacheEnableCommand(const std::string& device, const std::string& mountPoint) {
  return join("/bin/mount -t qmfs -o remount,log,mincache=closesync", BLANK, device, BLANK, mountPoint);
}

std::string cacheDisableCommand(const std::string& device, const std::string& mountPoint) {
  return join("/bin/mount -t qmfs -o remount,delaylog", BLANK, device, BLANK, mountPoint);
}

std::string installCheckCommand() {
  return join("/bin/rpm -qa ", " | ", "/bin/grep ", "KRIBqmfs");
}

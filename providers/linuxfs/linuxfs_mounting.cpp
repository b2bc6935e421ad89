// What is done with one file system.
#include "linuxfs_mounting.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <vector>

#include "cfidescriptor.h"
#include "cfiexecpipe.h"
#include "cfifailure.h"
#include "cfimounting.h"

using namespace qmfi_pdk_4_4;

namespace {

// A program is given words, which cannot be quoted, and no device could be its option.
void run(const std::string& program, const std::string& device, int lastGoodStatus) {
  if (device.find_first_of(" \t\n") != std::string::npos || !blockDeviceNumber(device)) {
    throw CFiFailure(CFI_STATUS_INVALID_ARGUMENT, "MSG_ERROR_NOT_A_DEVICE", {device});
  }
  constexpr int plainPipe = 1;
  constexpr int halfADay = 12 * 3600;
  std::vector<std::string> output;
  CFiExecPipePosix pipe(plainPipe);
  const std::string command = program + " " + device;
  const int code = pipe.Exec(command, output, "", halfADay, "", "", "");
  if (code == KFI_EXEC_PIPE_SUCCESS) return;
  if (code == KFI_EXEC_PIPE_CMD_FAILED && pipe.getLastError().getExitStatus() <= lastGoodStatus) return;
  throw CFiFailure(CFI_STATUS_FAILED, "MSG_LINUXFS_PROGRAM", {command, pipe.getLastError().getText()});
}

}  // namespace

bool isLinuxFSType(std::string_view type) {
  return type == "xfs" || type == "ext4";
}

std::optional<CFiMount> linuxFSMountOn(const std::string& path) {
  auto mount = wholeMountOn(path);
  return mount && isLinuxFSType(mount->type) ? mount : std::nullopt;
}

std::string linuxFSTypeOn(const std::string& device) {
  // Both begin with what tells them, ext4 behind one KiB; its flags tell it from ext2 and ext3, which have neither
  // extents, 64 bits, protection from double mounts nor flexible groups.
  constexpr std::size_t magicPlace = 1024 + 0x38;
  constexpr std::size_t flagsPlace = 1024 + 0x60;
  constexpr std::array<unsigned char, 2> newFlags = {0xC0, 0x03};
  std::array<unsigned char, 2048> start{};
  const CFiDescriptor file(::open(device.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (!file.isOpen() || ::pread(file.get(), start.data(), start.size(), 0) < 0) {
    throw CFiFailure(CFI_STATUS_FAILED, "MSG_LINUXFS_READ", {device, errorText(errno)});
  }
  if (std::memcmp(start.data(), "XFSB", 4) == 0) return "xfs";
  const bool isExt = start[magicPlace] == 0x53 && start[magicPlace + 1] == 0xEF;
  const bool isNew = (start[flagsPlace] & newFlags[0]) != 0 || (start[flagsPlace + 1] & newFlags[1]) != 0;
  return isExt && isNew ? "ext4" : "";
}

void mountLinuxFS(const std::string& type, const std::string& device, const std::string& mountPoint,
                  const std::string& options) {
  mountFileSystem(type, device, mountPoint, type == "xfs" ? options + ",nouuid" : options);
}

void formatLinuxFS(const std::string& type, const std::string& device) {
  run("/sbin/mkfs." + type + (type == "xfs" ? " -q -f" : " -q -F"), device, 0);
  const int error = tryToMount(type, device);
  if (error != 0) throw CFiFailure(CFI_STATUS_FAILED, "MSG_LINUXFS_PROOF", {device, errorText(error)});
}

void checkLinuxFS(const std::string& type, const std::string& device) {
  // It has corrected what was wrong.
  constexpr int corrected = 1;
  run("/sbin/fsck." + type + " -p", device, corrected);
}

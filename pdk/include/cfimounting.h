// Mounting and unmounting by system calls, with options as the mount table has them.
#ifndef CFIMOUNTING_H
#define CFIMOUNTING_H

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <optional>
#include <string>

#include "cfidescriptor.h"
#include "cfifailure.h"
#include "cfimounttable.h"
#include "cfistringtool.h"

namespace qmfi_pdk_4_4 {

// An option that the kernel does not leave to the file system, and its flag; 0 for what is shown only.
struct CFiMountFlag {
  const char* name;
  unsigned long flag;
};

// All such options.
inline constexpr std::array CFI_MOUNT_FLAGS = {
    CFiMountFlag{"ro", MS_RDONLY},         CFiMountFlag{"rw", 0},
    CFiMountFlag{"nosuid", MS_NOSUID},     CFiMountFlag{"nodev", MS_NODEV},
    CFiMountFlag{"noexec", MS_NOEXEC},     CFiMountFlag{"sync", MS_SYNCHRONOUS},
    CFiMountFlag{"dirsync", MS_DIRSYNC},   CFiMountFlag{"noatime", MS_NOATIME},
    CFiMountFlag{"relatime", MS_RELATIME}, CFiMountFlag{"nodiratime", MS_NODIRATIME},
    CFiMountFlag{"lazytime", MS_LAZYTIME}, CFiMountFlag{"nosymfollow", MS_NOSYMFOLLOW},
    CFiMountFlag{"seclabel", 0},
};

// What a mount is asked for: flags, and the text of the options that are the file system's.
struct CFiMountRequest {
  unsigned long flags = 0;
  std::string data;
};

// The request of options that are separated by commas. Each option of the file system's is taken once.
inline CFiMountRequest mountRequestOf(const std::string& options) {
  CFiMountRequest request;
  for (const std::string& option : CFiStringTool::tokenize(options, ",")) {
    const auto* const known = std::find_if(CFI_MOUNT_FLAGS.begin(), CFI_MOUNT_FLAGS.end(),
                                           [&](const CFiMountFlag& one) { return option == one.name; });
    if (known != CFI_MOUNT_FLAGS.end()) {
      request.flags |= known->flag;
    } else if (("," + request.data + ",").find("," + option + ",") == std::string::npos) {
      request.data += (request.data.empty() ? "" : ",") + option;
    }
  }
  return request;
}

// Mounts a device's file system; a directory that is missing is made, but none above it. Throws CFiFailure 6 with
// MSG_ERROR_MOUNT_POINT or MSG_ERROR_MOUNT.
inline void mountFileSystem(const std::string& type, const std::string& device, const std::string& mountPoint,
                            const std::string& options) {
  if (::mkdir(mountPoint.c_str(), S_IRWXU) != 0 && errno != EEXIST) {
    throw CFiFailure(CFI_STATUS_FAILED, "MSG_ERROR_MOUNT_POINT", {mountPoint, errorText(errno)});
  }
  const CFiMountRequest request = mountRequestOf(options);
  if (::mount(device.c_str(), mountPoint.c_str(), type.c_str(), request.flags, request.data.c_str()) == 0) return;
  throw CFiFailure(CFI_STATUS_FAILED, "MSG_ERROR_MOUNT", {device, mountPoint, errorText(errno)});
}

// Has every use of a file system fail from now on, once it is written out. Does nothing when the path leads to another
// file system than that of the device number, or to one of a type that cannot do so.
inline void shutDownFileSystem(const std::string& mountPoint, dev_t device) {
  // The request of xfs, which ext4 has too.
  constexpr unsigned long shutDown = _IOR('X', 125, std::uint32_t);
  std::uint32_t writeOut = 0;
  const CFiDescriptor directory(::open(mountPoint.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  struct stat status {};
  if (!directory.isOpen() || ::fstat(directory.get(), &status) != 0 || status.st_dev != device) return;
  ::ioctl(directory.get(), shutDown, &writeOut);
}

// Whether an unmount ends also what is in use, whose users get errors from then on.
enum class CFiUnmount : std::uint8_t { unused, byForce };

// Unmounts the file system of that device number, which is mounted on a path. Throws CFiFailure 32 with
// MSG_ERROR_IN_USE, or 6 with MSG_ERROR_UNMOUNT.
inline void unmountFileSystem(const std::string& mountPoint, dev_t device, CFiUnmount how) {
  if (::umount2(mountPoint.c_str(), UMOUNT_NOFOLLOW) == 0) return;
  if (errno == EBUSY && how == CFiUnmount::byForce) {
    shutDownFileSystem(mountPoint, device);
    if (::umount2(mountPoint.c_str(), UMOUNT_NOFOLLOW | MNT_DETACH) == 0) return;
  }
  if (errno == EBUSY) throw CFiFailure(CFI_STATUS_BUSY, "MSG_ERROR_IN_USE", {mountPoint});
  throw CFiFailure(CFI_STATUS_FAILED, "MSG_ERROR_UNMOUNT", {mountPoint, errorText(errno)});
}

// Removes the directory of a mount point, if there is one. Throws CFiFailure 6 with MSG_ERROR_MOUNT_POINT.
inline void removeMountPoint(const std::string& mountPoint) {
  if (::rmdir(mountPoint.c_str()) == 0 || errno == ENOENT) return;
  throw CFiFailure(CFI_STATUS_FAILED, "MSG_ERROR_MOUNT_POINT", {mountPoint, errorText(errno)});
}

// Whether a device is mounted where it is to be; false when it is mounted nowhere. Throws CFiFailure 1088 with
// MSG_ERROR_MOUNTED_ELSEWHERE, 3 with MSG_ERROR_NOT_A_DEVICE, and std::system_error when the table cannot be read.
inline bool isMountedThere(const std::string& device, const std::string& mountPoint) {
  const std::optional<dev_t> number = blockDeviceNumber(device);
  if (!number) throw CFiFailure(CFI_STATUS_INVALID_ARGUMENT, "MSG_ERROR_NOT_A_DEVICE", {device});
  const std::optional<CFiMount> there = wholeMountOn(mountPoint);
  if (there && there->device == *number) return true;
  const std::optional<CFiMount> elsewhere = wholeMountOf(*number);
  if (!elsewhere) return false;
  throw CFiFailure(CFI_STATUS_MOUNTED_ELSEWHERE, "MSG_ERROR_MOUNTED_ELSEWHERE", {device, elsewhere->mountPoint});
}

// Has the kernel mount a device's file system on no mount point and forget it again. 0, or why it cannot, an errno
// value.
inline int tryToMount(const std::string& type, const std::string& device) {
  const CFiDescriptor context(::fsopen(type.c_str(), FSOPEN_CLOEXEC));
  const bool isMounted = context.isOpen() &&
                         ::fsconfig(context.get(), FSCONFIG_SET_STRING, "source", device.c_str(), 0) == 0 &&
                         ::fsconfig(context.get(), FSCONFIG_CMD_CREATE, nullptr, nullptr, 0) == 0;
  return isMounted ? 0 : errno;
}

}  // namespace qmfi_pdk_4_4

#endif

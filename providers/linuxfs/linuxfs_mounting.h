// Mounting and unmounting by system calls, and the system's programs for what no system call does.
#ifndef LINUXFS_MOUNTING_H
#define LINUXFS_MOUNTING_H

#include <optional>
#include <string>
#include <string_view>

#include "cfimounttable.h"

// Whether the provider freezes file systems of that type.
bool isLinuxFSType(std::string_view type);

// The file system of such a type that is mounted as a whole on a path. Throws std::system_error.
std::optional<qmfi_pdk_4_4::CFiMount> linuxFSMountOn(const std::string& path);

// The type of the file system on a device; empty for any other than the provider's. Throws CFiFailure when the device
// cannot be read.
std::string linuxFSTypeOn(const std::string& device);

// All throw CFiFailure. An identity that a snapshot shares with its origin is no hindrance to a mount. The others run
// the system's programs for the type; what has been formatted is proved by a mount.
void mountLinuxFS(const std::string& type, const std::string& device, const std::string& mountPoint,
                  const std::string& options);
void formatLinuxFS(const std::string& type, const std::string& device);
void checkLinuxFS(const std::string& type, const std::string& device);

#endif

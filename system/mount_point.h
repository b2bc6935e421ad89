// Where file systems are mounted.
#ifndef MOUNT_POINT_H
#define MOUNT_POINT_H

#include <cstdint>
#include <optional>
#include <string>

namespace qmfi_system {

// The kernel's number of the mount that a path lies in; nothing, with errno, for what cannot be looked at.
std::optional<std::uint64_t> mountNumberOf(const std::string& path);

// The mount point of the file system that a path lies in, without symbolic links: "/srv" for "/srv/data/file". Empty
// for what is not there or cannot be looked at.
std::string mountPointAbove(const std::string& path);

}  // namespace qmfi_system

#endif

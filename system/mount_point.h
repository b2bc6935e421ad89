// Where file systems are mounted.
#ifndef MOUNT_POINT_H
#define MOUNT_POINT_H

#include <string>

namespace qmfi_system {

// The mount point of the file system that a path lies in, without symbolic links: "/srv" for "/srv/data/file". Empty
// for what is not there or cannot be looked at.
std::string mountPointAbove(const std::string& path);

}  // namespace qmfi_system

#endif

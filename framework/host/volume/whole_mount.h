// Whether a mount point shows a file system as a whole.
#ifndef WHOLE_MOUNT_H
#define WHOLE_MOUNT_H

#include <string>

namespace qmfi_host {

// Throws HostError when only a directory of a file system is mounted there, as by "mount --bind": a snapshot is one of
// the whole file system, and would show something else there. What is no mount point is for others to refuse.
void requireWholeMount(const std::string& mountPoint);

}  // namespace qmfi_host

#endif

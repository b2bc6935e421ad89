// Who keeps a file system from being unmounted.
#ifndef FILE_SYSTEM_USERS_H
#define FILE_SYSTEM_USERS_H

#include <sys/types.h>

#include <string>
#include <vector>

#include "state/snapshot.h"

namespace qmfi_host {

// What uses the file system of a device, a line for each: "process 4711 (tar), backup.service" for a process that has a
// file or directory of it open, mapped, or as its working or root directory, with its systemd unit if it is in one;
// "loop device /dev/loop3" for one over a file of it. Files are told by their device numbers and not looked at: one on
// another file system may never answer. Processes come and go; those that cannot be read are left out.
std::vector<std::string> usersOf(dev_t device);

// Throws HostError that names the users of a snapshot's mounted alternates, unless there are none.
void requireUnused(const Snapshot& snapshot);

// The same for the file systems on mount points that are to be changed below their users.
void requireUnused(const std::vector<std::string>& mountPoints);

}  // namespace qmfi_host

#endif

// The private root: the machine's own files seen through a layer that is gone with the testbed, and its own devices.
#pragma once

#include <filesystem>

namespace testbed {

// Moves the calling process (of one thread, process 1 of its PID namespace) into a private root:
//  - every file of the machine is there, but what is written goes to memory and vanishes with the last process inside;
//    only `buildTree` is the machine's own, so that results and coverage data written there stay;
//  - /dev holds the usual devices and no disk; /proc shows the processes inside; /etc/mtab is a regular file;
//  - mounts, System V IPC and the host name are private.
// Throws std::system_error.
void enterPrivateRoot(const std::filesystem::path& buildTree);

}  // namespace testbed

// The private root: the machine's own files seen through a layer that is gone with the testbed, and its own devices.
#ifndef PRIVATE_ROOT_H
#define PRIVATE_ROOT_H

#include <filesystem>
#include <map>
#include <string>

namespace testbed {

// Moves the calling process (of one thread, process 1 of its PID namespace) into a private root:
//  - every file of the machine is there, but what is written goes to memory and vanishes with the last process inside;
//    only the directories `shown` are the machine's own, each at the path it is mapped to;
//  - /dev holds the usual devices and no disk; /proc shows the processes inside; /etc/mtab is a regular file;
//  - mounts, System V IPC and the host name are private.
// Throws std::system_error.
void enterPrivateRoot(const std::map<std::filesystem::path, std::string>& shown);

}  // namespace testbed

#endif

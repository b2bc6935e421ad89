// The devices of the private root.
#ifndef PRIVATE_DEVICES_H
#define PRIVATE_DEVICES_H

#include <string>

namespace testbed {

// Mounts a file system of its own on `directory` (an empty /dev to be) and fills it with the usual devices, nodes of
// loop devices, terminals and shared memory. Disks are left out: nothing inside can reach the machine's own. Throws
// std::system_error.
void fillDevices(const std::string& directory);

}  // namespace testbed

#endif

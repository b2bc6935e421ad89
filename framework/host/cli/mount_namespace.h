// Which mounts the machine's other programs see.
#ifndef MOUNT_NAMESPACE_H
#define MOUNT_NAMESPACE_H

namespace qmfi_host {

// Throws HostError in another mount namespace than that of process 1: what is mounted here nobody else would see, and
// it would be gone with this namespace.
void requireMachinesMountNamespace();

}  // namespace qmfi_host

#endif

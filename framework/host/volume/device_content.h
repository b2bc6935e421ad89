// What is on a device before somebody formats, checks or mounts it.
#ifndef DEVICE_CONTENT_H
#define DEVICE_CONTENT_H

#include <string>

namespace qmfi_host {

// What a device that nobody uses is wanted for.
enum class DevicePurpose { format, check };

// Throws HostError when the path is not a block device, or the device is mounted or otherwise in use. purpose: what
// cannot be done to it then.
void requireUnusedDevice(const std::string& device, DevicePurpose purpose);

// The name of what a device's content says it is: a file system, a partition table, a member of a volume group; empty
// when it says nothing. Throws HostError when the device cannot be read.
std::string contentOf(const std::string& device);

}  // namespace qmfi_host

#endif

// Loop devices as volumes and their snapshots: failures are told to the user.
#ifndef LOOP_DEVICE_H
#define LOOP_DEVICE_H

#include <sys/types.h>

#include <optional>
#include <string>

#include "system/descriptor.h"

namespace qmfi_host {

// The file behind the loop device at a path, as an absolute path. Throws HostError when the path is not a loop device,
// when its file cannot be found under its name any more, or when the device covers only a part of the file.
std::string backingFileOf(const std::string& device);

// The number of the block device node at a path where that is a loop device over the file; nothing when either of the
// two is missing.
std::optional<dev_t> loopDeviceOver(const std::string& device, const std::string& file);

// Throws HostError when no loop device can be asked for.
void requireLoopControl();

// Makes a block device node at a path and attaches it, writable, to the file, until it is detached. The result is its
// first user. Throws HostError, with no node left at the path.
qmfi_system::Descriptor attachLoopDevice(const std::string& device, const std::string& file);

// Detaches the loop device at a path, at once or as soon as its last user is gone. Throws HostError.
void detachLoopDevice(const std::string& device);

}  // namespace qmfi_host

#endif

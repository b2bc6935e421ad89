// Loop devices: block devices over files.
#ifndef LOOP_DEVICE_H
#define LOOP_DEVICE_H

#include <string>

#include "system/descriptor.h"

namespace qmfi_host {

// The file behind the loop device at a path, as an absolute path. Throws HostError when the path is not a loop device,
// when its file cannot be found under its name any more, or when the device covers only a part of the file.
std::string backingFileOf(const std::string& device);

// Whether the block device node at a path is a loop device over the file; false when either of the two is missing.
bool isLoopDeviceOver(const std::string& device, const std::string& file);

// Makes a block device node at a path and attaches it, writable, to the file. The device detaches itself when its last
// user is gone; the result is the first one. Throws HostError, with no node left at the path.
Descriptor attachLoopDevice(const std::string& device, const std::string& file);

// Detaches the loop device at a path, at once or as soon as its last user is gone. Throws HostError.
void detachLoopDevice(const std::string& device);

}  // namespace qmfi_host

#endif

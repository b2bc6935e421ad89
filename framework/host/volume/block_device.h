// What a block device is, as the kernel tells.
#ifndef BLOCK_DEVICE_H
#define BLOCK_DEVICE_H

#include <sys/types.h>

#include <optional>
#include <string>

namespace qmfi_host {

// The number of the block device at a path, links followed; nothing where there is none.
std::optional<dev_t> blockDeviceAt(const std::string& path);

// A device number as the kernel writes it: "8:16".
std::string deviceNumberText(dev_t device);

// The identity of a device-mapper device, which begins with the name of the program that made it; empty for others.
std::string mapperIdentity(dev_t device);

// Whether a device-mapper device lets its users wait.
bool isSuspended(dev_t device);

// What is at a path, for a sentence in the user's language: "a loop device", "a device-mapper device (CRYPT-...)", "a
// block device (8:16)", "no block device".
std::string kindOf(const std::string& path);

}  // namespace qmfi_host

#endif

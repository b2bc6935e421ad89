// What file system a device holds.
#ifndef DEVICE_PROBE_H
#define DEVICE_PROBE_H

#include <string>

namespace testbed {

// The name of the file system on the device: "qmfs" for one made by mkfs.qmfs, another type's usual name, or empty when
// nothing is recognised or the device cannot be read.
std::string fileSystemType(const std::string& device);

// The label that mkfs.qmfs leaves on what it formats, and that tells qmfs from the type below it.
inline const std::string qmfsLabel = "qmfs";

}  // namespace testbed

#endif

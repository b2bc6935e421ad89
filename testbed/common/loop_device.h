// Loop devices: block devices over files.
#ifndef LOOP_DEVICE_H
#define LOOP_DEVICE_H

#include <sys/types.h>

#include <optional>

#include "system/descriptor.h"

namespace testbed {

// An attached loop device. It detaches itself when its last user is gone: no mount, no open descriptor.
struct LoopDevice {
  int number;                      // N of /dev/loopN
  dev_t device;                    // its device number
  qmfi_system::Descriptor handle;  // keeps it attached; read-only
};

// Attaches a free loop device to the file `backing` (open for reading and writing). /dev/loopN is made where it is
// missing. Throws std::system_error.
LoopDevice attachLoopDevice(int backing);

// The device number of the file system that holds the file behind loop device `device`; nothing when that is no
// attached loop device.
std::optional<dev_t> fileSystemBehind(dev_t device);

// How many loop devices lie between `device` and a file on the file system `pool`: 1 for a volume, 2 for an image on a
// mounted volume, and so on; 0 when the way does not end at the pool.
int distanceFromPool(dev_t device, dev_t pool);

// Detaches every loop device whose way ends at the file system `pool`, at once or when its last user goes.
void detachLoopDevicesOf(dev_t pool);

}  // namespace testbed

#endif

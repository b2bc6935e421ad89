// The pool of sparse volume files, and the volumes over it.
#ifndef VOLUME_POOL_H
#define VOLUME_POOL_H

#include <sys/types.h>

#include <string>
#include <vector>

#include "common/loop_device.h"
#include "launcher/arguments.h"
#include "system/descriptor.h"

namespace testbed {

// Where the pool is mounted in the private root. Volume NAME is the file dg1/NAME in it.
inline const std::string poolDirectory = "/qmfs-pool";

// A sparse file without a name in $TMPDIR or /var/tmp, for the pool to lie in: it is gone with its last user.
// To be called while the machine's own disks are in sight. Throws std::system_error.
qmfi_system::Descriptor makePoolImage();

// A mounted file system that can share blocks between files, so that a volume is copied in no time.
class VolumePool {
 public:
  // Formats `image` and mounts it at poolDirectory, for this testbed alone. Throws std::system_error or
  // std::runtime_error.
  static VolumePool ownPool(qmfi_system::Descriptor image);

  // What is at poolDirectory already, and may be at other testbeds' too. Throws std::system_error.
  static VolumePool sharedPool();

  // The device number of the pool's file system.
  dev_t device() const { return m_device; }

  // Makes the volume's block and raw device, which stay attached as long as this object lives. A volume that a shared
  // pool already holds is taken as it is. Returns whether it is a new one, which is blank. Throws std::system_error.
  bool add(const VolumeSpec& volume);

 private:
  explicit VolumePool(dev_t device) : m_device(device) {}

  dev_t m_device;
  std::vector<LoopDevice> m_volumes;
};

// Both are paths: of the volume's block device, and of its raw device, which on this system is the same under another
// name.
std::string blockDeviceOf(const VolumeSpec& volume);
std::string rawDeviceOf(const VolumeSpec& volume);

}  // namespace testbed

#endif

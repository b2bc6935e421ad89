// Loop devices: block devices over files.
#include "common/loop_device.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <string>
#include <system_error>
#include <utility>

#include "system/checked.h"
#include "system/loop_device.h"

namespace testbed {

using qmfi_system::checked;
using qmfi_system::Descriptor;

namespace {

constexpr int deepestStack = 8;

std::string nodeOf(int number) {
  return "/dev/loop" + std::to_string(number);
}

void makeNode(int number) {
  if (mknod(nodeOf(number).c_str(), S_IFBLK | 0660, qmfi_system::loopDevice(number)) < 0 && errno != EEXIST) {
    checked(-1, "making " + nodeOf(number));
  }
}

}  // namespace

LoopDevice attachLoopDevice(int backing) {
  const Descriptor control(checked(open("/dev/loop-control", O_RDWR | O_CLOEXEC), "opening /dev/loop-control"));
  qmfi_system::FreeLoopDevices devices(control);
  for (;;) {
    const int number = checked(devices.next(), "finding a free loop device");
    makeNode(number);
    Descriptor handle = qmfi_system::attachLoopDevice(nodeOf(number), backing);
    if (handle.valid()) return {number, qmfi_system::loopDevice(number), std::move(handle)};
    const int reason = errno;
    if (!devices.mayTryAgain(reason)) {
      throw std::system_error(reason, std::generic_category(), "attaching " + nodeOf(number));
    }
  }
}

std::optional<dev_t> fileSystemBehind(dev_t device) {
  if (!qmfi_system::isLoopDevice(device)) return std::nullopt;
  const auto backing = qmfi_system::loopBacking(nodeOf(static_cast<int>(minor(device))));
  return backing ? std::optional(backing->fileSystem) : std::nullopt;
}

int distanceFromPool(dev_t device, dev_t pool) {
  for (int distance = 1; distance <= deepestStack; ++distance) {
    const auto behind = fileSystemBehind(device);
    if (!behind) return 0;
    if (*behind == pool) return distance;
    device = *behind;
  }
  return 0;
}

void detachLoopDevicesOf(dev_t pool) {
  for (const int number : qmfi_system::attachedLoopDevices()) {
    if (distanceFromPool(qmfi_system::loopDevice(number), pool) != 0) qmfi_system::detachLoopDevice(nodeOf(number));
  }
}

}  // namespace testbed

// Loop devices: block devices over files.
#ifndef SYSTEM_LOOP_DEVICE_H
#define SYSTEM_LOOP_DEVICE_H

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "system/descriptor.h"

namespace qmfi_system {

// The file that a loop device lies over.
struct LoopBacking {
  dev_t fileSystem;         // the device number of the file system that holds it
  ino_t inode;              // its number there
  std::uint64_t offset;     // where in the file the device begins
  std::uint64_t sizeLimit;  // how much of the file it covers; 0 for all from there on
};

// Whether a block device's number is that of a loop device, attached or not.
bool isLoopDevice(dev_t device);

// The number of loop device N.
dev_t loopDevice(int number);

// What is behind the attached loop device whose node is at a path; nothing when there is none.
std::optional<LoopBacking> loopBacking(const std::string& node);

// The name that the file behind a loop device had when it was attached; empty when it is not attached. The file need
// not be there any more, nor be in sight of this process. Throws std::bad_alloc.
std::string backingFileName(dev_t device);

// The attached loop devices of the machine, by number. Throws std::bad_alloc.
std::vector<int> attachedLoopDevices();

// Finds loop devices to be attached, one attempt after another: others of the machine look for them as well. Not for
// several threads.
class FreeLoopDevices {
 public:
  // `control`: /dev/loop-control, open for reading and writing; used as long as this lives.
  explicit FreeLoopDevices(const Descriptor& control);

  // The number of one that is free now; negative, with errno, when none can be had.
  int next();

  // Whether an attempt that failed with the errno value may be followed by another one, with the next device. Waits for
  // a moment before it says so; false after some seconds of attempts.
  bool mayTryAgain(int error);

 private:
  using Clock = std::chrono::steady_clock;

  const Descriptor& m_control;
  const Clock::time_point m_deadline;
  Clock::time_point m_another;  // when a device is made that nobody can hold yet
};

// When an attached loop device is detached.
enum class LoopDetaching {
  byItself,  // when its last user is gone: no mount, no open descriptor
  onRequest  // by detachLoopDevice only
};

// Attaches the loop device whose node is at a path, writable, to the open file; the file stays the caller's. The result
// is the first user, read-only; invalid, with errno, when it failed, EBUSY where somebody else has or holds the device.
// Thread-safe.
Descriptor attachLoopDevice(const std::string& node, int file, LoopDetaching detaching = LoopDetaching::byItself);

// Detaches an open loop device as soon as nobody else uses it. Thread-safe.
void detachWithLastUser(const Descriptor& device);

// Detaches the loop device whose node is at a path, at once or as soon as its last user is gone. Returns 0, also for
// one that is not attached, or an errno value. Thread-safe.
int detachLoopDevice(const std::string& node);

}  // namespace qmfi_system

#endif

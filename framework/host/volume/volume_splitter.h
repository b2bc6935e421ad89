// The volume layer below the file systems: splits a copy off a volume in a moment and makes a device of it.
#ifndef VOLUME_SPLITTER_H
#define VOLUME_SPLITTER_H

#include <memory>
#include <string>

#include "volume/split_plan.h"

namespace qmfi_host {

// A volume that is ready to be split.
class VolumeSplit {
 public:
  virtual ~VolumeSplit() = default;

  // Writes out what the volume still has in memory, so that the split has little left to do. Throws HostError.
  virtual void flush() = 0;

  // Splits the snapshot off. Called while file systems are frozen: it does not allocate, run a program or write to any
  // file but the snapshot's. Returns 0 or an errno value.
  virtual int split() noexcept = 0;
};

// Keeps a snapshot device in being until it ends; later its users, a mount for example, keep it.
class SnapshotDevice {
 public:
  virtual ~SnapshotDevice() = default;
};

// One thread at a time. Whatever is made belongs to root alone. Failures are thrown as HostError.
class VolumeSplitter {
 public:
  virtual ~VolumeSplitter() = default;

  // Decides where the snapshot of a volume will lie; makes nothing. Throws when the volume cannot be split here, or
  // when one of the places is taken.
  virtual SplitPlan plan(const std::string& device, const std::string& snapshotId) const = 0;

  // Makes and opens all that the split needs.
  virtual std::unique_ptr<VolumeSplit> prepare(const SplitPlan& plan) const = 0;

  // Makes the snapshot device. A device that is left over from an earlier time gives way.
  virtual std::unique_ptr<SnapshotDevice> attach(const SplitPlan& plan) const = 0;

  // Takes the snapshot device away again; does nothing where there is none.
  virtual void detach(const SplitPlan& plan) const = 0;

  // Takes the device and the snapshot itself away; does nothing where there are none.
  virtual void release(const SplitPlan& plan) const = 0;
};

}  // namespace qmfi_host

#endif

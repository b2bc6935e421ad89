// The volume layer below the file systems: splits a copy off a volume in a moment and makes a device of it.
#ifndef VOLUME_SPLITTER_H
#define VOLUME_SPLITTER_H

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "volume/split_plan.h"

namespace qmfi_host {

// Volumes of one splitter that are ready to be split together.
class GroupSplit {
 public:
  virtual ~GroupSplit() = default;

  // Writes out what the volumes still have in memory, so that the split has little left to do. Throws HostError.
  virtual void flush() = 0;

  // Splits all the snapshots off. Called while file systems are frozen: it does not allocate, start a program or write
  // to any file but the snapshots', and it gives up soon after the deadline: copies that are late are of no use.
  // Returns 0 where nothing is known to have failed, or an errno value, ETIME for copies that were given up.
  virtual int split(std::chrono::steady_clock::time_point deadline) noexcept = 0;

  // For when all is thawed after a split: throws HostError unless every volume was split, with the one that was not
  // and the reason.
  virtual void requireSplit() = 0;
};

// Keeps a snapshot device in being until it ends; later its users, a mount for example, keep it.
class SnapshotDevice {
 public:
  virtual ~SnapshotDevice() = default;
};

// What is looked at of a volume and its snapshot.
enum class LookAt {
  copy,
  everything  // the storage, too, which takes longer
};

// How it stands with a volume and its snapshot.
struct VolumeStatus {
  bool exists = false;            // the copy is there
  std::uint64_t bytes = 0;        // that the copy occupies, those included that it shares
  std::optional<dev_t> device{};  // of the snapshot, while it is attached
  // Of the storage:
  std::string storage{};       // what both lie on, by a name that nothing else has; empty where that is not known
  std::uint64_t occupied = 0;  // bytes of the volume
  std::uint64_t needs = 0;     // bytes that an overwrite of the whole volume takes, because copies share them
  std::uint64_t free = 0;      // bytes of the storage
};

// A text that was kept beside a snapshot.
struct KeptRecord {
  std::string snapshotFile;  // of the plan that it was kept for
  std::string text;
};

// One thread at a time. Whatever is made belongs to root alone. Failures are thrown as HostError.
class VolumeSplitter {
 public:
  virtual ~VolumeSplitter() = default;

  // As users and the state store call it.
  virtual std::string name() const = 0;

  // Throws HostError, with the reason, when it can split nothing on this machine.
  virtual void requireUsable() const = 0;

  // Whether the volume at a device is of the kind that it splits unless the user says otherwise.
  virtual bool isFor(const std::string& device) const = 0;

  // Decides where the snapshot of a volume will lie; makes nothing. Throws when the volume cannot be split here, or
  // when one of the paths is taken.
  virtual SplitPlan plan(const std::string& device, const std::string& snapshotId) const = 0;

  // A place that the split of a volume writes to, which must not be frozen then; empty for none. Throws HostError.
  virtual std::string workPlace(const SplitPlan& plan) const = 0;

  // Makes, opens and starts all that the split of these volumes needs; one plan at least. What is made stays when this
  // throws, for release().
  virtual std::unique_ptr<GroupSplit> prepare(const std::vector<SplitPlan>& plans) const = 0;

  // Makes the snapshot device. A device that is left over from an earlier time gives way.
  virtual std::unique_ptr<SnapshotDevice> attach(const SplitPlan& plan) const = 0;

  // Takes the snapshot device away again; does nothing where there is none.
  virtual void detach(const SplitPlan& plan) const = 0;

  // What cannot be read counts as not there. Also for a plan that nothing has been made of yet.
  virtual VolumeStatus look(const SplitPlan& plan, LookAt what) const = 0;

  // Keeps a text beside the snapshot, in place of an earlier one; it is on the disk when the call returns.
  virtual void keepRecord(const SplitPlan& plan, const std::string& text) const = 0;

  // The texts that are kept beside all snapshots of the volumes that this machine has now.
  virtual std::vector<KeptRecord> records() const = 0;

  // Takes the device and the snapshot itself away, with its record; does nothing where there are none.
  virtual void release(const SplitPlan& plan) const = 0;
};

}  // namespace qmfi_host

#endif

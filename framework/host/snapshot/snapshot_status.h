// How snapshots are now, which need not be as they were left.
#ifndef SNAPSHOT_STATUS_H
#define SNAPSHOT_STATUS_H

#include <sys/types.h>

#include <istream>
#include <set>
#include <string>
#include <vector>

#include "state/snapshot.h"
#include "volume/splitters.h"

namespace qmfi_host {

// One file system of a snapshot.
struct NodeStatus {
  VolumeStatus volume;
  bool mounted = false;  // its snapshot, anywhere in this mount namespace
};

// A snapshot and what has become of it.
struct SnapshotStatus {
  Snapshot snapshot;
  // "ready", "unmounted", "gone" (a copy is not there any more), "interrupted", "working" (another qmfi is at it) or
  // "damaged".
  std::string state;
  std::vector<NodeStatus> nodes;  // in the order of the snapshot's
  std::string damage;             // what is damaged; empty for a sound one
};

// The device numbers of all mounted file systems, of a mount table as /proc/self/mountinfo has it.
std::set<dev_t> mountedDevices(std::istream& mountTable);
// Those of this process's mount namespace.
std::set<dev_t> mountedDevices();

// Looks at what there is of a snapshot. what: of its volumes. isWorkedOn: whether another process has it claimed.
SnapshotStatus statusOf(Snapshot snapshot, const Splitters& splitters, const std::set<dev_t>& mounted, LookAt what,
                        bool isWorkedOn);

// Whether all the file systems of a snapshot are mounted.
bool isMounted(const SnapshotStatus& status);
// How many bytes its copies occupy together.
std::uint64_t bytesOf(const SnapshotStatus& status);

}  // namespace qmfi_host

#endif

// Snapshots as they are now, for commands that tell of them.
#ifndef PRESENT_STATUS_H
#define PRESENT_STATUS_H

#include <vector>

#include "cli/command.h"
#include "snapshot/snapshot_status.h"

namespace qmfi_host {

// How a snapshot is now.
SnapshotStatus presentStatus(const Settings& settings, const Snapshot& snapshot);

// All that the state knows, the damaged ones last. what: of their volumes. Throws HostError.
std::vector<SnapshotStatus> knownSnapshots(const Settings& settings, LookAt what);

}  // namespace qmfi_host

#endif

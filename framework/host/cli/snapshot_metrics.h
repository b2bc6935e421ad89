// Numbers about the snapshots, for monitoring.
#ifndef SNAPSHOT_METRICS_H
#define SNAPSHOT_METRICS_H

#include <ostream>
#include <vector>

#include "snapshot/snapshot_status.h"

namespace qmfi_host {

// In the text format of Prometheus: how many snapshots there are of each state, and for each file system of the
// complete ones when the newest was taken, how long that one's freeze lasted, and what its copies and an overwrite take
// of the storage, which must have been looked at. docs/qmfi.md lists the names.
void printMetrics(std::ostream& out, const std::vector<SnapshotStatus>& snapshots);

}  // namespace qmfi_host

#endif

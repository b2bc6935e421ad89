// Snapshots as programs and as people read them.
#ifndef SNAPSHOT_OUTPUT_H
#define SNAPSHOT_OUTPUT_H

#include <ostream>
#include <string>
#include <vector>

#include "snapshot/snapshot_status.h"

namespace qmfi_host {

// One JSON object: "id", "name", "state", "phase", "created", "frozen_us", "size", "mounted", for one that is held
// "held", for a damaged one "damage", "receipt" (receipt_output.h), and "nodes" with "mount_point", "device",
// "snapshot_device", "alternate", "provider", "splitter", "size", "mounted", "needs" and "free" each. Ends with a
// line feed, as all output here.
void printJson(std::ostream& out, const SnapshotStatus& snapshot);

// The same objects as one JSON array.
void printJson(std::ostream& out, const std::vector<SnapshotStatus>& snapshots);

// One snapshot in full.
void printText(std::ostream& out, const SnapshotStatus& snapshot);

// Microseconds as milliseconds with one decimal: "12.3 ms".
std::string millisecondsText(std::chrono::microseconds duration);

// A time as the clock of the user shows it: "2026-11-23 03:00:00".
std::string localTime(Snapshot::Time time);

}  // namespace qmfi_host

#endif

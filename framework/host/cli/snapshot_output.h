// Snapshots as programs and as people read them.
#ifndef SNAPSHOT_OUTPUT_H
#define SNAPSHOT_OUTPUT_H

#include <ostream>
#include <string>
#include <vector>

#include "state/snapshot.h"

namespace qmfi_host {

// One JSON object: "id", "name", "frozen_us", and "nodes" with "mount_point", "device", "snapshot_device" and
// "alternate" each. Bytes that are not UTF-8 are replaced. Ends with a line feed, as all output here.
void printJson(std::ostream& out, const Snapshot& snapshot);

// The same objects as one JSON array.
void printJson(std::ostream& out, const std::vector<Snapshot>& snapshots);

// One snapshot in full.
void printText(std::ostream& out, const Snapshot& snapshot);

// A line for each snapshot, below a heading.
void printText(std::ostream& out, const std::vector<Snapshot>& snapshots);

// Microseconds as milliseconds with one decimal: "12.3 ms".
std::string millisecondsText(std::chrono::microseconds duration);

}  // namespace qmfi_host

#endif

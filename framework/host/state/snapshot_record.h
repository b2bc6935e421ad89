// What is kept of a snapshot beside its copies, for the day on which the state store is lost.
#ifndef SNAPSHOT_RECORD_H
#define SNAPSHOT_RECORD_H

#include <string>

#include "state/snapshot.h"

namespace qmfi_host {

// All that is known of a snapshot, as a JSON object. In its texts every byte that is not plain ASCII, and "%", stands
// as "%" and two hexadecimal digits: names need not be UTF-8.
std::string recordOf(const Snapshot& snapshot);

// The snapshot of a record. Throws HostError with the reason when it is none.
Snapshot snapshotOfRecord(const std::string& record);

}  // namespace qmfi_host

#endif

// File systems of a snapshot that are mounted within one another.
#ifndef NESTED_NODES_H
#define NESTED_NODES_H

#include <string>
#include <vector>

#include "state/snapshot.h"

namespace qmfi_host {

// Whether a path is that of a directory or lies in it, by the names alone. Both: absolute, without needless slashes.
bool isWithin(const std::string& path, const std::string& directory);

// Whether the mount point of a node lies below another one's of its snapshot.
bool isNested(const Snapshot& snapshot, const SnapshotNode& node);

// The nodes in the order in which their alternates can be mounted: those that lie below others come after them, and
// otherwise the order is the snapshot's. The reverse is the order in which they can be unmounted.
std::vector<SnapshotNode*> outerFirst(Snapshot& snapshot);

}  // namespace qmfi_host

#endif

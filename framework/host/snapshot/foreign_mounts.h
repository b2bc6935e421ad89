// Telling the mount of a snapshot from one of somebody else's in its place.
#ifndef FOREIGN_MOUNTS_H
#define FOREIGN_MOUNTS_H

#include "state/snapshot.h"
#include "volume/splitters.h"

namespace qmfi_host {

// Whether it is certain that the file system on an alternate's mount point is not the snapshot's: another qmfi, with
// another state, uses the same name after this one was killed or the machine restarted.
bool isForeignMount(const SnapshotNode& node, const Splitters& splitters);

}  // namespace qmfi_host

#endif

// Programs that a host left running when it was killed.
#ifndef ORPHANED_PROGRAMS_H
#define ORPHANED_PROGRAMS_H

#include "state/snapshot.h"

namespace qmfi_host {

// Waits until none of them is at work on the snapshot any more, some seconds at most: what such a program makes after
// everything has been removed would stay for ever. They are known by the snapshot's mount points and devices in their
// command lines. Call it with everything thawed.
void waitForOrphanedPrograms(const Snapshot& snapshot);

}  // namespace qmfi_host

#endif

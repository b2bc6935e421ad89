// Removing a snapshot of which the state store does not know everything any more.
#ifndef DAMAGED_REMOVAL_H
#define DAMAGED_REMOVAL_H

#include "provider/providers.h"
#include "snapshot/progress.h"
#include "state/state_lock.h"
#include "state/state_store.h"
#include "volume/splitters.h"

namespace qmfi_host {

// Unmounts and removes what can be found of a damaged snapshot, and forgets it. What could not be taken away is told on
// standard error. Paths that do not carry the snapshot's id are left alone: what is damaged may name anything. Throws
// HostError when it is still known afterwards. unlocked, progress: as for SnapshotRemoval.
void removeDamaged(Providers& providers, const Splitters& splitters, StateStore& store, DamagedSnapshot& damaged,
                   const RunUnlocked& unlocked, const Progress& progress);

}  // namespace qmfi_host

#endif

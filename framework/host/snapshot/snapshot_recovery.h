// Cleaning up what a host that was killed left behind.
#ifndef SNAPSHOT_RECOVERY_H
#define SNAPSHOT_RECOVERY_H

#include "provider/providers.h"
#include "snapshot/mounted_file_system.h"
#include "snapshot/progress.h"
#include "state/snapshot.h"
#include "state/state_lock.h"
#include "state/state_store.h"
#include "volume/splitters.h"

namespace qmfi_host {

// Thaws the file systems of a snapshot that was left in the middle of its freeze, without any provider. A freeze that
// can no longer be the snapshot's is left alone. Throws HostError.
void thawInterrupted(const FileSystems& fileSystems, const Snapshot& snapshot);

// Brings a snapshot that is thawed and not at rest to an end: one that was never complete, or was being deleted, is
// removed; one that was being mounted or unmounted ends unmounted. May be repeated, also after being killed itself. The
// snapshot's phase afterwards tells which of the two it was. Throws HostError.
//
// unlocked, progress: as for SnapshotRemoval; for waiting, too.
void recoverSnapshot(Providers& providers, const Splitters& splitters, StateStore& store, Snapshot& snapshot,
                     const RunUnlocked& unlocked = runLocked, const Progress& progress = noProgress());

}  // namespace qmfi_host

#endif

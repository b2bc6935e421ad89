// Mounting the alternates of a complete snapshot again.
#ifndef SNAPSHOT_MOUNTING_H
#define SNAPSHOT_MOUNTING_H

#include "provider/providers.h"
#include "snapshot/alternate_directories.h"
#include "snapshot/progress.h"
#include "state/snapshot.h"
#include "state/state_lock.h"
#include "state/state_store.h"
#include "volume/splitters.h"

namespace qmfi_host {

// Mounts every alternate that is not mounted, with the options that the provider remembers. When one cannot be mounted,
// all are unmounted and the failure is thrown. unlocked, progress: as for SnapshotRemoval. whenMounted: the phase that
// it is left in; one that is mounted for a while only stays in that of its mounting, so that a recovery unmounts it.
void mountSnapshot(Providers& providers, const Splitters& splitters, const AlternateDirectories& directories,
                   StateStore& store, Snapshot& snapshot, const RunUnlocked& unlocked = runLocked,
                   const Progress& progress = noProgress(), Phase whenMounted = Phase::ready);

}  // namespace qmfi_host

#endif

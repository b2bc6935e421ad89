// Putting in order what a host that was killed left behind.
#ifndef SNAPSHOT_RECOVERY_H
#define SNAPSHOT_RECOVERY_H

#include "provider/providers.h"
#include "state/snapshot.h"
#include "state/state_store.h"
#include "volume/volume_splitter.h"

namespace qmfi_host {

// Thaws the file systems of a snapshot that was left in the middle of its freeze, without any provider. Throws
// HostError.
void thawInterrupted(const Snapshot& snapshot);

// Brings a snapshot that is thawed and not at rest to an end: one that was never complete, or was being deleted, is
// removed; one that was being mounted or unmounted ends unmounted. May be repeated, also after being killed itself. The
// snapshot's phase afterwards tells which of the two it was. Throws HostError.
void recoverSnapshot(Providers& providers, const VolumeSplitter& splitter, StateStore& store, Snapshot& snapshot);

}  // namespace qmfi_host

#endif

// Mounting the alternates of a complete snapshot again.
#ifndef SNAPSHOT_MOUNTING_H
#define SNAPSHOT_MOUNTING_H

#include "provider/providers.h"
#include "state/snapshot.h"
#include "state/state_store.h"
#include "volume/volume_splitter.h"

namespace qmfi_host {

// Mounts every alternate that is not mounted, with the options that the provider remembers. When one cannot be mounted,
// all are unmounted and the failure is thrown.
void mountSnapshot(Providers& providers, const VolumeSplitter& splitter, StateStore& store, Snapshot& snapshot);

}  // namespace qmfi_host

#endif

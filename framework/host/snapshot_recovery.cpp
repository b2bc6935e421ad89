// Recovery, phase by phase.
#include "snapshot_recovery.h"

#include "snapshot_removal.h"
#include "thaw.h"

namespace qmfi_host {

void recoverSnapshot(Provider& provider, const VolumeSplitter& splitter, StateStore& store, Snapshot& snapshot) {
  if (snapshot.phase == Phase::freezing) {
    for (const SnapshotNode& node : snapshot.nodes) thawFileSystem(node.mountPoint, node.volume.device);
  }
  SnapshotRemoval removal(provider, splitter, store);
  if (snapshot.phase == Phase::unmounting || snapshot.phase == Phase::remounting) {
    removal.unmount(snapshot);
  } else {
    removal.remove(snapshot);
  }
}

}  // namespace qmfi_host

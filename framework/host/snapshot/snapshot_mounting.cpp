// Online.
#include "snapshot/snapshot_mounting.h"

#include "provider/node.h"
#include "snapshot/snapshot_removal.h"

namespace qmfi_host {

namespace {

void mountNode(Provider& provider, const VolumeSplitter& splitter, const SnapshotNode& node) {
  Node primary(provider, node.mountPoint);
  Node alternate(provider, node.alternate);
  if (provider.isMounted(alternate)) return;
  const std::unique_ptr<SnapshotDevice> device = splitter.attach(node.volume);
  alternate.storeState(node.alternateState);
  provider.online(primary, alternate);
}

void undo(Providers& providers, const VolumeSplitter& splitter, StateStore& store, Snapshot& snapshot) {
  tryOrReport([&] { SnapshotRemoval(providers, splitter, store).unmount(snapshot); });
}

}  // namespace

void mountSnapshot(Providers& providers, const VolumeSplitter& splitter, StateStore& store, Snapshot& snapshot) {
  snapshot.phase = Phase::remounting;
  store.update(snapshot);
  try {
    for (const SnapshotNode& node : snapshot.nodes) mountNode(providers.named(node.provider), splitter, node);
  } catch (const HostError&) {
    undo(providers, splitter, store, snapshot);
    throw;
  }
  snapshot.phase = Phase::ready;
  store.update(snapshot);
}

}  // namespace qmfi_host

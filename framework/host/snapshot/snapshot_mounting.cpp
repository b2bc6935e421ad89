// Online.
#include "snapshot/snapshot_mounting.h"

#include "provider/node.h"
#include "snapshot/snapshot_removal.h"

namespace qmfi_host {

namespace {

constexpr int bringOnline = 1;

bool isMounted(Provider& provider, Node& alternate) {
  int exists = 0;
  provider.run(alternate.name() + " could not be looked up", [&](const ProviderEntryPoints& entryPoints) {
    return entryPoints.fi_pgn_check_node_existence(alternate.domain(), &exists);
  });
  return exists != 0;
}

void mountNode(Provider& provider, const VolumeSplitter& splitter, const SnapshotNode& node) {
  Node primary(provider, node.mountPoint);
  Node alternate(provider, node.alternate);
  if (isMounted(provider, alternate)) return;
  const std::unique_ptr<SnapshotDevice> device = splitter.attach(node.volume);
  alternate.storeState(node.alternateState);
  provider.run(node.alternate + " could not be mounted", [&](const ProviderEntryPoints& entryPoints) {
    return entryPoints.fi_pgn_online(primary.domain(), alternate.domain(), bringOnline, KFI_DISPOSITION_KEEP);
  });
}

void undo(Provider& provider, const VolumeSplitter& splitter, StateStore& store, Snapshot& snapshot) {
  succeedsOrTells([&] { SnapshotRemoval(provider, splitter, store).unmount(snapshot); });
}

}  // namespace

void mountSnapshot(Provider& provider, const VolumeSplitter& splitter, StateStore& store, Snapshot& snapshot) {
  snapshot.phase = Phase::remounting;
  store.update(snapshot);
  try {
    for (const SnapshotNode& node : snapshot.nodes) mountNode(provider, splitter, node);
  } catch (const HostError&) {
    undo(provider, splitter, store, snapshot);
    throw;
  }
  snapshot.phase = Phase::ready;
  store.update(snapshot);
}

}  // namespace qmfi_host

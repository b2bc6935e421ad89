// Online.
#include "snapshot/snapshot_mounting.h"

#include "provider/node.h"
#include "snapshot/nested_nodes.h"
#include "snapshot/snapshot_removal.h"

namespace qmfi_host {

namespace {

// What is mounted already is looked at all the same.
void mountNode(Provider& provider, const Splitters& splitters, const AlternateDirectories& directories,
               const Snapshot& snapshot, const SnapshotNode& node, const Progress& progress) {
  Node primary(provider, node.mountPoint);
  Node alternate(provider, node.alternate);
  if (!provider.isMounted(alternate)) {
    directories.make(snapshot, node);
    progress.step(Step::attach, node.volume.snapshotDevice);
    const std::unique_ptr<SnapshotDevice> device = splitters.named(node.volume.splitter).attach(node.volume);
    progress.step(Step::mount, node.alternate);
    alternate.storeState(node.alternateState);
    provider.online(primary, alternate);
  }
  directories.secure(node);
}

// The directory went with the last mount, and may be another qmfi's by now: then nothing below it is ours.
void claimDirectory(const AlternateDirectories& directories, StateStore& store, Snapshot& snapshot) {
  try {
    directories.claim(snapshot);
  } catch (const HostError&) {
    snapshot.phase = Phase::unmounted;
    tryOrReport([&] { store.updatePhase(snapshot); });
    throw;
  }
}

void undo(Providers& providers, const Splitters& splitters, StateStore& store, Snapshot& snapshot,
          const RunUnlocked& unlocked, const Progress& progress) {
  tryOrReport([&] { SnapshotRemoval(providers, splitters, store, unlocked, progress).unmount(snapshot); });
}

}  // namespace

void mountSnapshot(Providers& providers, const Splitters& splitters, const AlternateDirectories& directories,
                   StateStore& store, Snapshot& snapshot, const RunUnlocked& unlocked, const Progress& progress,
                   Phase whenMounted) {
  const bool isClaimed = snapshot.phase != Phase::unmounted || !isInOwnDirectory(snapshot, snapshot.nodes.front());
  snapshot.phase = Phase::remounting;
  store.update(snapshot);
  if (!isClaimed) claimDirectory(directories, store, snapshot);
  try {
    unlocked([&] {
      for (const SnapshotNode* const node : outerFirst(snapshot)) {
        mountNode(providers.named(node->provider), splitters, directories, snapshot, *node, progress);
      }
    });
  } catch (const HostError&) {
    undo(providers, splitters, store, snapshot, unlocked, progress);
    throw;
  }
  snapshot.phase = whenMounted;
  store.update(snapshot);
}

}  // namespace qmfi_host

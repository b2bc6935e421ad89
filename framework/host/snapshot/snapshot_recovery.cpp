// Recovery, phase by phase.
#include "snapshot/snapshot_recovery.h"

#include <chrono>
#include <thread>
#include <vector>

#include "snapshot/orphaned_programs.h"
#include "snapshot/snapshot_removal.h"
#include "snapshot/thaw.h"

namespace qmfi_host {

namespace {

constexpr int attempts = 6;
constexpr std::chrono::milliseconds firstWait(100);

void takeDown(SnapshotRemoval& removal, Snapshot& snapshot) {
  if (snapshot.phase == Phase::unmounting || snapshot.phase == Phase::remounting) {
    removal.unmount(snapshot);
  } else {
    removal.remove(snapshot);
  }
}

}  // namespace

void thawInterrupted(const Snapshot& snapshot) {
  if (snapshot.phase != Phase::freezing) return;
  std::vector<MountedFileSystem> fileSystems;
  for (const SnapshotNode& node : snapshot.nodes)
    fileSystems.push_back({node.mountPoint, node.volume.device, node.thawRequest});
  thawFileSystems(fileSystems);
}

void recoverSnapshot(Providers& providers, const VolumeSplitter& splitter, StateStore& store, Snapshot& snapshot) {
  waitForOrphanedPrograms(snapshot);
  SnapshotRemoval removal(providers, splitter, store);
  auto wait = firstWait;
  // A program of the killed host may hang for longer than it is waited for.
  for (int attempt = 1; attempt < attempts; ++attempt, wait *= 2) {
    try {
      return takeDown(removal, snapshot);
    } catch (const HostError&) {
      std::this_thread::sleep_for(wait);
    }
  }
  takeDown(removal, snapshot);
}

}  // namespace qmfi_host

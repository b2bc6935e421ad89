// Recovery, phase by phase.
#include "snapshot/snapshot_recovery.h"

#include <chrono>
#include <memory>
#include <thread>
#include <vector>

#include "snapshot/freeze_moment.h"
#include "snapshot/orphaned_programs.h"
#include "snapshot/snapshot_removal.h"
#include "snapshot/thaw.h"

namespace qmfi_host {

namespace {

constexpr int attempts = 6;
constexpr std::chrono::milliseconds firstWait(100);

// Whether it was complete, and stays.
bool isKept(const Snapshot& snapshot) {
  return snapshot.phase == Phase::unmounting || snapshot.phase == Phase::remounting;
}

}  // namespace

void thawInterrupted(const FileSystems& fileSystems, const Snapshot& snapshot) {
  if (snapshot.phase != Phase::freezing) return;
  std::vector<std::unique_ptr<MountedFileSystem>> open;
  std::vector<MountedFileSystem*> perhapsFrozen;
  const FreezeMoment now = presentMoment();
  for (const SnapshotNode& node : snapshot.nodes) {
    if (!mayStillLast(snapshot.freeze, node.kernelTimeout, now)) continue;
    try {
      open.push_back(fileSystems.open({node.mountPoint, node.volume.device, FIFREEZE, node.thawRequest}));
      perhapsFrozen.push_back(open.back().get());
    } catch (const HostError&) {
      // What is not mounted there any more is not thawed.
    }
  }
  thawFileSystems(perhapsFrozen);
}

void recoverSnapshot(Providers& providers, const Splitters& splitters, StateStore& store, Snapshot& snapshot,
                     const RunUnlocked& unlocked, const Progress& progress) {
  progress.step(Step::wait, snapshot.id);
  unlocked([&] { waitForOrphanedPrograms(snapshot); });
  SnapshotRemoval removal(providers, splitters, store, unlocked, progress);
  // Decided once: an attempt that fails late has changed the phase.
  const bool kept = isKept(snapshot);
  const auto takeDown = [&] { kept ? removal.unmount(snapshot) : removal.remove(snapshot); };
  auto wait = firstWait;
  // A program that the host had started may hang for longer than it is waited for.
  for (int attempt = 1; attempt < attempts; ++attempt, wait *= 2) {
    try {
      return takeDown();
    } catch (const HostError&) {
      progress.retry(attempt + 1, attempts, wait);
      unlocked([&] { std::this_thread::sleep_for(wait); });
    }
  }
  takeDown();
}

}  // namespace qmfi_host

// Taking snapshots down: unmounting their alternates, and removing them altogether.
#ifndef SNAPSHOT_REMOVAL_H
#define SNAPSHOT_REMOVAL_H

#include <utility>

#include "provider/providers.h"
#include "snapshot/progress.h"
#include "state/snapshot.h"
#include "state/state_lock.h"
#include "state/state_store.h"
#include "volume/splitters.h"

namespace qmfi_host {

// Works on snapshots in whatever phase they were left, and may be repeated after a failure. Every file system of the
// snapshot is tried; the first failure is thrown at the end, and the state store then still knows the snapshot.
class SnapshotRemoval {
 public:
  // The references must outlive this object. unlocked: for the work of the providers, who may try again for long; the
  // snapshot is claimed then. progress: is told of each step.
  SnapshotRemoval(Providers& providers, const Splitters& splitters, StateStore& store, RunUnlocked unlocked = runLocked,
                  const Progress& progress = noProgress())
      : m_providers(providers),
        m_splitters(splitters),
        m_store(store),
        m_unlocked(std::move(unlocked)),
        m_progress(progress) {}

  // Removes the snapshot with everything that belongs to it. Throws HostError.
  void remove(Snapshot& snapshot);

  // Unmounts the alternates and takes the snapshot devices away; the snapshot stays. Throws HostError.
  void unmount(Snapshot& snapshot);

 private:
  // One of the provider's operations on a file system and its alternate.
  using PairOperation = void (Provider::*)(Node& primary, Node& alternate);
  void unmountAlternate(const SnapshotNode& node, PairOperation operation);

  Providers& m_providers;
  const Splitters& m_splitters;
  StateStore& m_store;
  RunUnlocked m_unlocked;
  const Progress& m_progress;
};

}  // namespace qmfi_host

#endif

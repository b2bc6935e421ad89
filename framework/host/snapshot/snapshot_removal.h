// Taking snapshots down: unmounting their alternates, and removing them altogether.
#ifndef SNAPSHOT_REMOVAL_H
#define SNAPSHOT_REMOVAL_H

#include "provider/providers.h"
#include "state/snapshot.h"
#include "state/state_store.h"
#include "volume/volume_splitter.h"

namespace qmfi_host {

// Works on snapshots in whatever phase they were left, and may be repeated after a failure. Every file system of the
// snapshot is tried; the first failure is thrown at the end, and the state store then still knows the snapshot.
class SnapshotRemoval {
 public:
  SnapshotRemoval(Providers& providers, const VolumeSplitter& splitter, StateStore& store)
      : m_providers(providers), m_splitter(splitter), m_store(store) {}

  // Removes the snapshot with everything that belongs to it.
  void remove(Snapshot& snapshot);

  // Unmounts the alternates and takes the snapshot devices away; the snapshot stays.
  void unmount(Snapshot& snapshot);

 private:
  // One of the provider's operations on a file system and its alternate.
  using PairOperation = void (Provider::*)(Node& primary, Node& alternate);
  void unmountAlternate(const SnapshotNode& node, PairOperation operation);

  Providers& m_providers;
  const VolumeSplitter& m_splitter;
  StateStore& m_store;
};

}  // namespace qmfi_host

#endif

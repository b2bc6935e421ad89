// Making a snapshot of mounted file systems, from the initialised nodes to the mounted alternates.
#ifndef SNAPSHOT_CREATION_H
#define SNAPSHOT_CREATION_H

#include <chrono>
#include <list>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "provider/node.h"
#include "provider/provider.h"
#include "snapshot/freeze_window.h"
#include "state/snapshot.h"
#include "state/state_store.h"
#include "system/deferred_signals.h"
#include "volume/volume_splitter.h"

namespace qmfi_host {

struct SnapshotRequest {
  std::vector<std::string> mountPoints;  // at least one, none twice, all claimed by the provider
  std::string group;                     // in which the provider freezes them
  std::string name;                      // empty: the snapshot is named by its id
  std::chrono::seconds freezeTimeout{};
};

// Makes one snapshot. A failure undoes all that was done; what cannot be undone stays in the state store.
class SnapshotCreation {
 public:
  // signals: asked between the steps whether the work is to be given up.
  SnapshotCreation(Provider& provider, const VolumeSplitter& splitter, StateStore& store,
                   const DeferredSignals& signals)
      : m_provider(provider), m_splitter(splitter), m_store(store), m_signals(signals) {}

  // Returns the complete snapshot. Throws HostError.
  Snapshot run(const SnapshotRequest& request);

 private:
  void initialiseNodes(const SnapshotRequest& request);
  void plan(const SnapshotRequest& request);
  void enterInStore();
  void enter(Phase phase);
  void make(std::chrono::seconds timeout);
  void split(std::chrono::seconds timeout);
  std::vector<std::unique_ptr<SnapshotDevice>> attach();
  void mount();
  void undo();

  Provider& m_provider;
  const VolumeSplitter& m_splitter;
  StateStore& m_store;
  const DeferredSignals& m_signals;
  Snapshot m_snapshot;
  std::optional<Node> m_config;
  std::list<Node> m_nodes;
};

}  // namespace qmfi_host

#endif

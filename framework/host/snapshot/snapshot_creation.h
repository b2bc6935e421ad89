// Making a snapshot of mounted file systems, from the initialised nodes to the mounted alternates.
#ifndef SNAPSHOT_CREATION_H
#define SNAPSHOT_CREATION_H

#include <chrono>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "provider/claim.h"
#include "provider/node.h"
#include "provider/providers.h"
#include "snapshot/freeze_window.h"
#include "state/snapshot.h"
#include "state/state_store.h"
#include "system/deferred_signals.h"
#include "volume/volume_splitter.h"

namespace qmfi_host {

struct SnapshotRequest {
  std::vector<ClaimedFileSystem> fileSystems;         // at least one, none twice
  std::string name{};                                 // empty: the snapshot is named by its id
  std::optional<std::chrono::seconds> freezeTimeout;  // absent: what is configured for each provider
};

// Makes one snapshot. A failure undoes all that was done; what cannot be undone stays in the state store.
class SnapshotCreation {
 public:
  // signals: asked between the steps whether the work is to be given up.
  SnapshotCreation(Providers& providers, const VolumeSplitter& splitter, StateStore& store,
                   const DeferredSignals& signals)
      : m_providers(providers), m_splitter(splitter), m_store(store), m_signals(signals) {}

  // Returns the complete snapshot. Throws HostError.
  Snapshot run(const SnapshotRequest& request);

 private:
  // What all file systems of one provider have in common.
  struct Part {
    Provider* provider = nullptr;
    std::optional<std::chrono::seconds> timeout{};
    std::optional<Node> config{};
  };

  void initialiseNodes(const SnapshotRequest& request);
  void addPart(const ClaimedFileSystem& fileSystem, const SnapshotRequest& request);
  void plan(const SnapshotRequest& request);
  void enterInStore();
  void enter(Phase phase);
  void make();
  void split();
  std::vector<std::unique_ptr<SnapshotDevice>> attach();
  void mount();
  void undo();

  Providers& m_providers;
  const VolumeSplitter& m_splitter;
  StateStore& m_store;
  const DeferredSignals& m_signals;
  Snapshot m_snapshot;
  std::map<std::string, Part> m_parts;  // by provider: the order in which they freeze
  std::list<Node> m_nodes;              // in the order of the snapshot's
};

}  // namespace qmfi_host

#endif

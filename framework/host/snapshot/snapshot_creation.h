// Making a snapshot of mounted file systems, from the initialised nodes to the mounted alternates.
#ifndef SNAPSHOT_CREATION_H
#define SNAPSHOT_CREATION_H

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "failure/deferred_signals.h"
#include "snapshot/freeze_window.h"
#include "snapshot/progress.h"
#include "snapshot/snapshot_planning.h"
#include "state/snapshot.h"
#include "state/state_lock.h"
#include "state/state_store.h"
#include "volume/splitters.h"

namespace qmfi_host {

// Throws HostError unless a receipt proves what is required.
void requireLevel(const FreezeReceipt& receipt, ProofLevel required);

// Makes one snapshot. A failure undoes all that was done; what cannot be undone stays in the state store.
class SnapshotCreation {
 public:
  // The references must outlive this object. signals: asked between the steps whether the work is to be given up.
  // unlocked: as for SnapshotRemoval, when all is undone. progress: is told of each step.
  SnapshotCreation(Providers& providers, const Splitters& splitters, const AlternateDirectories& directories,
                   const FileSystems& fileSystems, StateStore& store, const DeferredSignals& signals,
                   RunUnlocked unlocked = runLocked, const Progress& progress = noProgress())
      : m_providers(providers),
        m_splitters(splitters),
        m_directories(directories),
        m_fileSystems(fileSystems),
        m_store(store),
        m_signals(signals),
        m_unlocked(std::move(unlocked)),
        m_progress(progress) {}

  // Returns the complete snapshot. Throws HostError.
  Snapshot run(const SnapshotRequest& request);

 private:
  void plan(const SnapshotRequest& request);
  void enterInStore();
  void claimDirectory();
  void enter(Phase phase);
  void keepRecords();
  void make();
  void makeDirectories();
  std::vector<FreezeGroup> freezeGroups();
  std::vector<std::unique_ptr<GroupSplit>> prepareSplits() const;
  void split();
  std::vector<std::unique_ptr<SnapshotDevice>> attach();
  void mount();
  void mountAlternate(SnapshotNode& planned, Node& primary);
  Node& nodeOf(const SnapshotNode& planned);
  void undo();
  void tellWhatIsLeft() const;

  Providers& m_providers;
  const Splitters& m_splitters;
  const AlternateDirectories& m_directories;
  const FileSystems& m_fileSystems;
  StateStore& m_store;
  const DeferredSignals& m_signals;
  RunUnlocked m_unlocked;
  const Progress& m_progress;
  Snapshot m_snapshot;
  Phase m_whenComplete = Phase::ready;
  ProofLevel m_requiredLevel = ProofLevel::none;
  std::vector<std::string> m_hooks;  // the programs
  std::chrono::seconds m_hookTime{};
  std::optional<SnapshotPlanning> m_planning;  // whose nodes are in the order of the snapshot's
};

}  // namespace qmfi_host

#endif

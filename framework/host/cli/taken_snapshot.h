// Taking a snapshot from a command line.
#ifndef TAKEN_SNAPSHOT_H
#define TAKEN_SNAPSHOT_H

#include <optional>

#include "cli/command_session.h"
#include "cli/create_options.h"
#include "snapshot/progress.h"
#include "snapshot/snapshot_creation.h"
#include "volume/machine_splitters.h"

namespace qmfi_host {

// What a snapshot is to be made of and with. Nothing is changed yet.
class RequestedSnapshot {
 public:
  // Reads what the user asks for, and has each mount point claimed by its provider. The settings must outlive the
  // object. Throws HostError.
  RequestedSnapshot(const Settings& settings, const CreateOptions& options);

  // Without an id.
  const SnapshotRequest& request() const { return m_request; }
  // Both are valid as long as the object.
  Providers& providers() { return m_providers; }
  const Splitters& splitters() const { return m_splitters.all(); }

 private:
  SnapshotRequest m_request;
  MachineSplitters m_splitters;
  OpenProviders m_providers;
};

// A snapshot that has just been taken. No other process works on it, and as long as nothing runs unlocked none changes
// the state either.
class TakenSnapshot {
 public:
  // Takes it, and leaves it in this phase. The references must outlive the object. Throws HostError with nothing left
  // but what is told.
  TakenSnapshot(const Settings& settings, const CreateOptions& options, Phase whenComplete = Phase::ready);

  // As it was taken.
  const Snapshot& snapshot() const { return m_snapshot; }

  // For an action that others need not wait for: they may change the state, but not the snapshot.
  RunUnlocked unlocked() { return m_state.unlocked(); }

  // Removes it again. Throws HostError.
  void remove();

 private:
  const Progress& m_progress;
  RequestedSnapshot m_requested;
  LockedState m_state;
  std::optional<WorkClaim> m_claim;
  Snapshot m_snapshot;
};

}  // namespace qmfi_host

#endif

// Making a snapshot of mounted file systems, from the initialised nodes to the mounted alternates.
#ifndef SNAPSHOT_CREATION_H
#define SNAPSHOT_CREATION_H

#include <chrono>
#include <filesystem>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "failure/deferred_signals.h"
#include "provider/claim.h"
#include "provider/node.h"
#include "provider/providers.h"
#include "snapshot/alternate_directories.h"
#include "snapshot/freeze_window.h"
#include "snapshot/mounted_file_system.h"
#include "state/snapshot.h"
#include "state/state_lock.h"
#include "state/state_store.h"
#include "volume/splitters.h"

namespace qmfi_host {

// What the user asks for.
struct SnapshotRequest {
  std::string id;                                     // of the snapshot, a new one
  std::vector<ClaimedFileSystem> fileSystems;         // at least one, none twice
  std::string name{};                                 // empty: the snapshot is named by its id
  std::optional<std::chrono::seconds> freezeTimeout;  // absent: what is configured for each provider
  bool overcommit = false;                            // also without room for an overwrite of all
  std::optional<std::string> splitter{};              // for all that have none below
  std::map<std::string, std::string> splitters{};     // by mount point; others by what lies under the file system
  Phase whenComplete = Phase::ready;                  // the phase that it is left in
  ProofLevel required = ProofLevel::none;             // what must be proven of its freeze
  // Where the directory of the snapshot's alternates will lie.
  std::filesystem::path alternateDirectory = standardAlternateDirectory;
};

// Throws HostError unless a receipt proves what is required.
void requireLevel(const FreezeReceipt& receipt, ProofLevel required);

// Makes one snapshot. A failure undoes all that was done; what cannot be undone stays in the state store.
class SnapshotCreation {
 public:
  // The references must outlive this object. signals: asked between the steps whether the work is to be given up.
  // unlocked: as for SnapshotRemoval, when all is undone.
  SnapshotCreation(Providers& providers, const Splitters& splitters, const AlternateDirectories& directories,
                   const FileSystems& fileSystems, StateStore& store, const DeferredSignals& signals,
                   RunUnlocked unlocked = runLocked)
      : m_providers(providers),
        m_splitters(splitters),
        m_directories(directories),
        m_fileSystems(fileSystems),
        m_store(store),
        m_signals(signals),
        m_unlocked(std::move(unlocked)) {}

  // Returns the complete snapshot. Throws HostError.
  Snapshot run(const SnapshotRequest& request);

 private:
  // What all file systems of one provider have in common.
  struct Part {
    Provider* provider = nullptr;
    std::chrono::seconds timeout{};
    std::optional<Node> config{};
  };

  void initialiseNodes(const SnapshotRequest& request);
  void addPart(const ClaimedFileSystem& fileSystem, const SnapshotRequest& request);
  void plan(const SnapshotRequest& request);
  const VolumeSplitter& splitterFor(const std::string& device, const std::string& mountPoint,
                                    const SnapshotRequest& request) const;
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
  Snapshot m_snapshot;
  Phase m_whenComplete = Phase::ready;
  ProofLevel m_requiredLevel = ProofLevel::none;
  std::map<std::string, Part> m_parts;  // by provider: the order in which they freeze
  std::list<Node> m_nodes;              // in the order of the snapshot's
};

}  // namespace qmfi_host

#endif

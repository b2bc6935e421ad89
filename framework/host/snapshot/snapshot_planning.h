// What a snapshot is going to consist of. Nothing is made here.
#ifndef SNAPSHOT_PLANNING_H
#define SNAPSHOT_PLANNING_H

#include <chrono>
#include <filesystem>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "provider/claim.h"
#include "provider/node.h"
#include "provider/providers.h"
#include "snapshot/alternate_directories.h"
#include "snapshot/hook_directory.h"
#include "snapshot/mounted_file_system.h"
#include "state/snapshot.h"
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
  HookSettings hooks{};  // which of the administrator's programs run around the freeze
};

// Plans the file systems of a snapshot one by one.
class SnapshotPlanning {
 public:
  // The references must outlive this object.
  SnapshotPlanning(Providers& providers, const Splitters& splitters, const AlternateDirectories& directories,
                   const SnapshotRequest& request)
      : m_providers(providers), m_splitters(splitters), m_directories(directories), m_request(request) {}

  // Has the provider of a file system prepare its node, which lives as long as this object. Throws HostError.
  Node& initialise(const ClaimedFileSystem& fileSystem);

  // The nodes that were prepared, in that order.
  std::list<Node>& nodes() { return m_nodes; }

  // Where the copy of a prepared node's volume and its alternate will be. snapshot: its id and name are read. Throws
  // HostError for what no snapshot can be made of.
  SnapshotNode plan(Node& node, const Snapshot& snapshot) const;

  // After how many seconds a freeze by a provider of a prepared node ends without a thaw.
  std::chrono::seconds timeoutOf(const std::string& provider) const { return m_parts.at(provider)->timeout; }

 private:
  // What all file systems of one provider have in common.
  struct Part {
    Provider* provider = nullptr;
    std::chrono::seconds timeout{};
    std::optional<Node> config{};
  };

  Part& partOf(const ClaimedFileSystem& fileSystem);
  const VolumeSplitter& splitterFor(const std::string& device, const std::string& mountPoint) const;

  Providers& m_providers;
  const Splitters& m_splitters;
  const AlternateDirectories& m_directories;
  const SnapshotRequest& m_request;
  std::map<std::string, std::unique_ptr<Part>> m_parts;  // by provider
  std::list<Node> m_nodes;
};

// Where the file system of a plan is to be found, and how its provider freezes it.
FileSystemPlace placeOf(const SnapshotNode& planned, const Provider& provider);

// Throws HostError when a split would write to one of the planned file systems: it would wait for its own thaw.
void requireVolumesOutside(const Snapshot& planned, const Splitters& splitters);

}  // namespace qmfi_host

#endif

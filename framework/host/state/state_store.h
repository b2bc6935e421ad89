// What the host remembers between its runs: snapshots, and mount points whose access is disabled.
#ifndef STATE_STORE_H
#define STATE_STORE_H

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "state/database.h"
#include "state/snapshot.h"

namespace qmfi_host {

// A mount point that was taken out of use, with what is needed to bring it back.
struct DisabledAccess {
  std::string mountPoint;
  std::string provider;
  std::string device;
  std::string state;  // the provider's state of the node
};

// Everything is on the disk when a call returns. Whoever changes something holds the StateLock of the directory;
// reading needs no lock. One thread at a time. Failures are thrown as HostError.
class StateStore {
 public:
  // Opens the store of a state directory, which exists, or makes it.
  explicit StateStore(const std::filesystem::path& directory);

  // Adds a snapshot, which has a node at least. Throws UsageError when its id or its name names another one.
  void add(const Snapshot& snapshot);
  // Replaces what is known of a snapshot.
  void update(const Snapshot& snapshot);
  void remove(const std::string& id);

  // Oldest first.
  std::vector<Snapshot> snapshots() const;
  // The snapshot of that id, or else of that name.
  std::optional<Snapshot> find(const std::string& idOrName) const;

  // Adds or replaces.
  void save(const DisabledAccess& access);
  std::optional<DisabledAccess> findDisabledAccess(const std::string& mountPoint) const;
  void removeDisabledAccess(const std::string& mountPoint);

 private:
  void write(const Snapshot& snapshot);

  Database m_database;
};

}  // namespace qmfi_host

#endif

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
  std::string state;     // the provider's state of the node
  std::string damage{};  // the first of what makes no sense in the store; empty when all does
};

// A snapshot of which the store holds something that makes no sense.
struct DamagedSnapshot {
  Snapshot snapshot;   // what could be read of it; its id is that of the row
  std::string damage;  // the first of what could not
};

// Everything is on the disk when a call returns. Whoever changes something holds the StateLock of the directory;
// reading needs no lock. One thread at a time. Failures are thrown as HostError.
class StateStore {
 public:
  // Opens the store of a state directory, which exists, or makes it. A store of an earlier version is brought up to
  // date; "state.db.v<version>" is then what it was before.
  explicit StateStore(const std::filesystem::path& directory);

  // What a state directory holds at this moment, to be read; nothing where there is none. Makes nothing there.
  static StateStore readFrom(const std::filesystem::path& directory);

  // Gives the database of a state directory another name, which is returned, when it is damaged.
  static std::optional<std::filesystem::path> moveAsideIfDamaged(const std::filesystem::path& directory);

  // Throws HostError when the id or the name of a snapshot names another one.
  void requireUnknown(const Snapshot& snapshot) const;
  // Adds a snapshot, which has a node at least. Throws as requireUnknown does.
  void add(const Snapshot& snapshot);
  // Adds a snapshot in place of a damaged one of its id, if there is one.
  void replaceDamaged(const Snapshot& snapshot);
  // Replaces what is known of the snapshot with that id.
  void update(const Snapshot& snapshot);
  // Replaces what is known of its phase only. Works on a full disk, too.
  void updatePhase(const Snapshot& snapshot);
  // Forgets a snapshot, also a damaged one; does nothing when there is none of that id. Works on a full disk, too.
  void remove(const std::string& id);

  // All that are sound, oldest first.
  std::vector<Snapshot> snapshots() const;
  // The sound snapshot of that id, or else of that name.
  std::optional<Snapshot> find(const std::string& idOrName) const;

  // Sound and damaged ones, oldest first; the damage of a sound one is empty.
  std::vector<DamagedSnapshot> allSnapshots() const;

  // The others: one that is damaged does not keep those beside it from being used.
  std::vector<DamagedSnapshot> damagedSnapshots() const;
  // The damaged snapshot of that id, or else of that name as far as that can be read.
  std::optional<DamagedSnapshot> findDamaged(const std::string& idOrName) const;

  // Remembers that a mount point is disabled; replaces what was known of it.
  void save(const DisabledAccess& access);
  // What is known of a mount point; nothing when it is not disabled.
  std::optional<DisabledAccess> findDisabledAccess(const std::string& mountPoint) const;
  // Forgets a mount point; does nothing when it is not disabled. Works on a full disk, too.
  void removeDisabledAccess(const std::string& mountPoint);
  // All that are disabled, by the names of the mount points.
  std::vector<DisabledAccess> disabledAccesses() const;

 private:
  explicit StateStore(Database database);

  // These are for within a transaction.
  void addWithin(const Snapshot& snapshot);
  void removeWithin(const std::string& id);
  void write(const Snapshot& snapshot);

  Database m_database;
};

}  // namespace qmfi_host

#endif

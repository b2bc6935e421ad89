// qmfi snapshot delete SNAPSHOT... [--force]
#include "cli/command_table.h"
#include "cli/snapshot_command.h"
#include "failure/host_error.h"
#include "snapshot/damaged_removal.h"
#include "snapshot/file_system_users.h"
#include "snapshot/snapshot_removal.h"

namespace qmfi_host {

namespace {

// Not for force either: a hold is ended by a word of its own.
void requireNotHeld(const Snapshot& snapshot) {
  if (snapshot.held.empty()) return;
  throw HostError(ExitStatus::busy, "the snapshot " + snapshot.name + " is held (" + snapshot.held +
                                        "); \"qmfi snapshot release " + snapshot.name + "\" lets it be removed");
}

class SnapshotDelete : public SnapshotCommand {
  void declareOptions(CommandOptions& options) override {
    options.flag("--force", m_force, "Unmount also what is in use; its users get errors");
  }

  bool resumes(Phase phase) const override { return phase == Phase::deleting || phase == Phase::lent; }

  void change(const SnapshotTools& tools, Snapshot& snapshot) override {
    requireNotHeld(snapshot);
    if (!m_force) requireUnused(snapshot);
    SnapshotRemoval(tools.providers, tools.splitters, tools.store, tools.unlocked, tools.progress).remove(snapshot);
  }

  void changeDamaged(const SnapshotTools& tools, DamagedSnapshot& damaged) override {
    removeDamaged(tools.providers, tools.splitters, tools.store, damaged, tools.unlocked, tools.progress);
  }

  void printChanged(const Snapshot& snapshot, std::ostream& out) const override {
    out << "snapshot " << snapshot.id << " deleted\n";
  }

  bool m_force = false;
};

}  // namespace

std::unique_ptr<Command> makeSnapshotDelete() {
  return std::make_unique<SnapshotDelete>();
}

}  // namespace qmfi_host

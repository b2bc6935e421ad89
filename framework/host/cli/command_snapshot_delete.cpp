// qmfi snapshot delete SNAPSHOT... [--force]
#include "cli/command_table.h"
#include "cli/snapshot_command.h"
#include "failure/host_error.h"
#include "snapshot/damaged_removal.h"
#include "snapshot/file_system_users.h"
#include "snapshot/snapshot_removal.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

// Not for force either: a hold is ended by a word of its own.
void requireNotHeld(const Snapshot& snapshot) {
  if (snapshot.held.empty()) return;
  throw HostError(ExitStatus::busy,
                  translate("the snapshot {0} is held ({1}); \"qmfi snapshot release {0}\" lets it be removed",
                            snapshot.name, snapshot.held));
}

class SnapshotDelete : public SnapshotCommand {
  void declareOptions(CommandOptions& options) override {
    options.flag("--force", m_force, translatable("Unmount also what is in use; its users get errors"));
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
    out << translate("snapshot {0} deleted", snapshot.id) << "\n";
  }

  bool m_force = false;
};

}  // namespace

std::unique_ptr<Command> makeSnapshotDelete() {
  return std::make_unique<SnapshotDelete>();
}

}  // namespace qmfi_host

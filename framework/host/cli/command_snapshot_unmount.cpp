// qmfi snapshot unmount SNAPSHOT... [--force]
#include "cli/command_table.h"
#include "cli/snapshot_command.h"
#include "snapshot/file_system_users.h"
#include "snapshot/snapshot_removal.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

class SnapshotUnmount : public SnapshotCommand {
  void declareOptions(CommandOptions& options) override {
    options.flag("--force", m_force, translatable("Unmount also what is in use; its users get errors"));
  }

  bool resumes(Phase phase) const override { return phase == Phase::unmounting; }

  void change(const SnapshotTools& tools, Snapshot& snapshot) override {
    if (!m_force) requireUnused(snapshot);
    SnapshotRemoval(tools.providers, tools.splitters, tools.store, tools.unlocked, tools.progress).unmount(snapshot);
  }

  void printChanged(const Snapshot& snapshot, std::ostream& out) const override {
    out << translate("snapshot {0} unmounted", snapshot.id) << "\n";
  }

  bool m_force = false;
};

}  // namespace

std::unique_ptr<Command> makeSnapshotUnmount() {
  return std::make_unique<SnapshotUnmount>();
}

}  // namespace qmfi_host

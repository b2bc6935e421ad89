// qmfi snapshot delete SNAPSHOT
#include "cli/command_table.h"
#include "cli/snapshot_command.h"
#include "snapshot/snapshot_removal.h"

namespace qmfi_host {

namespace {

class SnapshotDelete : public SnapshotCommand {
  bool resumes(Phase phase) const override { return phase == Phase::deleting; }

  void change(const OpenSnapshot& open, std::ostream& out) override {
    SnapshotRemoval(open.providers, open.splitter, open.store).remove(open.snapshot);
    out << "snapshot " << open.snapshot.id << " deleted\n";
  }
};

}  // namespace

std::unique_ptr<Command> makeSnapshotDelete() {
  return std::make_unique<SnapshotDelete>();
}

}  // namespace qmfi_host

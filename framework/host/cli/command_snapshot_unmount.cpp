// qmfi snapshot unmount SNAPSHOT
#include "cli/command_table.h"
#include "cli/snapshot_command.h"
#include "snapshot/snapshot_removal.h"

namespace qmfi_host {

namespace {

class SnapshotUnmount : public SnapshotCommand {
  bool resumes(Phase phase) const override { return phase == Phase::unmounting; }

  void change(const OpenSnapshot& open, std::ostream& out) override {
    SnapshotRemoval(open.providers, open.splitter, open.store).unmount(open.snapshot);
    out << "snapshot " << open.snapshot.id << " unmounted\n";
  }
};

}  // namespace

std::unique_ptr<Command> makeSnapshotUnmount() {
  return std::make_unique<SnapshotUnmount>();
}

}  // namespace qmfi_host

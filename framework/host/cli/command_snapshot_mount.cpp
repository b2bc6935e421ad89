// qmfi snapshot mount SNAPSHOT
#include "cli/command_table.h"
#include "cli/snapshot_command.h"
#include "snapshot/snapshot_mounting.h"

namespace qmfi_host {

namespace {

class SnapshotMount : public SnapshotCommand {
  bool resumes(Phase) const override { return false; }

  void change(const OpenSnapshot& open, std::ostream& out) override {
    mountSnapshot(open.providers, open.splitter, open.store, open.snapshot);
    for (const SnapshotNode& node : open.snapshot.nodes) out << node.alternate << "\n";
  }
};

}  // namespace

std::unique_ptr<Command> makeSnapshotMount() {
  return std::make_unique<SnapshotMount>();
}

}  // namespace qmfi_host

// qmfi snapshot mount SNAPSHOT...
#include "cli/command_table.h"
#include "cli/snapshot_command.h"
#include "failure/one_line.h"
#include "snapshot/snapshot_mounting.h"

namespace qmfi_host {

namespace {

class SnapshotMount : public SnapshotCommand {
  bool resumes(Phase) const override { return false; }

  void change(const SnapshotTools& tools, Snapshot& snapshot) override {
    mountSnapshot(tools.providers, tools.splitters, PrivateAlternateDirectories(), tools.store, snapshot,
                  tools.unlocked, tools.progress);
  }

  void printChanged(const Snapshot& snapshot, std::ostream& out) const override {
    for (const SnapshotNode& node : snapshot.nodes) out << inOneLine(node.alternate) << "\n";
  }
};

}  // namespace

std::unique_ptr<Command> makeSnapshotMount() {
  return std::make_unique<SnapshotMount>();
}

}  // namespace qmfi_host

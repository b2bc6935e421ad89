// qmfi snapshot list [--json]
#include "cli/command_session.h"
#include "cli/command_table.h"
#include "cli/snapshot_output.h"

namespace qmfi_host {

namespace {

// People see interrupted snapshots too; programs are given those that can be used.
class SnapshotList : public Command {
 public:
  void declare(CommandOptions& options) override { options.flag("--json", m_json, "Print JSON"); }

  int run(const Settings& settings, std::ostream& out) override {
    std::vector<Snapshot> snapshots = openState(settings).snapshots();
    if (m_json) {
      std::erase_if(snapshots, [](const Snapshot& snapshot) { return !isAtRest(snapshot.phase); });
      printJson(out, snapshots);
    } else {
      printText(out, snapshots);
    }
    return success;
  }

 private:
  bool m_json = false;
};

}  // namespace

std::unique_ptr<Command> makeSnapshotList() {
  return std::make_unique<SnapshotList>();
}

}  // namespace qmfi_host

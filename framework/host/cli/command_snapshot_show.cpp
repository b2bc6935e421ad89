// qmfi snapshot show SNAPSHOT [--json]
#include "cli/command_session.h"
#include "cli/command_table.h"
#include "cli/snapshot_output.h"

namespace qmfi_host {

namespace {

class SnapshotShow : public Command {
 public:
  void declare(CommandOptions& options) override {
    options.argument("SNAPSHOT", m_snapshot, "Id or name of the snapshot");
    options.flag("--json", m_json, "Print JSON");
  }

  int run(const Settings& settings, std::ostream& out) override {
    const Snapshot snapshot = requireSnapshot(openState(settings), m_snapshot);
    if (m_json) {
      printJson(out, snapshot);
    } else {
      printText(out, snapshot);
    }
    return success;
  }

 private:
  std::string m_snapshot;
  bool m_json = false;
};

}  // namespace

std::unique_ptr<Command> makeSnapshotShow() {
  return std::make_unique<SnapshotShow>();
}

}  // namespace qmfi_host

// qmfi snapshot list
#include "cli/command_session.h"
#include "cli/command_table.h"
#include "cli/present_status.h"
#include "cli/snapshot_output.h"

namespace qmfi_host {

namespace {

class SnapshotList : public Command {
 public:
  void declare(CommandOptions& /*options*/) override {}

  ExitStatus run(const Settings& settings, std::ostream& out) override {
    if (settings.json) {
      printJson(out, knownSnapshots(settings, LookAt::everything));
    } else {
      printText(out, knownSnapshots(settings, LookAt::copy));
    }
    return ExitStatus::done;
  }
};

}  // namespace

std::unique_ptr<Command> makeSnapshotList() {
  return std::make_unique<SnapshotList>();
}

}  // namespace qmfi_host

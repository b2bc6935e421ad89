// qmfi snapshot create MOUNTPOINT... [--name NAME] [--freeze-timeout SECONDS] [--splitter [MOUNTPOINT=]NAME]...
//                      [--snapshot-size SIZE] [--alternate-dir DIR]
#include "cli/command_table.h"
#include "cli/create_options.h"
#include "cli/present_status.h"
#include "cli/snapshot_output.h"
#include "cli/taken_snapshot.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

class SnapshotCreate : public Command {
 public:
  void declare(CommandOptions& options) override { m_options.declare(options); }

  ExitStatus run(const Settings& settings, std::ostream& out) override {
    TakenSnapshot taken(settings, m_options);
    const SnapshotStatus status = presentStatus(settings, taken.snapshot());
    if (settings.json) {
      printJson(out, status);
    } else {
      printText(out, status);
    }
    if (!out.flush()) {
      // Who gets the status of a failure need not look for what was made nevertheless.
      taken.remove();
      throw HostError(translate("the output could not be written, so the snapshot was removed"));
    }
    return ExitStatus::done;
  }

 private:
  CreateOptions m_options;
};

}  // namespace

std::unique_ptr<Command> makeSnapshotCreate() {
  return std::make_unique<SnapshotCreate>();
}

}  // namespace qmfi_host

// qmfi snapshot show SNAPSHOT [--timeline FILE]
#include "cli/command_session.h"
#include "cli/command_table.h"
#include "cli/present_status.h"
#include "cli/snapshot_output.h"
#include "cli/timeline_picture.h"
#include "cli/written_file.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

class SnapshotShow : public Command {
 public:
  void declare(CommandOptions& options) override {
    options.argument("SNAPSHOT", m_snapshot, translatable("Id or name of the snapshot"));
    options.text("--timeline", m_timeline, "FILE",
                 translatable("Draws when each file system was frozen into this file, as SVG"));
  }

  ExitStatus run(const Settings& settings, std::ostream& out) override {
    const SnapshotStatus snapshot = presentStatus(settings, requireSnapshot(openState(settings), m_snapshot));
    if (m_timeline) {
      writeAskedFile(*m_timeline, timelineOf(snapshot.snapshot),
                     translate("the picture {0} cannot be written", *m_timeline));
    }
    if (settings.json) {
      printJson(out, snapshot);
    } else {
      printText(out, snapshot);
    }
    return ExitStatus::done;
  }

 private:
  std::string m_snapshot;
  std::optional<std::string> m_timeline;
};

}  // namespace

std::unique_ptr<Command> makeSnapshotShow() {
  return std::make_unique<SnapshotShow>();
}

}  // namespace qmfi_host

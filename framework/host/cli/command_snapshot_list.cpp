// qmfi snapshot list [-o COLUMN,...] [--no-headings] | --metrics
#include <chrono>

#include "cli/command_session.h"
#include "cli/command_table.h"
#include "cli/present_status.h"
#include "cli/snapshot_metrics.h"
#include "cli/snapshot_output.h"
#include "cli/snapshot_table.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

class SnapshotList : public Command {
 public:
  void declare(CommandOptions& options) override {
    options.text("-o,--columns", m_columns, "COLUMN,...", translate("What is shown of each, of {0}", allColumns()));
    options.flag("--no-headings", m_noHeadings, translatable("No line that names the columns"));
    options.flag("--metrics", m_metrics, translatable("Numbers for monitoring, in the text format of Prometheus"));
  }

  ExitStatus run(const Settings& settings, std::ostream& out) override {
    if (m_metrics && settings.json) {
      throw UsageError(translate("{0} and {1} cannot be given together", "--metrics", "--json"));
    }
    const TableLooks looks{m_columns ? columnsOf(*m_columns) : usualColumns(), !m_noHeadings};
    if (m_metrics) {
      printMetrics(out, knownSnapshots(settings, LookAt::everything));
    } else if (settings.json) {
      printJson(out, knownSnapshots(settings, LookAt::everything));
    } else {
      const auto now = std::chrono::floor<Snapshot::Time::duration>(std::chrono::system_clock::now());
      printTable(out, knownSnapshots(settings, LookAt::copy), looks, now);
    }
    return ExitStatus::done;
  }

 private:
  std::optional<std::string> m_columns;
  bool m_noHeadings = false;
  bool m_metrics = false;
};

}  // namespace

std::unique_ptr<Command> makeSnapshotList() {
  return std::make_unique<SnapshotList>();
}

}  // namespace qmfi_host

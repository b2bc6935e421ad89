// qmfi snapshot create MOUNTPOINT... [--name NAME] [--freeze-timeout SECONDS] [--json]
#include <algorithm>

#include "cli/command_session.h"
#include "cli/command_table.h"
#include "cli/snapshot_output.h"
#include "provider/claim.h"
#include "provider/freeze_timeout.h"
#include "snapshot/snapshot_creation.h"
#include "snapshot/snapshot_removal.h"
#include "volume/reflink_splitter.h"

namespace qmfi_host {

namespace {

class SnapshotCreate : public Command {
 public:
  void declare(CommandOptions& options) override {
    options.arguments("MOUNTPOINT", m_mountPoints, "File systems that are frozen together");
    options.text("--name", m_name, "NAME", "Name of the snapshot (default: its id)");
    options.number("--freeze-timeout", m_freezeTimeout, shortestFreezeTimeout, longestFreezeTimeout, "SECONDS",
                   "Time after which the kernel ends the freeze by itself (default: the provider's configuration)");
    options.flag("--json", m_json, "Print JSON");
  }

  int run(const Settings& settings, std::ostream& out) override {
    SnapshotRequest request = readRequest(settings);
    LoadedProvider loaded(settings);
    request.group = claimAll(*loaded, request.mountPoints);
    requireOutside(settings.stateDirectory, request.mountPoints);
    LockedState state(settings);
    const ReflinkSplitter splitter;
    Snapshot snapshot = SnapshotCreation(*loaded, splitter, state.store(), *settings.signals).run(request);
    if (m_json) {
      printJson(out, snapshot);
    } else {
      printText(out, snapshot);
    }
    if (!out.flush()) {
      // Who gets the status of a failure need not look for what was made nevertheless.
      SnapshotRemoval(*loaded, splitter, state.store()).remove(snapshot);
      throw HostError("the output could not be written, so the snapshot was removed");
    }
    return success;
  }

 private:
  SnapshotRequest readRequest(const Settings& settings) const {
    SnapshotRequest request;
    std::transform(m_mountPoints.begin(), m_mountPoints.end(), std::back_inserter(request.mountPoints), canonicalPath);
    std::vector<std::string> sorted = request.mountPoints;
    std::sort(sorted.begin(), sorted.end());
    const auto twice = std::adjacent_find(sorted.begin(), sorted.end());
    if (twice != sorted.end()) throw UsageError(*twice + " is given twice");
    if (m_name) requireSnapshotName(*m_name);
    request.name = m_name.value_or("");
    request.freezeTimeout =
        m_freezeTimeout ? std::chrono::seconds(*m_freezeTimeout) : configuredFreezeTimeout(settings.provider);
    return request;
  }

  std::vector<std::string> m_mountPoints;
  std::optional<std::string> m_name;
  std::optional<int> m_freezeTimeout;
  bool m_json = false;
};

}  // namespace

std::unique_ptr<Command> makeSnapshotCreate() {
  return std::make_unique<SnapshotCreate>();
}

}  // namespace qmfi_host

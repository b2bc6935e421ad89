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
    const std::vector<std::string> mountPoints = readMountPoints();
    SnapshotRequest request = readRequest();
    OpenProviders providers(settings);
    for (const std::string& mountPoint : mountPoints) {
      request.fileSystems.push_back(requireClaimed(providers, mountPoint));
    }
    requireOutside(settings.stateDirectory, mountPoints);
    LockedState state(settings);
    const ReflinkSplitter splitter;
    Snapshot snapshot = SnapshotCreation(providers, splitter, state.store(), *settings.signals).run(request);
    if (m_json) {
      printJson(out, snapshot);
    } else {
      printText(out, snapshot);
    }
    if (!out.flush()) {
      // Who gets the status of a failure need not look for what was made nevertheless.
      SnapshotRemoval(providers, splitter, state.store()).remove(snapshot);
      throw HostError("the output could not be written, so the snapshot was removed");
    }
    return success;
  }

 private:
  std::vector<std::string> readMountPoints() const {
    std::vector<std::string> mountPoints;
    std::transform(m_mountPoints.begin(), m_mountPoints.end(), std::back_inserter(mountPoints), canonicalPath);
    std::vector<std::string> sorted = mountPoints;
    std::sort(sorted.begin(), sorted.end());
    const auto twice = std::adjacent_find(sorted.begin(), sorted.end());
    if (twice != sorted.end()) throw UsageError(*twice + " is given twice");
    return mountPoints;
  }

  SnapshotRequest readRequest() const {
    SnapshotRequest request;
    if (m_name) requireSnapshotName(*m_name);
    request.name = m_name.value_or("");
    if (m_freezeTimeout) request.freezeTimeout = std::chrono::seconds(*m_freezeTimeout);
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

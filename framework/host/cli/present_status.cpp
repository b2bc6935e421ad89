// Looking at state, copies and mounts together.
#include "cli/present_status.h"

#include <set>
#include <utility>

#include "cli/command_session.h"

namespace qmfi_host {

namespace {

bool isWorkedOn(const Settings& settings, const Snapshot& snapshot) {
  return !isAtRest(snapshot.phase) && workerOn(settings.stateDirectory, workOnSnapshot(snapshot.id));
}

}  // namespace

SnapshotStatus presentStatus(const Settings& settings, const Snapshot& snapshot) {
  const MachineSplitters splitters(splitterSettings(settings));
  return statusOf(snapshot, splitters.all(), mountedDevices(), LookAt::everything, isWorkedOn(settings, snapshot));
}

std::vector<SnapshotStatus> knownSnapshots(const Settings& settings, LookAt what) {
  // Both are read once: with many snapshots they are long.
  std::vector<DamagedSnapshot> all = openState(settings).allSnapshots();
  const std::set<dev_t> mounted = mountedDevices();
  const MachineSplitters splitters(splitterSettings(settings));
  std::vector<SnapshotStatus> known;
  known.reserve(all.size());
  for (auto& [snapshot, damage] : all) {
    if (!damage.empty()) continue;
    const bool isAtWork = isWorkedOn(settings, snapshot);
    known.push_back(statusOf(std::move(snapshot), splitters.all(), mounted, what, isAtWork));
  }
  for (auto& [snapshot, damage] : all) {
    if (damage.empty()) continue;
    std::vector<NodeStatus> nodes(snapshot.nodes.size());
    known.push_back({std::move(snapshot), "damaged", std::move(nodes), damage});
  }
  return known;
}

}  // namespace qmfi_host

// The state store's word, compared with copies, devices and mounts.
#include "snapshot/snapshot_status.h"

#include <sys/sysmacros.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <numeric>
#include <optional>
#include <utility>

namespace qmfi_host {

namespace {

std::string stateOf(const SnapshotStatus& status, bool isWorkedOn) {
  if (!isAtRest(status.snapshot.phase)) return isWorkedOn ? "working" : "interrupted";
  const bool isWhole =
      std::all_of(status.nodes.begin(), status.nodes.end(), [](const NodeStatus& node) { return node.volume.exists; });
  if (!isWhole) return "gone";
  return isMounted(status) ? "ready" : "unmounted";
}

// Its third field is "major:minor".
std::optional<dev_t> deviceIn(const std::string& line) {
  const std::size_t second = line.find(' ');
  const std::size_t third = second == std::string::npos ? second : line.find(' ', second + 1);
  if (third == std::string::npos) return std::nullopt;
  unsigned majorNumber = 0;
  unsigned minorNumber = 0;
  const char* const end = line.data() + line.size();
  const auto colon = std::from_chars(line.data() + third + 1, end, majorNumber);
  if (colon.ec != std::errc() || colon.ptr == end || *colon.ptr != ':') return std::nullopt;
  if (std::from_chars(colon.ptr + 1, end, minorNumber).ec != std::errc()) return std::nullopt;
  return makedev(majorNumber, minorNumber);
}

}  // namespace

std::set<dev_t> mountedDevices(std::istream& mountTable) {
  std::set<dev_t> devices;
  for (std::string line; std::getline(mountTable, line);) {
    if (const std::optional<dev_t> device = deviceIn(line)) devices.insert(*device);
  }
  return devices;
}

std::set<dev_t> mountedDevices() {
  std::ifstream mountTable("/proc/self/mountinfo");
  return mountedDevices(mountTable);
}

SnapshotStatus statusOf(Snapshot snapshot, const Splitters& splitters, const std::set<dev_t>& mounted, LookAt what,
                        bool isWorkedOn) {
  SnapshotStatus status{std::move(snapshot), {}, {}, {}};
  for (const SnapshotNode& node : status.snapshot.nodes) {
    const VolumeStatus volume = splitters.look(node.volume, what);
    status.nodes.push_back({volume, volume.device && mounted.contains(*volume.device)});
  }
  status.state = stateOf(status, isWorkedOn);
  return status;
}

bool isMounted(const SnapshotStatus& status) {
  return !status.nodes.empty() &&
         std::all_of(status.nodes.begin(), status.nodes.end(), [](const NodeStatus& node) { return node.mounted; });
}

std::uint64_t bytesOf(const SnapshotStatus& status) {
  return std::accumulate(status.nodes.begin(), status.nodes.end(), std::uint64_t{0},
                         [](std::uint64_t sum, const NodeStatus& node) { return sum + node.volume.bytes; });
}

}  // namespace qmfi_host

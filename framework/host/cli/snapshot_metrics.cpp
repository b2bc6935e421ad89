// Families of numbers, each with its help.
#include "cli/snapshot_metrics.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "failure/json_text.h"
#include "failure/percent_code.h"

namespace qmfi_host {

namespace {

// What is told of one file system.
struct FileSystemMetrics {
  Snapshot::Time newest{};
  double frozen = 0;  // seconds, of the newest
  std::uint64_t copies = 0;
  std::uint64_t needs = 0;
  std::uint64_t free = 0;
};

using AllMetrics = std::map<std::string, FileSystemMetrics>;

AllMetrics metricsOf(const std::vector<SnapshotStatus>& snapshots) {
  AllMetrics all;
  for (const SnapshotStatus& status : snapshots) {
    if (status.state != "ready" && status.state != "unmounted") continue;
    const Snapshot& snapshot = status.snapshot;
    for (std::size_t i = 0; i < snapshot.nodes.size(); ++i) {
      FileSystemMetrics& metrics = all[snapshot.nodes[i].mountPoint];
      metrics.copies += status.nodes[i].volume.bytes;
      if (snapshot.created < metrics.newest) continue;
      metrics.newest = snapshot.created;
      metrics.frozen = std::chrono::duration<double>(snapshot.frozen).count();
      metrics.needs = status.nodes[i].volume.needs;
      metrics.free = status.nodes[i].volume.free;
    }
  }
  return all;
}

// Readers know no other escapes than those of quotation marks and backslashes.
std::string quoted(const std::string& name) {
  const bool isPlain = std::none_of(name.begin(), name.end(), [](unsigned char byte) { return byte < ' '; });
  return Json(isPlain ? name : percentEncoded(name)).dump(-1, ' ', false, Json::error_handler_t::replace);
}

void begin(std::ostream& out, const char* name, const char* help) {
  out << "# HELP " << name << " " << help << "\n# TYPE " << name << " gauge\n";
}

template <typename ValueOf>
void printFamily(std::ostream& out, const AllMetrics& all, const char* name, const char* help, const ValueOf& valueOf) {
  begin(out, name, help);
  for (const auto& [mountPoint, metrics] : all) {
    out << name << "{mount_point=" << quoted(mountPoint) << "} " << Json(valueOf(metrics)).dump() << "\n";
  }
}

void printStates(std::ostream& out, const std::vector<SnapshotStatus>& snapshots) {
  constexpr std::array<std::string_view, 6> states = {"ready",   "unmounted",   "gone",
                                                      "working", "interrupted", "damaged"};
  begin(out, "qmfi_snapshots", "Snapshots that are known.");
  for (const std::string_view state : states) {
    const auto count = std::count_if(snapshots.begin(), snapshots.end(),
                                     [&](const SnapshotStatus& status) { return status.state == state; });
    out << "qmfi_snapshots{state=\"" << state << "\"} " << count << "\n";
  }
}

}  // namespace

void printMetrics(std::ostream& out, const std::vector<SnapshotStatus>& snapshots) {
  printStates(out, snapshots);
  const AllMetrics all = metricsOf(snapshots);
  printFamily(out, all, "qmfi_newest_snapshot_timestamp_seconds", "When the newest complete snapshot was taken.",
              [](const FileSystemMetrics& metrics) {
                return std::chrono::floor<std::chrono::seconds>(metrics.newest).time_since_epoch().count();
              });
  printFamily(out, all, "qmfi_newest_snapshot_frozen_seconds", "How long the freeze for it lasted.",
              [](const FileSystemMetrics& metrics) { return metrics.frozen; });
  printFamily(out, all, "qmfi_snapshot_bytes", "What the copies occupy, with the blocks that they share.",
              [](const FileSystemMetrics& metrics) { return metrics.copies; });
  printFamily(out, all, "qmfi_overwrite_needs_bytes", "What an overwrite of the whole volume takes of its storage.",
              [](const FileSystemMetrics& metrics) { return metrics.needs; });
  printFamily(out, all, "qmfi_storage_free_bytes", "What the storage of the volume has.",
              [](const FileSystemMetrics& metrics) { return metrics.free; });
}

}  // namespace qmfi_host

// JSON and text of snapshots.
#include "cli/snapshot_output.h"

#include <algorithm>
#include <array>
#include <ctime>
#include <iomanip>
#include <nlohmann/json.hpp>

namespace qmfi_host {

namespace {

using Json = nlohmann::ordered_json;

Json jsonOf(const Snapshot& snapshot) {
  Json nodes = Json::array();
  for (const SnapshotNode& node : snapshot.nodes) {
    nodes.push_back({{"mount_point", node.mountPoint},
                     {"device", node.volume.device},
                     {"snapshot_device", node.volume.snapshotDevice},
                     {"alternate", node.alternate}});
  }
  return {{"id", snapshot.id}, {"name", snapshot.name}, {"frozen_us", snapshot.frozen.count()}, {"nodes", nodes}};
}

void dump(std::ostream& out, const Json& json) {
  constexpr int indentation = 2;
  out << json.dump(indentation, ' ', false, Json::error_handler_t::replace) << "\n";
}

std::string localTime(Snapshot::Time time) {
  const std::time_t seconds = std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count();
  std::tm local{};
  localtime_r(&seconds, &local);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local);
  return text.data();
}

std::string mountPointsOf(const Snapshot& snapshot) {
  std::string text;
  for (const SnapshotNode& node : snapshot.nodes) text += (text.empty() ? "" : " ") + node.mountPoint;
  return text;
}

}  // namespace

std::string millisecondsText(std::chrono::microseconds duration) {
  const auto tenths = std::chrono::round<std::chrono::duration<std::int64_t, std::ratio<1, 10000>>>(duration).count();
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " ms";
}

void printJson(std::ostream& out, const Snapshot& snapshot) {
  dump(out, jsonOf(snapshot));
}

void printJson(std::ostream& out, const std::vector<Snapshot>& snapshots) {
  Json array = Json::array();
  for (const Snapshot& snapshot : snapshots) array.push_back(jsonOf(snapshot));
  dump(out, array);
}

void printText(std::ostream& out, const Snapshot& snapshot) {
  out << "snapshot   " << snapshot.id << "\nname       " << snapshot.name << "\ncreated    "
      << localTime(snapshot.created) << "\nfrozen for " << millisecondsText(snapshot.frozen) << "\nstate      "
      << phaseName(snapshot.phase) << "\n";
  for (const SnapshotNode& node : snapshot.nodes) {
    out << node.mountPoint << " (" << node.volume.device << ")\n  -> " << node.alternate << " ("
        << node.volume.snapshotDevice << ")\n";
  }
}

void printText(std::ostream& out, const std::vector<Snapshot>& snapshots) {
  std::size_t nameWidth = 4;
  for (const Snapshot& snapshot : snapshots) nameWidth = std::max(nameWidth, snapshot.name.size());
  const auto row = [&](const std::string& id, const std::string& name, const std::string& created,
                       const std::string& frozen, const std::string& state, const std::string& mountPoints) {
    out << std::left << std::setw(10) << id << std::setw(static_cast<int>(nameWidth) + 2) << name << std::setw(21)
        << created << std::setw(12) << frozen << std::setw(12) << state << mountPoints << "\n";
  };
  row("ID", "NAME", "CREATED", "FROZEN FOR", "STATE", "FILE SYSTEMS");
  for (const Snapshot& snapshot : snapshots) {
    row(snapshot.id, snapshot.name, localTime(snapshot.created), millisecondsText(snapshot.frozen),
        phaseName(snapshot.phase), mountPointsOf(snapshot));
  }
}

}  // namespace qmfi_host

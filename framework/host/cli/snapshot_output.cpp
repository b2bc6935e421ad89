// JSON and text of snapshots.
#include "cli/snapshot_output.h"

#include <array>
#include <ctime>
#include <nlohmann/json.hpp>
#include <utility>

#include "cli/receipt_output.h"
#include "failure/json_text.h"
#include "failure/one_line.h"
#include "snapshot/storage_space.h"

namespace qmfi_host {

namespace {

std::string utcTime(Snapshot::Time time) {
  const std::time_t seconds = std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count();
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%SZ", &utc);
  return text.data();
}

Json jsonOf(const SnapshotNode& node, const NodeStatus& status) {
  return {
      {"mount_point", node.mountPoint}, {"device", node.volume.device}, {"snapshot_device", node.volume.snapshotDevice},
      {"alternate", node.alternate},    {"provider", node.provider},    {"splitter", node.volume.splitter},
      {"size", status.volume.bytes},    {"mounted", status.mounted},    {"needs", status.volume.needs},
      {"free", status.volume.free}};
}

Json jsonOf(const SnapshotStatus& status) {
  const Snapshot& snapshot = status.snapshot;
  Json nodes = Json::array();
  for (std::size_t i = 0; i < status.nodes.size(); ++i) nodes.push_back(jsonOf(snapshot.nodes[i], status.nodes[i]));
  Json json = {{"id", snapshot.id},
               {"name", snapshot.name},
               {"state", status.state},
               {"phase", phaseName(snapshot.phase)},
               {"created", utcTime(snapshot.created)},
               {"frozen_us", snapshot.frozen.count()},
               {"size", bytesOf(status)},
               {"mounted", isMounted(status)}};
  if (!snapshot.held.empty()) json["held"] = snapshot.held;
  if (!status.damage.empty()) json["damage"] = status.damage;
  json["receipt"] = receiptJson(snapshot);
  json["nodes"] = std::move(nodes);
  return json;
}

}  // namespace

std::string millisecondsText(std::chrono::microseconds duration) {
  const auto tenths = std::chrono::round<std::chrono::duration<std::int64_t, std::ratio<1, 10000>>>(duration).count();
  return std::to_string(tenths / 10) + "." + std::to_string(tenths % 10) + " ms";
}

std::string localTime(Snapshot::Time time) {
  const std::time_t seconds = std::chrono::floor<std::chrono::seconds>(time).time_since_epoch().count();
  std::tm local{};
  localtime_r(&seconds, &local);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%d %H:%M:%S", &local);
  return text.data();
}

void printJson(std::ostream& out, const SnapshotStatus& snapshot) {
  out << jsonDocument(jsonOf(snapshot));
}

void printJson(std::ostream& out, const std::vector<SnapshotStatus>& snapshots) {
  Json array = Json::array();
  for (const SnapshotStatus& snapshot : snapshots) array.push_back(jsonOf(snapshot));
  out << jsonDocument(array);
}

void printText(std::ostream& out, const SnapshotStatus& status) {
  const Snapshot& snapshot = status.snapshot;
  const bool isAtWork = !isAtRest(snapshot.phase);
  out << "snapshot   " << snapshot.id << "\nname       " << snapshot.name << "\ncreated    "
      << localTime(snapshot.created) << "\nfrozen for " << millisecondsText(snapshot.frozen) << "\n";
  printLevel(out, snapshot);
  out << "state      " << status.state << (isAtWork ? " (" + phaseName(snapshot.phase) + ")" : "") << "\nmounted    "
      << (isMounted(status) ? "yes" : "no") << "\nsize       " << bytesText(bytesOf(status)) << "\n";
  if (!snapshot.held.empty()) out << "held       " << inOneLine(snapshot.held) << "\n";
  for (std::size_t i = 0; i < status.nodes.size(); ++i) {
    const SnapshotNode& node = snapshot.nodes[i];
    const VolumeStatus& volume = status.nodes[i].volume;
    out << inOneLine(node.mountPoint) << " (" << inOneLine(node.volume.device) << ", " << node.provider << ")\n  -> "
        << inOneLine(node.alternate) << " (" << node.volume.snapshotDevice << "), "
        << (status.nodes[i].mounted ? "" : "not ") << "mounted, " << bytesText(volume.bytes) << " by "
        << node.volume.splitter << "\n     a full overwrite needs " << bytesText(volume.needs) << " of "
        << bytesText(volume.free) << " free\n";
    printMoments(out, snapshot, i);
  }
}

}  // namespace qmfi_host

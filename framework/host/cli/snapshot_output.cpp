// JSON and text of snapshots.
#include "cli/snapshot_output.h"

#include <array>
#include <ctime>
#include <nlohmann/json.hpp>
#include <utility>

#include "cli/labelled_lines.h"
#include "cli/receipt_output.h"
#include "failure/json_text.h"
#include "failure/one_line.h"
#include "snapshot/storage_space.h"
#include "texts/translation.h"

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

// What is known of the snapshot as a whole.
std::vector<LabelledLine> linesOf(const SnapshotStatus& status) {
  const Snapshot& snapshot = status.snapshot;
  const std::string phase = isAtRest(snapshot.phase) ? "" : " (" + phaseName(snapshot.phase) + ")";
  std::vector<LabelledLine> lines = {{translate("snapshot"), snapshot.id},
                                     {translate("name"), snapshot.name},
                                     {translate("created"), localTime(snapshot.created)},
                                     {translate("frozen for"), millisecondsText(snapshot.frozen)}};
  if (snapshot.receipt) lines.push_back({translate("proven"), levelName(levelOf(*snapshot.receipt))});
  lines.push_back({translate("state"), status.state + phase});
  lines.push_back({translate("mounted"), isMounted(status) ? translate("yes") : translate("no")});
  lines.push_back({translate("size"), bytesText(bytesOf(status))});
  if (!snapshot.held.empty()) lines.push_back({translate("held"), inOneLine(snapshot.held)});
  return lines;
}

void printNode(std::ostream& out, const SnapshotNode& node, const NodeStatus& status) {
  const std::string alternate = inOneLine(node.alternate);
  const std::string& device = node.volume.snapshotDevice;
  const std::string size = bytesText(status.volume.bytes);
  const std::string& splitter = node.volume.splitter;
  out << inOneLine(node.mountPoint) << " (" << inOneLine(node.volume.device) << ", " << node.provider << ")\n  -> "
      << (status.mounted ? translate("{0} ({1}), mounted, {2} by {3}", alternate, device, size, splitter)
                         : translate("{0} ({1}), not mounted, {2} by {3}", alternate, device, size, splitter))
      << "\n     "
      << translate("a full overwrite needs {0} of {1} free", bytesText(status.volume.needs),
                   bytesText(status.volume.free))
      << "\n";
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
  printLabelled(out, linesOf(status));
  for (std::size_t i = 0; i < status.nodes.size(); ++i) {
    printNode(out, status.snapshot.nodes[i], status.nodes[i]);
    printMoments(out, status.snapshot, i);
  }
}

}  // namespace qmfi_host

// Reading qmfi's output.
#include "support/snapshot_list.h"

#include <nlohmann/json.hpp>

namespace testbed_test {

namespace {

Snapshot snapshotOf(const nlohmann::json& json) {
  Snapshot snapshot{json.at("id"), json.at("name"), json.at("state"), json.at("phase"), json.at("frozen_us"), {}};
  for (const auto& node : json.at("nodes")) {
    snapshot.nodes.push_back(
        {node.at("mount_point"), node.at("device"), node.at("snapshot_device"), node.at("alternate")});
  }
  return snapshot;
}

}  // namespace

Snapshot snapshotIn(const std::string& json) {
  const auto parsed = nlohmann::json::parse(json, nullptr, false);
  return parsed.is_object() ? snapshotOf(parsed) : Snapshot{};
}

std::vector<Snapshot> snapshotsIn(const std::string& json) {
  std::vector<Snapshot> snapshots;
  for (const auto& one : nlohmann::json::parse(json)) snapshots.push_back(snapshotOf(one));
  return snapshots;
}

}  // namespace testbed_test

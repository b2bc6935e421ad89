// Records as JSON.
#include "state/snapshot_record.h"

#include <array>
#include <nlohmann/json.hpp>

#include "failure/host_error.h"
#include "failure/percent_code.h"
#include "state/receipt_json.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

constexpr int recordVersion = 1;

// The texts of a file system, by their keys.
template <typename Node>
auto textsOf(Node& node) {
  return std::array{
      std::pair{"mount_point", &node.mountPoint},
      std::pair{"device", &node.volume.device},
      std::pair{"snapshot_device", &node.volume.snapshotDevice},
      std::pair{"volume_file", &node.volume.volumeFile},
      std::pair{"snapshot_file", &node.volume.snapshotFile},
      std::pair{"raw_device", &node.volume.rawDevice},
      std::pair{"alternate", &node.alternate},
      std::pair{"state", &node.state},
      std::pair{"alternate_state", &node.alternateState},
      std::pair{"provider", &node.provider},
      std::pair{"splitter", &node.volume.splitter},
  };
}

SnapshotNode nodeOf(const Json& json) {
  SnapshotNode node;
  for (const auto& [key, text] : textsOf(node)) {
    // Records from before there were several splitters do not name it.
    if (text == &node.volume.splitter && !json.contains(key)) continue;
    *text = percentDecoded(json.at(key).get<std::string>());
  }
  node.thawRequest = json.at("thaw_request").get<unsigned long>();
  node.kernelTimeout = std::chrono::seconds(json.at("kernel_timeout_s").get<std::int64_t>());
  return node;
}

Snapshot snapshotOf(const Json& json) {
  if (json.at("record_version").get<int>() != recordVersion) throw HostError(translate("it is of a later version"));
  Snapshot snapshot;
  snapshot.id = percentDecoded(json.at("id").get<std::string>());
  snapshot.name = percentDecoded(json.at("name").get<std::string>());
  requireSnapshotName(snapshot.id);
  requireSnapshotName(snapshot.name);
  snapshot.created = Snapshot::Time(std::chrono::microseconds(json.at("created_us").get<std::int64_t>()));
  snapshot.frozen = std::chrono::microseconds(json.at("frozen_us").get<std::int64_t>());
  snapshot.freeze.bootId = percentDecoded(json.at("boot_id").get<std::string>());
  snapshot.freeze.sinceStart = std::chrono::microseconds(json.at("freeze_since_start_us").get<std::int64_t>());
  snapshot.phase = phaseOfName(json.at("phase").get<std::string>());
  // Earlier records know of neither.
  if (json.contains("held")) snapshot.held = percentDecoded(json.at("held").get<std::string>());
  if (json.contains("receipt")) snapshot.receipt = receiptOf(json.at("receipt"));
  for (const Json& node : json.at("nodes")) snapshot.nodes.push_back(nodeOf(node));
  if (snapshot.nodes.empty()) throw HostError(translate("it has no file system"));
  return snapshot;
}

}  // namespace

std::string recordOf(const Snapshot& snapshot) {
  Json nodes = Json::array();
  for (const SnapshotNode& node : snapshot.nodes) {
    Json json;
    for (const auto& [key, text] : textsOf(node)) json[key] = percentEncoded(*text);
    json["thaw_request"] = node.thawRequest;
    json["kernel_timeout_s"] = node.kernelTimeout.count();
    nodes.push_back(std::move(json));
  }
  const Json record = {{"record_version", recordVersion},
                       {"id", percentEncoded(snapshot.id)},
                       {"name", percentEncoded(snapshot.name)},
                       {"created_us", snapshot.created.time_since_epoch().count()},
                       {"frozen_us", snapshot.frozen.count()},
                       {"boot_id", percentEncoded(snapshot.freeze.bootId)},
                       {"freeze_since_start_us", snapshot.freeze.sinceStart.count()},
                       {"phase", phaseName(snapshot.phase)},
                       {"held", percentEncoded(snapshot.held)},
                       {"receipt", jsonOf(snapshot.receipt)},
                       {"nodes", std::move(nodes)}};
  return record.dump(2) + "\n";
}

Snapshot snapshotOfRecord(const std::string& record) {
  try {
    return snapshotOf(Json::parse(record));
  } catch (const Json::exception& error) {
    throw HostError(error.what());
  }
}

}  // namespace qmfi_host

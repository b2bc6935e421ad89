// JSON and text of receipts.
#include "cli/receipt_output.h"

#include <array>
#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>

#include "cli/snapshot_output.h"
#include "failure/json_text.h"
#include "state/receipt_json.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

// The file system of a position; nothing where the receipt has none.
const FileSystemReceipt* fileSystemAt(const Snapshot& snapshot, std::size_t position) {
  if (!snapshot.receipt || position >= snapshot.receipt->fileSystems.size()) return nullptr;
  return &snapshot.receipt->fileSystems[position];
}

}  // namespace

std::string exactUtcTime(FreezeReceipt::Time time) {
  const auto whole = std::chrono::floor<std::chrono::seconds>(time);
  const std::time_t seconds = whole.time_since_epoch().count();
  std::tm utc{};
  gmtime_r(&seconds, &utc);
  std::array<char, 32> text{};
  std::strftime(text.data(), text.size(), "%Y-%m-%dT%H:%M:%S", &utc);
  std::array<char, 16> fraction{};
  std::snprintf(fraction.data(), fraction.size(), ".%06dZ", static_cast<int>((time - whole).count()));
  return std::string(text.data()) + fraction.data();
}

Json receiptJson(const Snapshot& snapshot) {
  if (!snapshot.receipt) return {};
  const FreezeReceipt& receipt = *snapshot.receipt;
  Json fileSystems = Json::array();
  for (std::size_t i = 0; i < snapshot.nodes.size(); ++i) {
    const FileSystemReceipt* const one = fileSystemAt(snapshot, i);
    if (one == nullptr) continue;
    Json json = {{"mount_point", snapshot.nodes[i].mountPoint}};
    json.update(jsonOf(*one));
    json["longest_stall_us"] = longestStall(*one).count();
    fileSystems.push_back(std::move(json));
  }
  return {{"level", levelName(levelOf(receipt))},
          {"begin", exactUtcTime(receipt.begin)},
          {"end", exactUtcTime(receipt.end)},
          {"since_start_us", receipt.sinceStart.count()},
          {"split_began_us", receipt.splitBegan.count()},
          {"split_ended_us", receipt.splitEnded.count()},
          {"over_us", receipt.over.count()},
          {"may_end_us", receipt.mayEnd.count()},
          {"file_systems", std::move(fileSystems)}};
}

void printMoments(std::ostream& out, const Snapshot& snapshot, std::size_t position) {
  const FileSystemReceipt* const one = fileSystemAt(snapshot, position);
  if (one == nullptr) return;
  out << "     "
      << translate("frozen from {0} to {1}", millisecondsText(one->frozen), millisecondsText(one->thawAsked));
  if (one->proven) out << ", " << translate("proven at {0}", millisecondsText(*one->proven));
  if (one->thaw == ThawAnswer::unknown) out << ", " << translate("thawed nobody knows when");
  out << "; " << translate("writes waited {0} at most", millisecondsText(longestStall(*one))) << "\n";
}

}  // namespace qmfi_host

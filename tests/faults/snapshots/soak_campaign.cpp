// Snapshot after snapshot of real file systems; nothing grows.
#include <filesystem>

#include "snapshot_campaigns.h"
#include "snapshot_runs.h"

namespace faults {

namespace {

constexpr int quickSnapshots = 20;
constexpr int fullSnapshots = 1000;
constexpr const char* stateDatabase = "/var/lib/qmfi/state.db";

}  // namespace

void runSoakCampaign(Campaign& campaign, const Extent& extent) {
  SnapshotRuns runs(campaign, extent.mountPoints);
  campaign.begin("before the first");
  runs.require(Step::create);
  runs.expectOrder();
  const auto size = std::filesystem::file_size(stateDatabase);
  const int count = campaign.quick() ? quickSnapshots : fullSnapshots;
  for (int i = 1; i <= count; ++i) {
    campaign.begin("snapshot " + std::to_string(i));
    runs.require(Step::create);
    runs.require(Step::show);
    runs.require(Step::remove);
    runs.expectOrder();
    campaign.expectEqual<std::int64_t>(static_cast<std::int64_t>(size),
                                       static_cast<std::int64_t>(std::filesystem::file_size(stateDatabase)),
                                       "size of the state database");
  }
}

}  // namespace faults

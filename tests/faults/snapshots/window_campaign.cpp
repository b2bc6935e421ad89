// While file systems are frozen nothing is called but what freezes, proves, splits and thaws.
#include <algorithm>

#include "snapshot_campaigns.h"
#include "snapshot_runs.h"
#include "support/supervision/frozen_calls.h"

namespace faults {

namespace {

constexpr int quickSnapshots = 10;
constexpr int fullSnapshots = 100;

std::vector<std::string> expectedCalls(std::size_t fileSystems) {
  std::vector<std::string> calls = {"ioctl QM_FREEZE_ALL"};
  // A second freeze proves the first.
  calls.insert(calls.end(), fileSystems, "ioctl QM_FREEZE");
  calls.insert(calls.end(), fileSystems, "ioctl FICLONERANGE");
  // Signals are kept from the thaws.
  calls.emplace_back("rt_sigprocmask");
  for (std::size_t i = 0; i < fileSystems; ++i) {
    calls.emplace_back("ioctl QM_THAW");
    if (i + 1 < fileSystems) calls.emplace_back("close");
  }
  return calls;
}

}  // namespace

void runWindowCampaign(Campaign& campaign, const Extent& extent) {
  SnapshotRuns runs(campaign, extent.mountPoints);
  const int count = campaign.quick() ? quickSnapshots : fullSnapshots;
  for (int i = 1; i <= count; ++i) {
    campaign.begin("snapshot " + std::to_string(i));
    FrozenCalls frozen(static_cast<int>(extent.mountPoints.size()));
    runs.run(Step::create, &frozen);
    campaign.expectEqual(expectedCalls(extent.mountPoints.size()), frozen.calls(), "calls while frozen");
    campaign.expectEqual<std::int64_t>(0, static_cast<std::int64_t>(frozen.pagesRead()), "pages read while frozen");
    runs.expectOrder();
  }
}

}  // namespace faults

// qmfi is killed at every system call of a snapshot's life, its own and its children's; then qmfi recovers.
#include <algorithm>
#include <random>
#include <utility>

#include "call_record.h"
#include "snapshot_campaigns.h"

namespace faults {

namespace {

constexpr std::size_t quickPoints = 200;
constexpr std::size_t quickPointsOfOrdinary = 60;

// A recovery is killed, too, at one of so many calls; it has about as many itself.
constexpr int recoveryCalls = 2500;

void runCase(Campaign& campaign, SnapshotRuns& runs, const RecordedCall& call, int recoveryPoint) {
  ActAtCall end(call, {Decision::Kind::endProgram});
  if (call.step != Step::create) runs.require(Step::create);
  runs.run(call.step, &end);
  campaign.count(end.acted() ? "killed" : "calls_not_met_again");
  if (call.frozen) {
    campaign.count("killed_while_frozen", end.acted() ? 1 : 0);
    runs.expectThawed();
  }
  EndAtCall endOfRecovery(recoveryPoint);
  if (runs.recover(&endOfRecovery).status != 0) campaign.count("recoveries_killed");
  runs.requireRecovery();
  const std::string left = runs.state();
  campaign.expect(left.empty() || left == "ready", "the snapshot is \"" + left + "\" after a recovery");
  runs.expectOrder();
}

// A short form has every point at which something is frozen, and some of the others.
std::vector<RecordedCall> chosenCalls(std::vector<RecordedCall> calls, std::size_t count) {
  std::shuffle(calls.begin(), calls.end(), std::mt19937(1));
  std::stable_partition(calls.begin(), calls.end(), [](const RecordedCall& call) { return call.frozen; });
  calls.resize(std::min(calls.size(), count));
  return calls;
}

}  // namespace

void runKillCampaign(Campaign& campaign, const Extent& extent) {
  SnapshotRuns runs(campaign, extent.mountPoints, extent.areOrdinary);
  std::vector<RecordedCall> points = recordSnapshot(runs);
  if (campaign.quick()) {
    points = chosenCalls(std::move(points), extent.areOrdinary ? quickPointsOfOrdinary : quickPoints);
  }
  std::mt19937 random(1);
  for (std::size_t i = 0; i < points.size(); ++i) {
    const int recoveryPoint = static_cast<int>(random() % recoveryCalls) + 1;
    if (!extent.has(i)) continue;
    const RecordedCall& call = points[i];
    campaign.begin(std::to_string(i) + ": killed in " + call.text() + ", recovery killed at its call " +
                   std::to_string(recoveryPoint));
    runCase(campaign, runs, call, recoveryPoint);
  }
}

}  // namespace faults

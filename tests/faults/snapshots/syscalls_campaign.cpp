// Every system call of a snapshot's life fails once with each error that it can report.
#include <algorithm>
#include <cstring>
#include <map>
#include <random>
#include <utility>

#include "call_record.h"
#include "snapshot_campaigns.h"
#include "support/supervision/call_errors.h"

namespace faults {

namespace {

// Of both kinds of file systems.
struct CaseCounts {
  std::size_t quick;
  std::size_t full;
};
constexpr CaseCounts casesOfQmfs = {1000, 50000};
constexpr CaseCounts casesOfOrdinary = {200, 10000};

struct FaultCase {
  std::vector<std::string> mountPoints;
  RecordedCall call;
  int error;
};

void addCases(const std::vector<std::string>& mountPoints, const std::vector<RecordedCall>& calls,
              std::vector<FaultCase>& cases) {
  for (const RecordedCall& call : calls) {
    for (const int error : errorsOf(call.number)) cases.push_back({mountPoints, call, error});
  }
}

// Snapshots of one file system, of two, and so on until there are cases enough; where they are of two types, of all.
std::vector<FaultCase> allCases(SnapshotRuns& runs, const Extent& extent, std::size_t wanted) {
  std::vector<FaultCase> cases;
  const std::size_t first = extent.areOrdinary ? extent.mountPoints.size() : 1;
  for (std::size_t count = first; count <= extent.mountPoints.size() && cases.size() < wanted; ++count) {
    const auto begin = extent.mountPoints.begin();
    const std::vector<std::string> mountPoints(begin, begin + static_cast<std::ptrdiff_t>(count));
    runs.setMountPoints(mountPoints);
    addCases(mountPoints, recordSnapshot(runs), cases);
  }
  return cases;
}

// Calls that differ come first, so that a short form has as many of them as possible: of qmfi every kind of call with
// every error, of its children every kind in each program. The dynamic loader's calls are much the same again and
// again.
std::vector<FaultCase> mixed(std::vector<FaultCase> cases) {
  std::shuffle(cases.begin(), cases.end(), std::mt19937(1));
  std::map<std::pair<std::string, long>, int> ranks;
  std::vector<std::pair<int, FaultCase>> ranked;
  for (FaultCase& one : cases) {
    const bool host = one.call.process == 0;
    const std::string kind = host ? nameOf(one.call.step) + std::to_string(one.error) : one.call.program;
    ranked.emplace_back(ranks[{kind, one.call.number}]++, std::move(one));
  }
  std::stable_sort(ranked.begin(), ranked.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<FaultCase> result;
  result.reserve(ranked.size());
  for (auto& [rank, one] : ranked) result.push_back(std::move(one));
  return result;
}

// A creation that fails leaves nothing, or says that it does and how that is removed.
void expectUndoneUnlessMade(Campaign& campaign, const Ended& ended, const std::string& left) {
  const std::string what = "status " + std::to_string(ended.status) + ", but the snapshot is \"" + left + "\"";
  if (ended.status == 0) return campaign.expectEqual<std::string>("ready", left, what);
  if (left.empty()) return;
  campaign.count("told_to_recover");
  campaign.expect(left != "ready" && ended.errors.find("\"qmfi recover\" removes it") != std::string::npos, what);
}

void runCase(Campaign& campaign, SnapshotRuns& runs, const FaultCase& one) {
  runs.setMountPoints(one.mountPoints);
  ActAtCall fault(one.call, {Decision::Kind::fail, one.error});
  if (one.call.step != Step::create) runs.require(Step::create);
  const Ended ended = runs.run(one.call.step, &fault, one.call.loading ? Ending::any : Ending::documented);
  campaign.count(ended.status == 0 ? "succeeded" : "failed_as_they_should");
  if (!fault.acted()) campaign.count("calls_not_met_again");
  if (one.call.step == Step::create) expectUndoneUnlessMade(campaign, ended, runs.state());
  runs.expectOrder();
}

}  // namespace

void runSyscallsCampaign(Campaign& campaign, const Extent& extent) {
  SnapshotRuns runs(campaign, extent.mountPoints, extent.areOrdinary);
  const CaseCounts counts = extent.areOrdinary ? casesOfOrdinary : casesOfQmfs;
  const std::size_t wanted = campaign.quick() ? counts.quick : counts.full;
  const std::vector<FaultCase> cases = mixed(allCases(runs, extent, wanted));
  for (std::size_t i = 0; i < std::min(cases.size(), wanted); ++i) {
    if (!extent.has(i)) continue;
    const FaultCase& one = cases[i];
    campaign.begin(std::to_string(i) + ": " + one.call.text() + " fails with " + strerrorname_np(one.error));
    runCase(campaign, runs, one);
  }
}

}  // namespace faults

// Hosts that make it hard for a library: each script of calls in a process that ignores its children or reaps them all,
// has no standard streams, a file mode mask of its own, no /proc, closes descriptors that it does not know, or forks at
// every moment; each of these alone, and each with each other. What comes of the calls is the same as anywhere else.
#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include "campaigns.h"
#include "failing_scripts.h"
#include "host_conditions.h"

namespace faults {

namespace {

constexpr int quickRounds = 1;
constexpr int fullRounds = 14;

using Conditions = std::vector<const NamedCondition*>;

// One, or two.
std::vector<Conditions> allConditions() {
  std::vector<Conditions> all;
  const std::vector<NamedCondition>& single = hostConditions();
  for (std::size_t first = 0; first < single.size(); ++first) {
    all.push_back({&single[first]});
    for (std::size_t second = first + 1; second < single.size(); ++second) {
      all.push_back({&single[first], &single[second]});
    }
  }
  return all;
}

std::vector<std::string> namesOf(const std::vector<Conditions>& all) {
  std::vector<std::string> names;
  for (const Conditions& conditions : all) {
    std::string name;
    for (const NamedCondition* condition : conditions) {
      name += (name.empty() ? "" : " and ") + std::string(condition->name);
    }
    names.push_back(name);
  }
  return names;
}

Judgement judge(const CallRecord& record, const CallRecord& usual, bool /*failsHere*/) {
  const bool isUsual =
      record.status == usual.status && record.outputs == usual.outputs && record.messages == usual.messages;
  return isUsual ? Judgement::usual : Judgement::wrong;
}

}  // namespace

void runHostCampaign(Campaign& campaign) {
  const int rounds = campaign.quick() ? quickRounds : fullRounds;
  const std::vector<Conditions> all = allConditions();
  Machine machine;
  std::vector<std::unique_ptr<Condition>> conditions;
  Fault fault{.name = "host"};
  fault.names = namesOf(all);
  fault.keepsMemory = true;
  fault.plan = [&](std::uint64_t number) {
    if (number == 0) return;
    for (const NamedCondition* chosen : all[number - 1]) {
      campaign.count(chosen->name);
      conditions.push_back(chosen->make(campaign, machine));
    }
  };
  fault.started = [&] {
    for (const auto& condition : conditions) condition->started();
  };
  fault.forget = [&] {
    for (const auto& condition : conditions) campaign.expectNone(condition->failures());
    while (!conditions.empty()) conditions.pop_back();
  };
  fault.planned = [&] { return all.size(); };
  for (int round = 0; round < rounds; ++round) {
    for (const Script& script : allScripts()) {
      if (campaign.wants(script.name)) FailingScript(campaign, machine, script, fault).failEach("", judge);
    }
  }
}

}  // namespace faults

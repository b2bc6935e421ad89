// Memory that is short: the n-th allocation of every script fails, once or from then on, for every n.
//
// A call may get by without the memory; then it, and all that follows, gives what it gives otherwise. Or it fails with
// a status that says so and a message, or at least a trace record, that tells why. Nothing stays behind either way.
#include <map>
#include <set>

#include "campaigns.h"
#include "failing_scripts.h"
#include "support/allocation_faults.h"

namespace faults {

namespace {

// Statuses of a call that memory was too short for, where they are not just 6.
const std::map<std::string, std::set<int>> otherStatuses = {
    {"init", {6, 30}},       {"get_last_error", {5, 6}},  {"get_locale_message", {5, 6}},
    {"subobj_list", {5, 6}}, {"online_resource", {5, 6}},
};

// A missing identifier is status 6 and nothing more; and until init has tied the plug-in together there is nobody who
// could be asked for a message.
const std::set<std::string> failsSilently = {"claim", "init_node", "init_altnode", "init"};

// What a call may hand out with its usual status although it is not the usual: a type that could not be asked for is
// none, an object-control text that could not be copied is null.
const std::map<std::string, std::set<std::string>> otherOutputs = {
    {"is_parent_pgn", {"0;"}},
    {"objctl", {"null;2;"}},
};

// Required: formatting succeeds although its proof mount, for which the mount table cannot be read, stays.
const std::set<std::string> mayLeaveUndone = {"format"};

bool isUsual(const CallRecord& record, const CallRecord& usual) {
  return record.status == usual.status && record.outputs == usual.outputs && record.messages == usual.messages;
}

Judgement judgeUnusual(const CallRecord& record, const CallRecord& usual, AllocationMode mode) {
  const bool told = !record.messages.empty() || mode == AllocationMode::fromThenOn;
  if (record.status == usual.status && record.status != 6) {
    const auto other = otherOutputs.find(record.entryPoint);
    if (other != otherOutputs.end() && other->second.count(record.outputs) != 0) return Judgement::absorbed;
    return record.outputs == usual.outputs && told ? Judgement::reported : Judgement::wrong;
  }
  const auto other = otherStatuses.find(record.entryPoint);
  const bool known = other != otherStatuses.end() ? other->second.count(record.status) != 0 : record.status == 6;
  const bool explained = told || record.tracedFailure || failsSilently.count(record.entryPoint) != 0;
  // Status 5 says it all.
  return known && (explained || record.status == 5) ? Judgement::reported : Judgement::wrong;
}

Judgement judge(const CallRecord& record, const CallRecord& usual, bool failsHere, AllocationMode mode) {
  if (record.entryPoint == "fini" || record.entryPoint == "deinit_node") return Judgement::usual;
  if (isUsual(record, usual)) {
    return failsHere && mayLeaveUndone.count(record.entryPoint) != 0 ? Judgement::absorbed : Judgement::usual;
  }
  return record.faultHappened ? judgeUnusual(record, usual, mode) : Judgement::wrong;
}

// What libraries make once and keep is made here.
void warmUp(Machine& machine) {
  for (const Script& script : allScripts()) {
    machine.reset();
    script.prepare(machine);
    Host host(machine);
    script.run(host);
  }
}

}  // namespace

void runMemoryCampaign(Campaign& campaign) {
  if (!allocationsAreTakenOver()) return campaign.failed("this build does not take allocations over");
  if (campaign.options().allocation != 0) showAllocationFaults();
  // A figure takes memory when it is first counted, which would pass for a leak.
  for (const char* figure : {"unnoticed", "absorbed", "reported", "once", "from then on"}) campaign.count(figure, 0);
  Machine machine;
  warmUp(machine);
  auto mode = AllocationMode::once;
  const Fault fault{"allocation",
                    campaign.options().allocation,
                    false,
                    "",
                    [&mode](std::uint64_t number) { planAllocationFault(number, mode); },
                    forgetAllocationFault,
                    plannedAllocations};
  const Judge judgeInMode = [&mode](const CallRecord& record, const CallRecord& usual, bool failsHere) {
    return judge(record, usual, failsHere, mode);
  };
  for (const Script& script : allScripts()) {
    if (!campaign.wants(script.name)) continue;
    mode = AllocationMode::once;
    FailingScript scripted(campaign, machine, script, fault);
    campaign.count("once", scripted.failEach(" fails once", judgeInMode));
    mode = AllocationMode::fromThenOn;
    if (!campaign.quick()) campaign.count("from then on", scripted.failEach(" fails and all that follow", judgeInMode));
    campaign.expect(!leakSanitizerFindsLeaks(), std::string(script.name) + " leaks memory");
  }
}

}  // namespace faults

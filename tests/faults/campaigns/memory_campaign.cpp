// Memory that is short: the n-th allocation of every script fails, once or from then on, for every n.
//
// A call may get by without the memory; then it, and all that follows, gives what it gives otherwise. Or it fails with
// a status that says so and a message, or at least a trace record, that tells why. Nothing stays behind either way.
#include <algorithm>
#include <cstdint>
#include <map>
#include <set>

#include "allocation_faults.h"
#include "campaigns.h"
#include "scripts.h"

namespace faults {

namespace {

using Transcript = std::vector<CallRecord>;

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

enum class Judgement { usual, absorbed, reported, wrong };

Judgement judge(const CallRecord& record, const CallRecord& usual, AllocationMode mode) {
  if (isUsual(record, usual)) return Judgement::usual;
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

std::string described(const CallRecord& record) {
  std::string text = record.entryPoint + " status " + std::to_string(record.status) + " outputs " + record.outputs;
  for (const std::string& message : record.messages) text += " " + message;
  return text;
}

void judgeTranscript(Campaign& campaign, const Transcript& transcript, const Transcript& usual, AllocationMode mode) {
  bool hasFailed = false;
  for (std::size_t i = 0; i < transcript.size(); ++i) {
    const CallRecord& record = transcript[i];
    const bool failsHere = record.faultHappened && !hasFailed;
    hasFailed = hasFailed || record.faultHappened;
    if (i >= usual.size() || record.entryPoint != usual[i].entryPoint) {
      return campaign.failed("other calls than usual: " + described(record));
    }
    if (record.entryPoint == "fini" || record.entryPoint == "deinit_node") continue;
    const Judgement judgement = judge(record, usual[i], mode);
    if (judgement == Judgement::usual) {
      if (!failsHere || mayLeaveUndone.count(record.entryPoint) == 0) continue;
      return campaign.count("absorbed");
    }
    if (judgement == Judgement::wrong || !record.faultHappened) {
      return campaign.failed("instead of " + described(usual[i]) + " was " + described(record));
    }
    // What comes of the calls that follow depends on the one that failed.
    campaign.count(judgement == Judgement::absorbed ? "absorbed" : "reported");
    return;
  }
  campaign.count("unnoticed");
}

// Runs a script once. look: is given the host when all its calls are made and nothing is left to be given back.
template <typename Look>
void runScript(Machine& machine, const Script& script, std::uint64_t number, AllocationMode mode, Look&& look) {
  machine.reset();
  script.prepare(machine);
  Host host(machine);
  planAllocationFault(number, mode);
  script.run(host);
  host.stop();
  forgetAllocationFault();
  look(host);
}

void checkEnd(Campaign& campaign, const Host& host) {
  campaign.expectNone(host.machine.differences(host.mayStay));
}

// What libraries make once and keep is made here.
void warmUp(Machine& machine) {
  for (const Script& script : allScripts()) runScript(machine, script, 0, AllocationMode::once, [](const Host&) {});
}

class MemoryScript {
 public:
  MemoryScript(Campaign& campaign, Machine& machine, const Script& script)
      : m_campaign(campaign), m_machine(machine), m_script(script) {
    m_campaign.begin(std::string(script.name) + " as usual");
    runScript(m_machine, m_script, 0, AllocationMode::once, [&](const Host& host) {
      m_usual = host.transcript();
      m_allocations = plannedAllocations();
      checkEnd(m_campaign, host);
    });
  }

  void failEach(AllocationMode mode) {
    const std::uint64_t only = m_campaign.options().allocation;
    for (std::uint64_t number = only != 0 ? only : 1; number <= (only != 0 ? only : m_allocations); ++number) {
      const std::string name = std::string(m_script.name) + ", allocation " + std::to_string(number) + " of " +
                               std::to_string(m_allocations) +
                               (mode == AllocationMode::once ? " fails once" : " fails and all that follow");
      m_campaign.begin(name);
      m_campaign.count(mode == AllocationMode::once ? "once" : "from then on");
      failOne(number, mode);
    }
    m_campaign.expect(!leakSanitizerFindsLeaks(), std::string(m_script.name) + " leaks memory");
  }

 private:
  void failOne(std::uint64_t number, AllocationMode mode) {
    const std::uint64_t failuresBefore = m_campaign.failures();
    const std::int64_t blocksBefore = livingBlocks();
    runScript(m_machine, m_script, number, mode, [&](const Host& host) {
      judgeTranscript(m_campaign, host.transcript(), m_usual, mode);
      checkEnd(m_campaign, host);
    });
    if (m_campaign.failures() != failuresBefore) return;
    const std::int64_t blocks = livingBlocks() - blocksBefore;
    m_campaign.expect(blocks == 0, std::to_string(blocks) + " blocks of memory are left behind");
    m_campaign.expect(!isMapped("libqmfsfi.so"), "the plug-in stays loaded");
  }

  Campaign& m_campaign;
  Machine& m_machine;
  const Script& m_script;
  Transcript m_usual;
  std::uint64_t m_allocations = 0;
};

}  // namespace

void runMemoryCampaign(Campaign& campaign) {
  if (!allocationsAreTakenOver()) return campaign.failed("this build does not take allocations over");
  if (campaign.options().allocation != 0) showAllocationFaults();
  // A figure takes memory when it is first counted, which would pass for a leak.
  for (const char* figure : {"unnoticed", "absorbed", "reported", "once", "from then on"}) campaign.count(figure, 0);
  Machine machine;
  warmUp(machine);
  for (const Script& script : allScripts()) {
    if (!campaign.wants(script.name)) continue;
    MemoryScript scripted(campaign, machine, script);
    scripted.failEach(AllocationMode::once);
    if (!campaign.quick()) scripted.failEach(AllocationMode::fromThenOn);
  }
}

}  // namespace faults

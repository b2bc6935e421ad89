// Mutexes that fail: the n-th lock of every script fails once, for every n.
//
// A call may get by without it; then it, and all that follows, gives what it gives otherwise. Or it fails with a status
// that says so. Nothing crashes either way, and nothing stays frozen, mounted, running or loaded; but what cannot give
// its count back is kept for ever, so memory is not looked at, and the log may stay open.
#include <algorithm>
#include <cstdint>
#include <map>
#include <set>

#include "campaigns.h"
#include "mutex_faults.h"
#include "scripts.h"

namespace faults {

namespace {

using Transcript = std::vector<CallRecord>;

// Calls that may leave something undone without a word. Required: restoring a state that cannot have the device's
// identifier succeeds without it. A thaw has no status; one that did not reach the provider is left to the next.
const std::set<std::string> mayLeaveUndone = {"process_providerstate", "unquiesce"};

// Runs a script once. look: is given the host when all its calls are made and nothing is left to be given back.
template <typename Look>
void runScript(Machine& machine, const Script& script, std::uint64_t number, Look&& look) {
  machine.reset();
  script.prepare(machine);
  Host host(machine);
  host.mayStay.descriptors.push_back(machine.path("log/qmfsfi.log"));
  planMutexFault(number);
  script.run(host);
  host.stop();
  forgetMutexFault();
  look(host);
}

std::string described(const CallRecord& record) {
  std::string text = record.entryPoint + " status " + std::to_string(record.status) + " outputs " + record.outputs;
  for (const std::string& message : record.messages) text += " " + message;
  return text;
}

bool isUsual(const CallRecord& record, const CallRecord& usual) {
  return record.status == usual.status && record.outputs == usual.outputs;
}

class MutexScript {
 public:
  MutexScript(Campaign& campaign, Machine& machine, const Script& script)
      : m_campaign(campaign), m_machine(machine), m_script(script) {
    m_campaign.begin(std::string(script.name) + " as usual");
    runScript(m_machine, m_script, 0, [&](const Host& host) {
      m_usual = host.transcript();
      m_locks = plannedLocks();
      m_campaign.expectNone(m_machine.differences(host.mayStay));
    });
  }

  void failEach() {
    const std::uint64_t only = m_campaign.options().lock;
    for (std::uint64_t number = only != 0 ? only : 1; number <= (only != 0 ? only : m_locks); ++number) {
      m_campaign.begin(std::string(m_script.name) + ", lock " + std::to_string(number) + " of " +
                       std::to_string(m_locks) + " fails");
      runScript(m_machine, m_script, number, [&](const Host& host) {
        judge(host.transcript());
        m_campaign.expectNone(m_machine.differences(host.mayStay));
      });
      m_campaign.expect(!isMapped("libqmfsfi.so"), "the plug-in stays loaded");
    }
  }

 private:
  void judge(const Transcript& transcript) {
    bool hasFailed = false;
    for (std::size_t i = 0; i < transcript.size(); ++i) {
      const CallRecord& record = transcript[i];
      if (i >= m_usual.size() || record.entryPoint != m_usual[i].entryPoint) {
        return m_campaign.failed("other calls than usual: " + described(record));
      }
      const bool failsHere = record.faultHappened && !hasFailed;
      hasFailed = hasFailed || record.faultHappened;
      // What comes of the calls that follow depends on the one that failed.
      if (failsHere && record.status == 6) return m_campaign.count("reported");
      if (!isUsual(record, m_usual[i])) {
        return m_campaign.failed("instead of " + described(m_usual[i]) + " was " + described(record));
      }
      if (failsHere && mayLeaveUndone.count(record.entryPoint) != 0) return m_campaign.count("absorbed");
    }
    m_campaign.count("unnoticed");
  }

  Campaign& m_campaign;
  Machine& m_machine;
  const Script& m_script;
  Transcript m_usual;
  std::uint64_t m_locks = 0;
};

}  // namespace

void runMutexesCampaign(Campaign& campaign) {
  if (!locksAreTakenOver()) return campaign.failed("this build does not take locks over");
  if (campaign.options().lock != 0) showMutexFaults();
  Machine machine;
  for (const Script& script : allScripts()) {
    if (!campaign.wants(script.name)) continue;
    MutexScript(campaign, machine, script).failEach();
  }
}

}  // namespace faults

// Mutexes that fail: the n-th lock of every script fails once, for every n.
//
// A call may get by without it; then it, and all that follows, gives what it gives otherwise. Or it fails with a status
// that says so. Nothing crashes either way, and nothing stays frozen, mounted, running or loaded; but what cannot give
// its count back is kept for ever, so memory is not looked at, and the log may stay open.
#include <set>

#include "campaigns.h"
#include "failing_scripts.h"
#include "support/allocation_faults.h"
#include "support/mutex_faults.h"

namespace faults {

namespace {

// Calls that may leave something undone without a word. Required: restoring a state that cannot have the device's
// identifier succeeds without it. A thaw has no status; one that did not reach the provider is left to the next.
const std::set<std::string> mayLeaveUndone = {"process_providerstate", "unquiesce"};

Judgement judge(const CallRecord& record, const CallRecord& usual, bool failsHere) {
  if (failsHere && record.status == 6) return Judgement::reported;
  if (record.status != usual.status || record.outputs != usual.outputs) return Judgement::wrong;
  return failsHere && mayLeaveUndone.count(record.entryPoint) != 0 ? Judgement::absorbed : Judgement::usual;
}

}  // namespace

void runMutexesCampaign(Campaign& campaign) {
  if (!locksAreTakenOver()) return campaign.failed("this build does not take locks over");
  const std::uint64_t only = campaign.options().lock;
  if (only != 0) showMutexFaults();
  // ICU and ACE's configuration heap cannot bear that mutexes of their own fail, nobody who calls them can help it, and
  // this program's mutexes are not under test.
  countLocks([](const void* caller) { return inFaultyRegion() && isOfLibrary(caller, "/libqmf"); });
  const Fault fault{"lock", only, true, "log/qmfsfi.log", planMutexFault, forgetMutexFault, plannedLocks};
  Machine machine;
  for (const Script& script : allScripts()) {
    if (campaign.wants(script.name)) FailingScript(campaign, machine, script, fault).failEach(" fails", judge);
  }
}

}  // namespace faults

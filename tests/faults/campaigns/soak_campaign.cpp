// Snapshot after snapshot in one process, with a stand-in for the driver and for the programs: nothing grows.
#include <algorithm>
#include <string>

#include "campaigns.h"
#include "scripts.h"
#include "support/allocation_faults.h"

namespace faults {

namespace {

constexpr int quickSnapshots = 1000;
constexpr int fullSnapshots = 100'000;
// What libraries make once and keep is made in the first ones.
constexpr int firstSnapshots = 3;

Script snapshotScript() {
  const std::vector<Script> scripts = snapshotScripts();
  return *std::find_if(scripts.begin(), scripts.end(),
                       [](const Script& script) { return std::string(script.name) == "snapshot"; });
}

// The transcript as one text.
std::string textOf(const std::vector<CallRecord>& transcript) {
  std::string text;
  for (const CallRecord& record : transcript) {
    text += record.entryPoint + " " + std::to_string(record.status) + " " + record.outputs + "\n";
    for (const std::string& message : record.messages) text += "  " + message + "\n";
  }
  return text;
}

std::string takeSnapshot(Campaign& campaign, Machine& machine, const Script& script) {
  machine.reset();
  script.prepare(machine);
  Host host(machine);
  script.run(host);
  host.stop();
  campaign.expectNone(machine.differences(host.mayStay));
  return textOf(host.transcript());
}

}  // namespace

void runSoakCampaign(Campaign& campaign) {
  const Script script = snapshotScript();
  Machine machine;
  campaign.begin("the first snapshots");
  std::string first;
  {
    // It stays loaded, and keeps what it keeps, from the first snapshot to the last.
    const Provider loaded;
    for (int i = 0; i < firstSnapshots; ++i) first = takeSnapshot(campaign, machine, script);
    const std::int64_t blocks = livingBlocks();
    const int count = campaign.quick() ? quickSnapshots : fullSnapshots;
    for (int i = 1; i <= count; ++i) {
      campaign.begin("snapshot " + std::to_string(i));
      campaign.expect(takeSnapshot(campaign, machine, script) == first, "it went otherwise than the first");
      const std::int64_t drift = livingBlocks() - blocks;
      campaign.expectEqual<std::int64_t>(0, drift, "drift of memory blocks");
    }
  }
  campaign.expect(!leakSanitizerFindsLeaks(), "memory is lost");
  campaign.expect(!isMapped("libqmfsfi.so"), "the plug-in stays loaded");
}

}  // namespace faults

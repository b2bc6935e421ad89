// Runs one campaign and prints its line.
#include <CLI/CLI.hpp>
#include <cstdlib>

#include "snapshot_campaigns.h"
#include "support/private_root.h"

namespace {

struct NamedCampaign {
  const char* name;
  void (*run)(faults::Campaign& campaign, const faults::Extent& extent);
};

constexpr NamedCampaign campaigns[] = {
    {"attacker", faults::runAttackerCampaign}, {"kill", faults::runKillCampaign},
    {"real-soak", faults::runSoakCampaign},    {"space", faults::runSpaceCampaign},
    {"syscalls", faults::runSyscallsCampaign}, {"window", faults::runWindowCampaign},
};

}  // namespace

int main(int count, char** words) {
  CLI::App app("Runs a fault campaign on whole snapshots in the testbed and prints one line of JSON.");
  faults::CampaignOptions options;
  faults::Extent extent;
  std::string name;
  app.add_option("campaign", name, "Which one")->required();
  app.add_flag("--full,!--quick", options.full, "All cases instead of those of a short run");
  app.add_option("--volumes", extent.mountPoints, "Mount points of the testbed's volumes")->required();
  app.add_flag("--ordinary", extent.areOrdinary, "The volumes are ordinary file systems, with the provider of these");
  app.add_option("--only", extent.only, "Only the cases of these numbers");
  app.add_option("--part", extent.part, "Which of the parts this program does, from 1");
  app.add_option("--parts", extent.parts, "In how many parts the campaign is done")->check(CLI::PositiveNumber);
  CLI11_PARSE(app, count, words);
  requirePrivateRoot();
  if (extent.areOrdinary) setenv("QMFI_PROVIDER_DIR", "/usr/lib/qmfi/linuxfs", 1);
  for (const NamedCampaign& campaign : campaigns) {
    if (name != campaign.name) continue;
    faults::Campaign running(extent.areOrdinary ? "ordinary-" + name : name, options);
    campaign.run(running, extent);
    return running.finish();
  }
  std::fprintf(stderr, "There is no campaign \"%s\".\n", name.c_str());
  return 2;
}

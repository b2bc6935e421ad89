// Runs one campaign and prints its line.
#include <CLI/CLI.hpp>

#include "campaigns.h"
#include "provider.h"

namespace {

struct NamedCampaign {
  const char* name;
  void (*run)(faults::Campaign& campaign);
};

constexpr NamedCampaign campaigns[] = {
    {"children", faults::runChildrenCampaign}, {"driver", faults::runDriverCampaign},
    {"host", faults::runHostCampaign},         {"load", faults::runLoadCampaign},
    {"memory", faults::runMemoryCampaign},     {"model", faults::runModelCampaign},
    {"mutexes", faults::runMutexesCampaign},   {"names", faults::runNamesCampaign},
    {"soak", faults::runSoakCampaign},         {"threads", faults::runThreadsCampaign},
};

}  // namespace

int main(int count, char** words) {
  CLI::App app("Runs a fault campaign in the testbed and prints one line of JSON.");
  faults::CampaignOptions options;
  std::string name;
  std::string library;
  app.add_option("campaign", name, "Which one")->required();
  app.add_flag("--full,!--quick", options.full, "All cases instead of those of a short run");
  app.add_flag("--until-failure", options.untilFailure, "Ends with the first failure");
  app.add_option("--only", options.only, "Only cases whose name contains this text");
  app.add_option("--allocation", options.allocation, "memory: only this allocation of each script; shows where it is");
  app.add_option("--lock", options.lock, "mutexes: only this lock of each script; shows where it is");
  app.add_option("--seed", options.seed, "threads: what the choice of calls begins with");
  app.add_option("--volumes", options.volumes, "driver: mount points of real file systems to be frozen, too");
  app.add_option("--library", library, "The plug-in to be tested instead of the build's own");
  CLI11_PARSE(app, count, words);
  if (!library.empty()) faults::setProviderLibrary(library);
  for (const NamedCampaign& campaign : campaigns) {
    if (name != campaign.name) continue;
    faults::Campaign running(name, options);
    campaign.run(running);
    return running.finish();
  }
  std::fprintf(stderr, "There is no campaign \"%s\".\n", name.c_str());
  return 2;
}

// Makes the disks of a machine whose power will be cut, or runs the campaign on the logs of their writes.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>

#include "campaign.h"
#include "disks.h"
#include "restart.h"
#include "support/private_root.h"
#include "write_log.h"

namespace faults {
namespace {

namespace fs = std::filesystem;

// The emulator may be killed before it has written the last entries of the log that it counts already.
constexpr std::size_t uncertainWrites = 64;

void checkRestart(Campaign& campaign, const std::string& name, const std::string& disks, Presence presence) {
  campaign.begin(name);
  for (const std::string& complaint : complaintsAfterRestart(disks, presence)) campaign.failed(complaint);
}

// A snapshot whose state is lost leaves its copies behind, which the check must see.
void checkControl(Campaign& campaign, const std::string& folder) {
  campaign.begin("control: the state as it was before the snapshot");
  campaign.expect(!complaintsAfterRestart(Disks::cutWithStateOf(folder), Presence::either).empty(),
                  "lost state was not noticed");
}

// Cuts the power after every write of a snapshot's life from which on all before it is certain to be on the disk; in
// the full form after every write.
void runLife(Campaign& campaign, const std::string& folder) {
  const WriteLog log(folder + "/life.log");
  Disks disks(folder);
  std::string mark;
  std::size_t number = 0;
  for (const LoggedWrite& write : log.writes()) {
    ++number;
    if (!write.mark.empty()) {
      mark = write.mark;
      if (mark == "create-done") checkControl(campaign, folder);
      continue;
    }
    disks.apply(log, write);
    if (campaign.quick() && !write.isDurable) continue;
    checkRestart(campaign, "cut after write " + std::to_string(number) + ", \"" + mark + "\"", Disks::cut(),
                 presenceAfter(mark));
  }
}

// Lets the disks follow the log as far as it is certain. Returns the last mark.
std::string applyCertain(const WriteLog& log, Disks& disks) {
  const std::size_t certain = std::max(log.writes().size(), uncertainWrites) - uncertainWrites;
  std::string mark;
  for (std::size_t i = 0; i < certain; ++i) {
    const LoggedWrite& write = log.writes()[i];
    if (write.mark.empty()) {
      disks.apply(log, write);
    } else {
      mark = write.mark;
    }
  }
  return mark;
}

// A machine that was killed under load: once with all that the emulator had been given, and once without what its disks
// need not have kept.
void runKill(Campaign& campaign, const std::string& folder, const std::string& killed) {
  const std::string name = fs::path(killed).filename();
  checkRestart(campaign, name + " with what was in caches", killed, Presence::either);
  const WriteLog log(killed + "/log");
  Disks disks(folder);
  const std::string mark = applyCertain(log, disks);
  campaign.count("killed_after_" + (mark.empty() ? "start" : mark));
  checkRestart(campaign, name + " without what was in caches, \"" + mark + "\"", Disks::cut(), presenceAfter(mark));
}

int runCampaign(const CampaignOptions& options, const std::string& folder) {
  Campaign campaign("powercut", options);
  for (const Volume& volume : volumes) fs::create_directories("/mnt/" + volume.name);
  for (const char* directory : {"/storage", "/var/lib/qmfi", "/dev/qm/dsk/dg1"}) fs::create_directories(directory);
  runLife(campaign, folder);
  for (int number = 1; fs::exists(folder + "/kill" + std::to_string(number)); ++number) {
    runKill(campaign, folder, folder + "/kill" + std::to_string(number));
  }
  return campaign.finish();
}

}  // namespace
}  // namespace faults

int main(int count, char** words) {
  CLI::App app("Makes the disks of a machine whose power will be cut, or checks what is left of them after every cut.");
  faults::CampaignOptions options;
  std::string folder;
  bool make = false;
  app.add_option("folder", folder, "Where the disks and the logs are")->required();
  app.add_flag("--make", make, "Make the disks");
  app.add_flag("--full,!--quick", options.full, "All cuts instead of those of a short run");
  CLI11_PARSE(app, count, words);
  requirePrivateRoot();
  if (!make) return faults::runCampaign(options, folder);
  faults::makeDisks(folder);
  return 0;
}

// The campaigns on whole snapshots of real file systems.
#ifndef SNAPSHOT_CAMPAIGNS_H
#define SNAPSHOT_CAMPAIGNS_H

#include <set>
#include <string>
#include <vector>

#include "campaign.h"

namespace faults {

// What is run of a campaign.
struct Extent {
  std::vector<std::string> mountPoints;  // of the testbed's volumes
  bool areOrdinary = false;              // they are xfs and ext4, whose freezes the kernel does not end
  std::set<std::size_t> only;            // numbers of cases; all when it is empty
  // Several programs, each in its own testbed, do one campaign together: this one does every count-th case.
  std::size_t part = 1;
  std::size_t parts = 1;

  bool has(std::size_t number) const { return only.empty() ? number % parts == part - 1 : only.contains(number); }
};

// Every system call fails.
void runSyscallsCampaign(Campaign& campaign, const Extent& extent);
// qmfi is killed at every system call, and recovers.
void runKillCampaign(Campaign& campaign, const Extent& extent);
// A user without rights changes the paths above a mount point, and gets nowhere.
void runAttackerCampaign(Campaign& campaign, const Extent& extent);
// No space from one write on.
void runSpaceCampaign(Campaign& campaign, const Extent& extent);
// What is called while file systems are frozen.
void runWindowCampaign(Campaign& campaign, const Extent& extent);
// Snapshot after snapshot.
void runSoakCampaign(Campaign& campaign, const Extent& extent);

}  // namespace faults

#endif

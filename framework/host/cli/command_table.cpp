// Which sub-commands there are.
#include "cli/command_table.h"

#include "texts/translation.h"

namespace qmfi_host {

namespace {

constexpr std::array groups = {
    CommandGroup{"provider", translatable("The snapshot providers")},
    CommandGroup{"snapshot", translatable("Snapshots of mounted file systems")},
    CommandGroup{"resource", translatable("Devices and the file systems on them")},
    CommandGroup{"access", translatable("Taking file systems out of use for a while")},
    CommandGroup{"cache", translatable("How mounted file systems write")},
    CommandGroup{"config", translatable("What the settings files say")},
};

constexpr std::array commands = {
    CommandEntry{"provider", "show", translatable("Show what the providers say of themselves"), makeProviderShow},
    CommandEntry{"provider", "verify", translatable("Examine a provider's library: does it what the contract says"),
                 makeProviderVerify},
    CommandEntry{"", "claim", translatable("Ask the providers whether paths are their mounted file systems"),
                 makeClaim},
    CommandEntry{"snapshot", "create", translatable("Take a snapshot of file systems, all at the same moment"),
                 makeSnapshotCreate},
    CommandEntry{"snapshot", "plan",
                 translatable("Tell what a snapshot would be, and what is in the way; changes nothing"),
                 makeSnapshotPlan},
    CommandEntry{"snapshot", "run", translatable("Take a snapshot, run the program behind \"--\" on it, and remove it"),
                 makeSnapshotRun},
    CommandEntry{"snapshot", "restore", translatable("Copy files of a snapshot back, or into a directory"),
                 makeSnapshotRestore},
    CommandEntry{"snapshot", "list", translatable("List the snapshots"), makeSnapshotList},
    CommandEntry{"snapshot", "show", translatable("Show one snapshot"), makeSnapshotShow},
    CommandEntry{"snapshot", "delete", translatable("Unmount snapshots and remove them"), makeSnapshotDelete},
    CommandEntry{"snapshot", "prune", translatable("Remove the snapshots that no rule keeps"), makeSnapshotPrune},
    CommandEntry{"snapshot", "hold", translatable("Keep snapshots from being removed"), makeSnapshotHold},
    CommandEntry{"snapshot", "release", translatable("Let snapshots that are held be removed again"),
                 makeSnapshotRelease},
    CommandEntry{"snapshot", "mount", translatable("Mount unmounted snapshots again"), makeSnapshotMount},
    CommandEntry{"snapshot", "unmount", translatable("Unmount snapshots and keep them"), makeSnapshotUnmount},
    CommandEntry{"resource", "format", translatable("Put a new file system on a device"), makeResourceFormat},
    CommandEntry{"resource", "online", translatable("Mount the file system of a device"), makeResourceOnline},
    CommandEntry{"access", "disable", translatable("Unmount file systems for the time being"), makeAccessDisable},
    CommandEntry{"access", "enable", translatable("Check and mount file systems that were disabled"), makeAccessEnable},
    CommandEntry{"access", "list", translatable("List the file systems that are out of use"), makeAccessList},
    CommandEntry{"cache", "enable", translatable("Write with the safe settings of the log"), makeCacheEnable},
    CommandEntry{"cache", "disable", translatable("Write with the fast settings of the log"), makeCacheDisable},
    CommandEntry{"config", "show", translatable("Show the settings that are in effect"), makeConfigShow},
    CommandEntry{"config", "check", translatable("Look for what is wrong in settings files and descriptors"),
                 makeConfigCheck},
    CommandEntry{"", "doctor", translatable("Look for what keeps qmfi from its work, and for what was left behind"),
                 makeDoctor},
    CommandEntry{"", "thaw", translatable("Thaw file systems that somebody left frozen"), makeThaw},
    CommandEntry{"", "recover", translatable("Clean up what an interrupted qmfi left behind"), makeRecover},
    CommandEntry{"", "explain", translatable("Say what failures and exit statuses mean, and what to do"), makeExplain},
};

}  // namespace

std::span<const CommandGroup> commandGroups() {
  return groups;
}

std::span<const CommandEntry> commandTable() {
  return commands;
}

}  // namespace qmfi_host

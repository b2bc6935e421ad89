// Which sub-commands there are.
#include "cli/command_table.h"

namespace qmfi_host {

namespace {

constexpr std::array groups = {
    CommandGroup{"provider", "The snapshot providers"},
    CommandGroup{"snapshot", "Snapshots of mounted file systems"},
    CommandGroup{"resource", "Devices and the file systems on them"},
    CommandGroup{"access", "Taking file systems out of use for a while"},
    CommandGroup{"cache", "How mounted file systems write"},
    CommandGroup{"config", "What the settings files say"},
};

constexpr std::array commands = {
    CommandEntry{"provider", "show", "Show what the providers say of themselves", makeProviderShow},
    CommandEntry{"provider", "verify", "Examine a provider's library: does it what the contract says",
                 makeProviderVerify},
    CommandEntry{"", "claim", "Ask the providers whether paths are their mounted file systems", makeClaim},
    CommandEntry{"snapshot", "create", "Take a snapshot of file systems, all at the same moment", makeSnapshotCreate},
    CommandEntry{"snapshot", "plan", "Tell what a snapshot would be, and what is in the way; changes nothing",
                 makeSnapshotPlan},
    CommandEntry{"snapshot", "run", "Take a snapshot, run the program behind \"--\" on it, and remove it",
                 makeSnapshotRun},
    CommandEntry{"snapshot", "restore", "Copy files of a snapshot back, or into a directory", makeSnapshotRestore},
    CommandEntry{"snapshot", "list", "List the snapshots", makeSnapshotList},
    CommandEntry{"snapshot", "show", "Show one snapshot", makeSnapshotShow},
    CommandEntry{"snapshot", "delete", "Unmount snapshots and remove them", makeSnapshotDelete},
    CommandEntry{"snapshot", "prune", "Remove the snapshots that no rule keeps", makeSnapshotPrune},
    CommandEntry{"snapshot", "hold", "Keep snapshots from being removed", makeSnapshotHold},
    CommandEntry{"snapshot", "release", "Let snapshots that are held be removed again", makeSnapshotRelease},
    CommandEntry{"snapshot", "mount", "Mount unmounted snapshots again", makeSnapshotMount},
    CommandEntry{"snapshot", "unmount", "Unmount snapshots and keep them", makeSnapshotUnmount},
    CommandEntry{"resource", "format", "Put a new file system on a device", makeResourceFormat},
    CommandEntry{"resource", "online", "Mount the file system of a device", makeResourceOnline},
    CommandEntry{"access", "disable", "Unmount file systems for the time being", makeAccessDisable},
    CommandEntry{"access", "enable", "Check and mount file systems that were disabled", makeAccessEnable},
    CommandEntry{"access", "list", "List the file systems that are out of use", makeAccessList},
    CommandEntry{"cache", "enable", "Write with the safe settings of the log", makeCacheEnable},
    CommandEntry{"cache", "disable", "Write with the fast settings of the log", makeCacheDisable},
    CommandEntry{"config", "show", "Show the settings that are in effect", makeConfigShow},
    CommandEntry{"config", "check", "Look for what is wrong in settings files and descriptors", makeConfigCheck},
    CommandEntry{"", "doctor", "Look for what keeps qmfi from its work, and for what was left behind", makeDoctor},
    CommandEntry{"", "thaw", "Thaw file systems that somebody left frozen", makeThaw},
    CommandEntry{"", "recover", "Clean up what an interrupted qmfi left behind", makeRecover},
    CommandEntry{"", "explain", "Say what failures and exit statuses mean, and what to do", makeExplain},
};

}  // namespace

std::span<const CommandGroup> commandGroups() {
  return groups;
}

std::span<const CommandEntry> commandTable() {
  return commands;
}

}  // namespace qmfi_host

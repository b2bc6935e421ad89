// The table of sub-commands.
#ifndef COMMAND_TABLE_H
#define COMMAND_TABLE_H

#include <array>
#include <memory>
#include <span>

#include "cli/command.h"

namespace qmfi_host {

// A word that groups commands.
struct CommandGroup {
  const char* name;
  const char* help;  // for translated()
};

// All groups, and all commands in the order in which the help lists them. Both live as long as the program.
std::span<const CommandGroup> commandGroups();
std::span<const CommandEntry> commandTable();

// Each makes the command that its name says, ready for one command line; it is defined in that command's file.
std::unique_ptr<Command> makeAccessDisable();
std::unique_ptr<Command> makeAccessEnable();
std::unique_ptr<Command> makeAccessList();
std::unique_ptr<Command> makeCacheDisable();
std::unique_ptr<Command> makeCacheEnable();
std::unique_ptr<Command> makeClaim();
std::unique_ptr<Command> makeConfigCheck();
std::unique_ptr<Command> makeConfigShow();
std::unique_ptr<Command> makeDoctor();
std::unique_ptr<Command> makeExplain();
std::unique_ptr<Command> makeProviderShow();
std::unique_ptr<Command> makeProviderVerify();
std::unique_ptr<Command> makeRecover();
std::unique_ptr<Command> makeResourceFormat();
std::unique_ptr<Command> makeResourceOnline();
std::unique_ptr<Command> makeSnapshotCreate();
std::unique_ptr<Command> makeSnapshotDelete();
std::unique_ptr<Command> makeSnapshotHold();
std::unique_ptr<Command> makeSnapshotList();
std::unique_ptr<Command> makeSnapshotMount();
std::unique_ptr<Command> makeSnapshotPlan();
std::unique_ptr<Command> makeSnapshotPrune();
std::unique_ptr<Command> makeSnapshotRelease();
std::unique_ptr<Command> makeSnapshotRestore();
std::unique_ptr<Command> makeSnapshotRun();
std::unique_ptr<Command> makeSnapshotShow();
std::unique_ptr<Command> makeSnapshotUnmount();
std::unique_ptr<Command> makeThaw();

}  // namespace qmfi_host

#endif

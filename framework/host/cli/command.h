// A sub-command: its options and its work.
#ifndef COMMAND_H
#define COMMAND_H

#include <filesystem>
#include <memory>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "cli/command_options.h"
#include "failure/deferred_signals.h"
#include "failure/exit_status.h"
#include "settings/setting_value.h"
#include "settings/settings_files.h"

namespace qmfi_host {

class Progress;

// What holds for a new snapshot unless its options say otherwise.
struct CreateSettings {
  std::string alternateDirectory{};    // where the directories of snapshots lie
  std::optional<int> freezeTimeout{};  // in seconds; without it the provider's configuration holds
  std::string snapshotSize{};          // as --snapshot-size takes it
  std::string required{};              // as --require takes it
  bool overcommit = false;
  std::string hookDirectory{};  // where the programs lie that run around the freeze
  int hookTime = 0;             // in seconds, for each of them
};

// What all commands share.
struct Settings {
  std::optional<std::string> provider{};  // the one that the choice is narrowed to
  std::filesystem::path providerDirectory{};
  std::filesystem::path stateDirectory{};
  std::string splitterCommand{};
  std::optional<int> lockWait{};  // seconds that other qmfis are waited for; without them until they have done
  CreateSettings create{};
  SettingValues values{};                    // all settings, with where each comes from
  SettingsFiles files{};                     // what was read, and what is wrong there
  bool json = false;                         // results and failures are for programs
  std::string command;                       // the words of the command that runs: "snapshot create"
  std::string language;                      // locale name for messages
  std::vector<std::string> program{};        // what stands behind "--", of a command that runs a program
  const DeferredSignals* signals = nullptr;  // never null when a command runs, nor is the next
  const Progress* progress = nullptr;        // is told of what may take long
};

// What becomes of a command where a settings file is wrong.
enum class WrongSettings {
  fail,  // it fails before it has begun
  tell,  // it says so on standard error and goes on without what is wrong
  leave  // the command tells it itself, or does not need to know
};

// A sub-command. Made for one command line: declare is called first, then run once.
class Command {
 public:
  virtual ~Command() = default;

  // Declares the command's options and arguments, whose destinations are members of the command.
  virtual void declare(CommandOptions& options) = 0;

  // Whether only root may run it.
  virtual bool needsRoot() const { return true; }

  // What is done where a settings file is wrong.
  virtual WrongSettings wrongSettings() const { return WrongSettings::fail; }

  // Does the command's work once the command line has been read; results go to out. Throws HostError.
  virtual ExitStatus run(const Settings& settings, std::ostream& out) = 0;

  // Whether the words behind the first "--" are a program with its arguments.
  virtual bool runsProgram() const { return false; }

  // What qmfi exits with when the command fails with this status.
  virtual ExitStatus statusOfFailure(ExitStatus status) const { return status; }
};

// A line of the table of sub-commands.
struct CommandEntry {
  const char* group;  // the word before the command's own; empty when there is none
  const char* name;
  const char* help;  // for translated()
  std::unique_ptr<Command> (*make)();
};

}  // namespace qmfi_host

#endif

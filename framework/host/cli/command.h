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

namespace qmfi_host {

// What all commands share.
struct Settings {
  std::optional<std::string> provider{};  // the one that the choice is narrowed to
  std::filesystem::path providerDirectory = "/usr/lib/qmfi/providers";
  std::filesystem::path stateDirectory = "/var/lib/qmfi";
  std::string splitterCommand = "/usr/lib/qmfi/splitter";
  std::optional<int> lockWait{};       // seconds that other qmfis are waited for; without them until they have done
  bool json = false;                   // results and failures are for programs
  std::string command;                 // the words of the command that runs: "snapshot create"
  std::string language;                // locale name for the provider's messages
  std::vector<std::string> program{};  // what stands behind "--", of a command that runs a program
  const DeferredSignals* signals = nullptr;  // never null when a command runs
};

// A sub-command. Made for one command line: declare is called first, then run once.
class Command {
 public:
  virtual ~Command() = default;

  // Declares the command's options and arguments, whose destinations are members of the command.
  virtual void declare(CommandOptions& options) = 0;

  // Whether only root may run it.
  virtual bool needsRoot() const { return true; }

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
  const char* help;
  std::unique_ptr<Command> (*make)();
};

}  // namespace qmfi_host

#endif

// A sub-command: its options and its work.
#ifndef COMMAND_H
#define COMMAND_H

#include <filesystem>
#include <memory>
#include <optional>
#include <ostream>
#include <string>

#include "cli/command_options.h"
#include "system/deferred_signals.h"

namespace qmfi_host {

inline constexpr int success = 0;
inline constexpr int failure = 1;
inline constexpr int wrongUsage = 2;

// What all commands share.
struct Settings {
  std::optional<std::string> provider{};  // the one that the choice is narrowed to
  std::filesystem::path providerDirectory = "/usr/lib/qmfi/providers";
  std::filesystem::path stateDirectory = "/var/lib/qmfi";
  std::string language;                      // locale name for the provider's messages
  const DeferredSignals* signals = nullptr;  // never null when a command runs
};

class Command {
 public:
  virtual ~Command() = default;

  // Declares the command's options and arguments.
  virtual void declare(CommandOptions& options) = 0;

  // Does the command's work once the command line has been read; results go to out. Returns the exit status. Throws
  // HostError.
  virtual int run(const Settings& settings, std::ostream& out) = 0;
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

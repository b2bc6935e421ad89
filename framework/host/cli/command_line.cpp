// Global options and the choice of the sub-command.
#include "cli/command_line.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <optional>

#include "cli/command_table.h"
#include "cli/language.h"
#include "failure/host_error.h"

namespace qmfi_host {

namespace {

constexpr const char* description =
    "Takes snapshots of mounted file systems through a snapshot provider.\n"
    "Exit status: 0 done, 1 failed, 2 wrong usage.";

// Nothing is a directory of that name, and the loader would take it for "wherever libraries are".
std::string refuseEmpty(const std::string& directory) {
  return directory.empty() ? "the name of a directory is empty" : "";
}

void declareGlobalOptions(CLI::App& app, Settings& settings, std::optional<std::string>& language) {
  app.add_option("--provider", settings.provider, "Snapshot provider (default: all that are installed)")
      ->type_name("NAME");
  app.add_option("--provider-dir", settings.providerDirectory, "Directory of the providers")
      ->envname("QMFI_PROVIDER_DIR")
      ->capture_default_str()
      ->check(refuseEmpty)
      ->type_name("DIR");
  app.add_option("--state-dir", settings.stateDirectory, "Directory in which qmfi remembers snapshots")
      ->envname("QMFI_STATE_DIR")
      ->capture_default_str()
      ->check(refuseEmpty)
      ->type_name("DIR");
  app.add_option("--language", language, "Language of the provider's messages (default: LC_ALL, LC_MESSAGES, LANG)")
      ->type_name("LANGUAGE");
}

// The declared commands, by the parser of each.
using Commands = std::map<const CLI::App*, std::unique_ptr<Command>>;

Commands declareCommands(CLI::App& app) {
  std::map<std::string, CLI::App*> groups = {{"", &app}};
  for (const CommandGroup& group : commandGroups()) {
    CLI::App* const added = app.add_subcommand(group.name, group.help);
    added->require_subcommand(1);
    groups[group.name] = added;
  }
  Commands commands;
  for (const CommandEntry& entry : commandTable()) {
    CLI::App* const parser = groups.at(entry.group)->add_subcommand(entry.name, entry.help);
    std::unique_ptr<Command> command = entry.make();
    CommandOptions options(*parser);
    command->declare(options);
    commands.emplace(parser, std::move(command));
  }
  return commands;
}

// The command of the words that were given; exactly one, since the parser asks for it.
Command& chosenCommand(const CLI::App& app, const Commands& commands) {
  const CLI::App* chosen = &app;
  while (!commands.contains(chosen)) chosen = chosen->get_subcommands().front();
  return *commands.at(chosen);
}

int runCommand(Command& command, Settings& settings, std::ostream& out, std::ostream& errors) {
  try {
    if (geteuid() != 0) throw HostError("freezing and mounting file systems needs root");
    const int status = command.run(settings, out);
    if (!out.flush()) throw HostError("the output could not be written");
    return status;
  } catch (const UsageError& error) {
    printError(errors, error);
    return wrongUsage;
  } catch (const std::exception& error) {
    printError(errors, error);
    return failure;
  }
}

// The parser misses a command where there is a word that it does not know.
std::string wrongUsageText(const CLI::App* parser, const CLI::Error& error) {
  const std::vector<std::string> unknown = parser->remaining(true);
  const bool isMissing = error.get_name() == "RequiredError";
  const std::string word = isMissing && !unknown.empty() ? "\"" + unknown.front() + "\" is not known. " : "";
  return "qmfi: " + word + CLI::FailureMessage::simple(parser, error);
}

}  // namespace

int runCommandLine(int count, const char* const* words, std::ostream& out, std::ostream& errors) {
  CLI::App app(description, "qmfi");
  Settings settings;
  std::optional<std::string> language;
  declareGlobalOptions(app, settings, language);
  app.set_version_flag("--version", "qmfi 7.0.0");
  app.require_subcommand(1);
  app.failure_message(wrongUsageText);
  const Commands commands = declareCommands(app);
  try {
    app.parse(count, words);
  } catch (const CLI::ParseError& error) {
    if (app.exit(error, out, errors) != 0) return wrongUsage;
    if (out.flush()) return success;
    printError(errors, HostError("the output could not be written"));
    return failure;
  }
  settings.language = language ? localeName(*language) : userLanguage();
  const DeferredSignals signals;
  settings.signals = &signals;
  return runCommand(chosenCommand(app, commands), settings, out, errors);
}

}  // namespace qmfi_host

// Global options and the choice of the sub-command.
#include "cli/command_line.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <map>
#include <optional>
#include <string_view>

#include "cfiscopeexit.h"
#include "cli/chosen_progress.h"
#include "cli/chosen_settings.h"
#include "cli/command_table.h"
#include "cli/completion.h"
#include "cli/language.h"
#include "cli/similar_word.h"
#include "failure/host_error.h"
#include "failure/notices.h"
#include "settings/setting_table.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

constexpr std::string_view completionWord = "complete";

constexpr const char* description = translatable(
    "Takes snapshots of mounted file systems through a snapshot provider.\n"
    "Exit status: 0 done, 1 failed, 2 wrong words, 3 partly done, 4 not found, 5 busy,\n"
    "6 freeze timed out (all thawed), 7 perhaps still frozen, 8 no permission, 9 locked,\n"
    "10 less is proven than --require asks for.");

// Nothing is a directory of that name, and the loader would take it for "wherever libraries are".
std::string refuseEmpty(const std::string& directory) {
  return directory.empty() ? translate("the name of a directory is empty") : "";
}

// The help of an option with where the value comes from that it does not give: what counts most stands first.
std::string helpOf(const char* purpose, const char* key) {
  const SettingEntry& entry = *findSetting("", key);
  std::string sources;
  for (const char* const variable : entry.variables) sources += variable == nullptr ? "" : std::string(variable) + ", ";
  const auto* const standard = std::get_if<std::string>(&entry.standard);
  sources += translate("settings files") + (", " + (standard == nullptr ? translated(entry.unset) : *standard));
  return translate("{0} (default: {1})", translated(purpose), sources);
}

// What the parser itself says in every help.
void declareHelp(CLI::App& app) {
  app.option_defaults()->group(translate("Options"));
  app.set_help_flag("-h,--help", translate("Print this help message and exit"));
  for (const char* const label : {translatable("Usage"), translatable("Positionals"), translatable("OPTIONS"),
                                  translatable("REQUIRED"), translatable("SUBCOMMAND")}) {
    app.get_formatter()->label(label, translated(label));
  }
}

void declareGlobalOptions(CLI::App& app, OptionValues& options, bool& json) {
  app.add_option("--provider", options.provider, helpOf(translatable("Snapshot provider"), "provider"))
      ->type_name("NAME");
  app.add_option("--provider-dir", options.providerDirectory,
                 helpOf(translatable("Directory of the providers"), "provider_dir"))
      ->check(refuseEmpty)
      ->type_name("DIR");
  app.add_option("--state-dir", options.stateDirectory,
                 helpOf(translatable("Directory in which qmfi remembers snapshots"), "state_dir"))
      ->check(refuseEmpty)
      ->type_name("DIR");
  app.add_option("--splitter-command", options.splitterCommand,
                 helpOf(translatable("Program that splits what qmfi cannot, by its absolute path"), "splitter_command"))
      ->type_name("PROGRAM");
  app.add_option("--lock-wait", options.lockWait,
                 helpOf(translatable("How long another qmfi is waited for"), "lock_wait"))
      ->check(CLI::Range(0, longestLockWait))
      ->type_name("SECONDS");
  app.add_option("--language", options.language, helpOf(translatable("Language of messages"), "language"))
      ->type_name("LANGUAGE");
  app.add_flag("--json", json, translate("Print JSON"));
  app.add_flag("-q,--quiet", options.progress.quiet, translate("Tell nothing but results and failures"));
  app.add_flag("-v,--verbose", options.progress.verbose,
               translate("Tell each step, also without a terminal, and which provider and splitter was chosen"));
  app.add_option("--progress", options.progress.form,
                 translate("How steps are told on standard error (default: auto, as text on a terminal)"))
      ->check(CLI::IsMember({"auto", "none", "text", "json"}))
      ->type_name("FORM");
}

// A group of commands, or one of them. The parser does not hand on everything that declareHelp says.
CLI::App* addParser(CLI::App& parent, const char* name, const char* help) {
  CLI::App* const added = parent.add_subcommand(name, translated(help));
  added->group(translate("Subcommands"));
  added->get_help_ptr()->group(translate("Options"));
  return added;
}

// The declared commands, by the parser of each.
using Commands = std::map<const CLI::App*, std::unique_ptr<Command>>;

Commands declareCommands(CLI::App& app) {
  std::map<std::string, CLI::App*> groups = {{"", &app}};
  for (const CommandGroup& group : commandGroups()) {
    CLI::App* const added = addParser(app, group.name, group.help);
    added->require_subcommand(1);
    groups[group.name] = added;
  }
  Commands commands;
  for (const CommandEntry& entry : commandTable()) {
    CLI::App* const parser = addParser(*groups.at(entry.group), entry.name, entry.help);
    std::unique_ptr<Command> command = entry.make();
    CommandOptions options(*parser);
    command->declare(options);
    commands.emplace(parser, std::move(command));
  }
  return commands;
}

// The parser of the command that the words name; null where they name none.
const CLI::App* chosenParser(const CLI::App& app, const Commands& commands) {
  const CLI::App* chosen = &app;
  while (!commands.contains(chosen)) {
    const std::vector<CLI::App*> named = chosen->get_subcommands();
    if (named.empty()) return nullptr;
    chosen = named.front();
  }
  return chosen;
}

bool runsProgram(const CLI::App& app, const Commands& commands) {
  const CLI::App* const chosen = chosenParser(app, commands);
  return chosen != nullptr && commands.at(chosen)->runsProgram();
}

// Reads the words before "--", and returns whether they name a command that takes those behind it as they are.
bool parseBeforeProgram(CLI::App& app, const Commands& commands, int count, const char* const* words) {
  try {
    app.parse(count, words);
  } catch (const CLI::ParseError&) {
    if (runsProgram(app, commands)) throw;
  }
  return runsProgram(app, commands);
}

void parse(CLI::App& app, const Commands& commands, std::span<const char* const> words, Settings& settings) {
  const auto mark = std::find(words.begin(), words.end(), std::string_view("--"));
  const auto before = static_cast<int>(mark - words.begin());
  if (mark != words.end() && parseBeforeProgram(app, commands, before, words.data())) {
    settings.program.assign(mark + 1, words.end());
  } else {
    app.parse(static_cast<int>(words.size()), words.data());
  }
}

// The words of a command without the program's name.
std::string wordsOf(const CLI::App& parser) {
  const CLI::App* const group = parser.get_parent();
  const bool hasGroup = group->get_parent() != nullptr;
  return (hasGroup ? group->get_name() + " " : "") + parser.get_name();
}

HostError unwritableOutput() {
  return HostError(Failure::outputFailed, translate("the output could not be written"));
}

// Programs find why qmfi ends as it does in the last line of its errors, unless that was a program of the user's.
void tellStatus(std::ostream& errors, ExitStatus status) {
  printError(errors, HostError(status, translate("not everything is done, or as it should be; standard output tells of "
                                                 "each")));
}

void meetWrongSettings(WrongSettings way, const std::vector<FileError>& wrong) {
  if (way == WrongSettings::fail && !wrong.empty()) throw FileError(wrong.front());
  if (way != WrongSettings::tell) return;
  for (const FileError& error : wrong) reportError(error);
}

ExitStatus runCommand(Command& command, const OptionValues& options, Settings& settings, std::ostream& out,
                      std::ostream& errors, bool isTerminal) {
  try {
    const std::unique_ptr<Progress> progress = chosenProgress(options.progress, settings.json, isTerminal, errors);
    settings.progress = progress.get();
    if (command.needsRoot() && geteuid() != 0) {
      throw HostError(ExitStatus::noPermission, translate("freezing and mounting file systems needs root"));
    }
    chooseSettings(settings, options);
    meetWrongSettings(command.wrongSettings(), settings.files.errors);
    const ExitStatus status = command.run(settings, out);
    if (!out.flush()) throw unwritableOutput();
    if (const auto signal = settings.signals->pending()) {
      printNotice(translate("{0} has come, and ends qmfi only now that its work is done", *signal));
    }
    if (settings.json && status != ExitStatus::done && !command.runsProgram()) tellStatus(errors, status);
    return status;
  } catch (HostError& error) {
    error.setExitStatus(command.statusOfFailure(error.exitStatus()));
    printError(errors, error);
    return error.exitStatus();
  } catch (const std::exception& error) {
    printError(errors, error);
    return command.statusOfFailure(ExitStatus::failed);
  }
}

constexpr const char* wayToHelp = translatable("Run with --help for more information.");

// What the words came to before one that makes no sense.
const CLI::App& lastParser(const CLI::App& app) {
  const CLI::App* last = &app;
  while (!last->get_subcommands().empty()) last = last->get_subcommands().front();
  return *last;
}

// What may stand in the place of an unknown word: commands, or options of the command and of all.
std::vector<std::string> knownWords(const CLI::App& app, const std::string& unknown) {
  const CLI::App& last = lastParser(app);
  std::vector<std::string> known;
  if (!unknown.starts_with('-')) {
    for (const CLI::App* command : last.get_subcommands({})) known.push_back(command->get_name());
    return known;
  }
  for (const CLI::App* parser = &last; parser != nullptr; parser = parser->get_parent()) {
    for (const CLI::Option* option : parser->get_options()) {
      for (const std::string& name : option->get_lnames()) known.push_back("--" + name);
    }
  }
  return known;
}

// The parser misses a command where there is a word that it does not know.
HostError wrongUsage(const CLI::App& app, const CLI::Error& error) {
  const std::vector<std::string> unknown = app.remaining(true);
  if (unknown.empty()) return UsageError(error.what()).advise(translated(wayToHelp));
  const bool isMissing = error.get_name() == "RequiredError";
  const std::string word = isMissing ? translate("\"{0}\" is not known.", unknown.front()) + " " : "";
  const std::optional<std::string> meant = similarWord(unknown.front(), knownWords(app, unknown.front()));
  if (!meant) return UsageError(word + error.what()).about(unknown.front()).advise(translated(wayToHelp));
  const std::string question = translate("Did you mean \"{0}\"?", *meant);
  const std::string text = isMissing ? word + question + " " + error.what() : error.what() + (". " + question);
  return UsageError(text).about(unknown.front()).advise(question);
}

// Help and version go to out, where they are asked for.
ExitStatus endParsing(const CLI::App& app, ExitStatus wrongStatus, const CLI::ParseError& error, bool json,
                      std::ostream& out, std::ostream& errors) {
  if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
    app.exit(error, out, errors);
    if (out.flush()) return ExitStatus::done;
    printError(errors, unwritableOutput());
    return ExitStatus::failed;
  }
  HostError failure = wrongUsage(app, error);
  failure.setExitStatus(wrongStatus);
  printError(errors, failure);
  if (!json) errors << translated(wayToHelp) << "\n";
  return wrongStatus;
}

MessageForm formOf(bool json) {
  return json ? MessageForm::json : MessageForm::text;
}

// "qmfi help COMMAND" is "qmfi COMMAND --help".
std::vector<const char*> withHelpBehind(int count, const char* const* words) {
  std::vector<const char*> result(words, words + count);
  if (count < 2 || std::string_view(words[1]) != "help") return result;
  result.erase(result.begin() + 1);
  result.push_back("--help");
  return result;
}

// Where the words make no sense, the parser may not have come so far. Behind "--" stand names, or another program's
// words.
bool asksForJson(int count, const char* const* words) {
  const auto* const end = std::find(words, words + count, std::string_view("--"));
  return std::find(words, end, std::string_view("--json")) != end;
}

// "qmfi complete WORD...", which shells run and people need not know. Prints a line for each.
int printCompletions(const CLI::App& app, std::vector<std::string> words, std::ostream& out) {
  Settings settings;
  try {
    chooseSettings(settings, {});
  } catch (const std::exception&) {
    // Who only types is told of no failure.
    settings.stateDirectory.clear();
  }
  const CompletionSources sources = machineSources(settings.stateDirectory);
  for (const std::string& word : completionsOf(app, words, sources)) out << word << "\n";
  return static_cast<int>(out.flush() ? ExitStatus::done : ExitStatus::failed);
}

ExitStatus wrongUsageOf(const CLI::App& app, const Commands& commands) {
  const CLI::App* const chosen = chosenParser(app, commands);
  return chosen == nullptr ? ExitStatus::wrongUsage : commands.at(chosen)->statusOfFailure(ExitStatus::wrongUsage);
}

}  // namespace

int runCommandLine(int count, const char* const* words, std::ostream& out, std::ostream& errors, bool isTerminal) {
  useLanguageOfEnvironment();
  CLI::App app(translated(description), "qmfi");
  Settings settings;
  OptionValues options;
  declareHelp(app);
  declareGlobalOptions(app, options, settings.json);
  app.set_version_flag("--version", "qmfi " QMFI_VERSION, translate("Display program version information and exit"));
  app.require_subcommand(1);
  // Global options may stand behind the command, too. The commands take this over when they are added.
  app.fallthrough();
  const Commands commands = declareCommands(app);
  if (count > 1 && std::string_view(words[1]) == completionWord) {
    return printCompletions(app, {words + 2, words + count}, out);
  }
  const bool json = asksForJson(count, words);
  setMessageForm(formOf(json));
  const qmfi_pdk_4_4::CFiScopeExit restoreForm([] { setMessageForm(MessageForm::text); });
  try {
    const std::vector<const char*> all = withHelpBehind(count, words);
    parse(app, commands, all, settings);
  } catch (const CLI::ParseError& error) {
    return static_cast<int>(endParsing(app, wrongUsageOf(app, commands), error, json, out, errors));
  }
  setMessageForm(formOf(settings.json));
  setNoticesTold(!options.progress.quiet);
  const qmfi_pdk_4_4::CFiScopeExit tellNotices([] { setNoticesTold(true); });
  const DeferredSignals signals;
  settings.signals = &signals;
  const CLI::App& parser = *chosenParser(app, commands);
  settings.command = wordsOf(parser);
  return static_cast<int>(runCommand(*commands.at(&parser), options, settings, out, errors, isTerminal));
}

}  // namespace qmfi_host

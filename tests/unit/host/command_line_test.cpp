// What the user types: wrong usage and help.
#include "cli/command_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <fstream>
#include <sstream>

#include "cli/command_options.h"
#include "german_texts.h"
#include "support/json_schema.h"

namespace qmfi_host {
namespace {

using testing::StartsWith;

constexpr int success = 0;
constexpr int failure = 1;
constexpr int wrongUsage = 2;

struct Outcome {
  int status;
  std::string out;
  std::string errors;
};

Outcome run(std::vector<const char*> words) {
  words.insert(words.begin(), "qmfi");
  std::ostringstream out;
  std::ostringstream errors;
  const int status = runCommandLine(static_cast<int>(words.size()), words.data(), out, errors);
  return {status, out.str(), errors.str()};
}

TEST(CommandLine, ThatIsWrongEndsWithTwoAndSaysWhy) {
  const std::vector<std::vector<const char*>> cases = {
      {},
      {"snapshot"},
      {"nonsense"},
      {"snapshot", "nonsense"},
      {"snapshot", "create"},
      {"snapshot", "create", "/mnt/a", "--name"},
      {"snapshot", "create", "/mnt/a", "--nonsense"},
      {"snapshot", "create", "/mnt/a", "--freeze-timeout", "0"},
      {"snapshot", "create", "/mnt/a", "--freeze-timeout", "3601"},
      {"snapshot", "create", "/mnt/a", "--freeze-timeout", "soon"},
      {"snapshot", "create", "/mnt/a", "--overcommit=perhaps"},
      {"snapshot", "create", "/mnt/a", "--overcommit=99999999999999999999"},
      {"snapshot", "list", "--columns", "colour"},
      {"snapshot", "show"},
      {"snapshot", "delete"},
      {"claim"},
      {"resource", "format"},
      {"access", "enable"},
      {"cache", "disable"},
      {"thaw"},
      {"--provider"},
      {"--state-dir", "", "snapshot", "list"},
      {"--provider-dir", "", "provider", "show"},
  };
  for (const auto& words : cases) {
    const Outcome outcome = run(words);
    EXPECT_EQ(outcome.status, wrongUsage) << testing::PrintToString(words);
    EXPECT_EQ(outcome.out, "") << testing::PrintToString(words);
    EXPECT_THAT(outcome.errors, StartsWith("qmfi: ")) << testing::PrintToString(words);
  }
}

TEST(CommandLine, ListIsForMonitoringOrForProgramsAndNotForBoth) {
  const Outcome outcome = run({"snapshot", "list", "--metrics", "--json"});
  EXPECT_EQ(outcome.status, wrongUsage);
  EXPECT_EQ(outcome.out, "");
  EXPECT_THAT(outcome.errors, testing::HasSubstr("--metrics and --json cannot be given together"));
}

TEST(CommandLine, LeavesWhatStandsBehindTheMarkToTheProgramOfACommand) {
  // Neither is an option of qmfi, nor are these mount points; where a mount point is missing they are none either.
  for (const std::vector<const char*>& words :
       {std::vector{"snapshot", "run", "--", "/bin/true", "--nonsense"},
        std::vector{"snapshot", "run", "--nonsense", "/mnt/a", "--", "/bin/true"}}) {
    const Outcome outcome = run(words);
    EXPECT_EQ(outcome.status, 125) << testing::PrintToString(words);
    EXPECT_THAT(outcome.errors, StartsWith("qmfi: "));
  }
  // Other commands take such words as arguments that are no options.
  EXPECT_EQ(run({"thaw", "--"}).status, wrongUsage);
  EXPECT_EQ(run({"thaw", "--nonsense", "--", "/mnt/a"}).status, wrongUsage);
}

TEST(CommandLine, NamesACommandThatItDoesNotKnow) {
  for (const std::vector<const char*>& words : {std::vector{"nonsense"}, std::vector{"snapshot", "nonsense"}}) {
    EXPECT_THAT(run(words).errors, StartsWith("qmfi: \"nonsense\" is not known. "));
  }
}

// With root's rights or without them: what the words say is read before.
TEST(CommandLine, HelpMayBeAskedForAsACommand) {
  for (const auto& [command, option] : std::vector<std::pair<std::vector<const char*>, std::vector<const char*>>>{
           {{"help"}, {"--help"}},
           {{"help", "snapshot"}, {"snapshot", "--help"}},
           {{"help", "snapshot", "create"}, {"snapshot", "create", "--help"}}}) {
    const Outcome outcome = run(command);
    EXPECT_EQ(outcome.status, success);
    EXPECT_EQ(outcome.out, run(option).out);
    EXPECT_EQ(outcome.errors, "");
  }
}

TEST(CommandLine, AsksWhetherASimilarWordWasMeant) {
  EXPECT_EQ(run({"snapshto"}).errors,
            "qmfi: \"snapshto\" is not known. Did you mean \"snapshot\"? A subcommand is required\n"
            "Run with --help for more information.\n");
  EXPECT_EQ(run({"snapshot", "lst"}).errors,
            "qmfi: \"lst\" is not known. Did you mean \"list\"? A subcommand is required\n"
            "Run with --help for more information.\n");
  EXPECT_EQ(run({"snapshot", "delete", "nightly", "--forse"}).errors,
            "qmfi: The following argument was not expected: --forse. Did you mean \"--force\"?\n"
            "Run with --help for more information.\n");
  EXPECT_EQ(run({"snapshot", "list", "--jsn"}).errors,
            "qmfi: The following argument was not expected: --jsn. Did you mean \"--json\"?\n"
            "Run with --help for more information.\n");
}

TEST(CommandLine, ExplainsFailuresWithoutRoot) {
  const std::string busy =
      "busy (exit status 5): somebody else uses it\n  end what uses it, or wait for it, and try again\n";
  EXPECT_EQ(run({"explain", "busy"}).out, busy);
  EXPECT_EQ(run({"explain", "5"}).out, busy);
  EXPECT_THAT(run({"explain"}).out, testing::AllOf(StartsWith("failed (exit status 1): "), testing::HasSubstr(busy)));
  const Outcome unknown = run({"explain", "nonsense"});
  EXPECT_EQ(unknown.status, 4);
  EXPECT_EQ(unknown.errors, "qmfi: there is no failure \"nonsense\"\n");
  const Outcome json = run({"explain", "busy", "--json"});
  EXPECT_EQ(testbed_test::schemaErrors("explain", json.out), "");
  EXPECT_EQ(json.out,
            "[\n  {\n    \"id\": \"busy\",\n    \"exit_status\": 5,\n    \"meaning\": \"somebody else uses it\",\n"
            "    \"hint\": \"end what uses it, or wait for it, and try again\"\n  }\n]\n");
}

TEST(CommandLine, TakesGlobalOptionsBehindTheCommandToo) {
  for (const std::vector<const char*>& words :
       {std::vector{"--json", "--state-dir", "/nonexistent", "snapshot", "list"},
        std::vector{"snapshot", "--json", "list", "--state-dir", "/nonexistent"},
        std::vector{"snapshot", "list", "--state-dir", "/nonexistent", "--json"}}) {
    EXPECT_NE(run(words).status, wrongUsage) << testing::PrintToString(words);
  }
}

TEST(CommandLine, ThatIsWrongIsToldToPrograms) {
  const struct {
    std::vector<const char*> words;
    const char* errors;
  } cases[] = {
      {{"nonsense", "--json"},
       "{\"error\":{\"id\":\"wrong_usage\",\"exit_status\":2,\"text\":\"qmfi: \\\"nonsense\\\" is not known. A "
       "subcommand is required\",\"object\":\"nonsense\",\"cause\":null,\"hint\":\"Run with --help for more "
       "information.\",\"lines\":[]}}\n"},
      {{"--json", "snapshot", "create", "/mnt/a", "--freeze-timeout", "0"},
       "{\"error\":{\"id\":\"wrong_usage\",\"exit_status\":2,\"text\":\"qmfi: --freeze-timeout: Value 0 not in "
       "range 1 to 3600\",\"object\":null,\"cause\":null,\"hint\":\"Run with --help for more "
       "information.\",\"lines\":[]}}\n"},
  };
  for (const auto& [words, errors] : cases) {
    const Outcome outcome = run(words);
    EXPECT_EQ(outcome.status, wrongUsage) << testing::PrintToString(words);
    EXPECT_EQ(outcome.out, "") << testing::PrintToString(words);
    EXPECT_EQ(outcome.errors, errors);
  }
  EXPECT_EQ(run({"--freeze"}).errors.find('{'), std::string::npos);
  // The statuses below are those of the program that it runs.
  const Outcome outcome = run({"--json", "snapshot", "run", "--nonsense"});
  EXPECT_EQ(outcome.status, 125);
  EXPECT_NE(outcome.errors.find("\"id\":\"wrong_usage\",\"exit_status\":125,"), std::string::npos) << outcome.errors;
}

TEST(CommandLine, HelpAndVersionThatCannotBeWrittenAreAFailure) {
  for (const char* option : {"--help", "--version"}) {
    std::ofstream full("/dev/full");
    std::ostringstream errors;
    const char* const words[] = {"qmfi", option};
    EXPECT_EQ(runCommandLine(2, words, full, errors), failure) << option;
    EXPECT_EQ(errors.str(), "qmfi: the output could not be written\n") << option;
  }
}

// The words of a text with single blanks between them: how lines are broken and aligned is the parser's choice.
std::string wordsOf(const std::string& text) {
  std::istringstream stream(text);
  std::string words;
  for (std::string word; stream >> word;) words += (words.empty() ? "" : " ") + word;
  return words;
}

// What the commands that take or plan a snapshot have in common.
std::string helpOfNewSnapshot(const std::string& command, const std::string& purpose) {
  return purpose + " Usage: qmfi snapshot " + command +
         " [OPTIONS] MOUNTPOINT..."
         " Positionals: MOUNTPOINT ... REQUIRED File systems that are frozen together"
         " Options: -h,--help Print this help message and exit --name NAME Name of the snapshot, with the time in the "
         "place of %F, %H and the like (default: its id)"
         " --freeze-timeout SECONDS:INT in [1 - 3600]"
         " Time after which the freeze ends by itself (default: settings files, the provider's configuration)"
         " --splitter [MOUNTPOINT=]NAME ... What splits the volumes, or that of one file system (default: by what the "
         "volume is) --snapshot-size SIZE Room for a classic snapshot of a logical volume, as 20% of it or 512M "
         "(default: settings files, 20%) --overcommit Also where the storage has no room for an overwrite of the "
         "volumes (default: settings files) "
         "--require LEVEL What must be proven of the freeze, group or none; a snapshot of which less is proven is not "
         "kept (default: settings files, none) --private-mounts "
         "Also in another mount "
         "namespace than that of process 1"
         " --no-hooks Without the programs that run around the freeze: see qmfi-hooks(7)"
         " --alternate-dir DIR Where the directories lie in which snapshots are mounted, root's alone"
         " (default: QMFI_ALTERNATE_DIR, settings files, /run/qmfi/snapshots)";
}

TEST(CommandLine, HelpOfOptionsIsInTheUsersLanguage) {
  const GermanTexts german;
  CLI::App app("", "qmfi");
  CommandOptions options(app);
  std::optional<std::string> directory;
  bool isForced = false;
  options.flag("--force", isForced, translatable("Unmount also what is in use"));
  options.text("--in", directory, "DIR", translate("What is shown of each, of {0}", "id, name"));
  options.examples({"qmfi thaw /mnt/a"});
  EXPECT_THAT(
      wordsOf(app.help()),
      testing::EndsWith(" --force Auch aushängen, was in Benutzung ist --in DIR Was von jedem gezeigt wird, aus "
                        "id, name Beispiele: qmfi thaw /mnt/a"));
}

TEST(CommandLine, HelpTellsOfEveryCommandArgumentAndOption) {
  const struct {
    std::vector<const char*> command;
    std::string help;
  } cases[] = {
      {{},
       "Takes snapshots of mounted file systems through a snapshot provider. Exit status: 0 done, 1 failed, 2 wrong "
       "words, 3 partly done, 4 not found, 5 busy, 6 freeze timed out (all thawed), 7 perhaps still frozen, 8 no "
       "permission, 9 locked, 10 less is proven than --require asks for."
       " Usage: qmfi [OPTIONS] SUBCOMMAND"
       " Options: -h,--help Print this help message and exit --provider NAME Snapshot provider (default: settings "
       "files, all that are installed)"
       " --provider-dir DIR Directory of the providers (default: QMFI_PROVIDER_DIR, settings files, "
       "/usr/lib/qmfi/providers)"
       " --state-dir DIR Directory in which qmfi remembers snapshots (default: QMFI_STATE_DIR, settings files, "
       "/var/lib/qmfi)"
       " --splitter-command PROGRAM Program that splits what qmfi cannot, by its absolute path (default: "
       "QMFI_SPLITTER_COMMAND, settings files, /usr/lib/qmfi/splitter)"
       " --lock-wait SECONDS:INT in [0 - 604800] How long another qmfi is waited for (default: settings files, until "
       "the other qmfi has done)"
       " --language LANGUAGE Language of messages (default: LC_ALL, LC_MESSAGES, LANG, settings files, "
       "the provider's own) --json Print JSON"
       " -q,--quiet Tell nothing but results and failures"
       " -v,--verbose Tell each step, also without a terminal, and which provider and splitter was chosen"
       " --progress FORM:{auto,none,text,json} How steps are told on standard error (default: auto, as text on a "
       "terminal) "
       "--version Display program version information and exit"
       " Subcommands: provider The snapshot providers snapshot Snapshots of mounted file systems"
       " resource Devices and the file systems on them access Taking file systems out of use for a while cache How "
       "mounted file systems write config What the settings files say"
       " claim Ask the providers whether paths are their mounted file systems doctor Look for what keeps qmfi "
       "from its work, and for what was left behind thaw Thaw file systems that somebody left "
       "frozen recover Clean up what an interrupted qmfi left behind explain Say what failures and exit statuses "
       "mean, and what to do"},
      {{"provider"},
       "The snapshot providers"
       " Usage: qmfi provider [OPTIONS] SUBCOMMAND"
       " Options: -h,--help Print this help message and exit"
       " Subcommands: show Show what the providers say of themselves verify Examine a provider's library: does it what "
       "the contract says"},
      {{"snapshot"},
       "Snapshots of mounted file systems"
       " Usage: qmfi snapshot [OPTIONS] SUBCOMMAND"
       " Options: -h,--help Print this help message and exit"
       " Subcommands: create Take a snapshot of file systems, all at the same moment plan Tell what a snapshot "
       "would be, and what is in the way; changes nothing run Take a snapshot, run the "
       "program behind \"--\" on it, and remove it restore Copy files of a snapshot back, or into a directory "
       "list List the snapshots show Show "
       "one snapshot"
       " delete Unmount snapshots and remove them prune Remove the snapshots that no rule keeps hold Keep snapshots "
       "from being removed release Let snapshots that "
       "are held be removed again mount Mount unmounted "
       "snapshots again unmount Unmount snapshots "
       "and keep them"},
      {{"resource"},
       "Devices and the file systems on them"
       " Usage: qmfi resource [OPTIONS] SUBCOMMAND"
       " Options: -h,--help Print this help message and exit"
       " Subcommands: format Put a new file system on a device online Mount the file system of a device"},
      {{"access"},
       "Taking file systems out of use for a while"
       " Usage: qmfi access [OPTIONS] SUBCOMMAND"
       " Options: -h,--help Print this help message and exit"
       " Subcommands: disable Unmount file systems for the time being enable Check and mount file systems that were "
       "disabled list List the file systems that are out of use"},
      {{"cache"},
       "How mounted file systems write"
       " Usage: qmfi cache [OPTIONS] SUBCOMMAND"
       " Options: -h,--help Print this help message and exit"
       " Subcommands: enable Write with the safe settings of the log disable Write with the fast settings of the log"},
      {{"config"},
       "What the settings files say"
       " Usage: qmfi config [OPTIONS] SUBCOMMAND"
       " Options: -h,--help Print this help message and exit"
       " Subcommands: show Show the settings that are in effect check Look for what is wrong in settings files and "
       "descriptors"},
      {{"config", "show"},
       "Show the settings that are in effect"
       " Usage: qmfi config show [OPTIONS]"
       " Options: -h,--help Print this help message and exit --origin Also where each value comes from (always with "
       "--json)"},
      {{"config", "check"},
       "Look for what is wrong in settings files and descriptors"
       " Usage: qmfi config check [OPTIONS]"
       " Options: -h,--help Print this help message and exit"},
      {{"provider", "show"},
       "Show what the providers say of themselves"
       " Usage: qmfi provider show [OPTIONS]"
       " Options: -h,--help Print this help message and exit"},
      {{"claim"},
       "Ask the providers whether paths are their mounted file systems"
       " Usage: qmfi claim [OPTIONS] PATH..."
       " Positionals: PATH ... REQUIRED Mount points of file systems"
       " Options: -h,--help Print this help message and exit"},
      {{"snapshot", "create"}, helpOfNewSnapshot("create", "Take a snapshot of file systems, all at the same moment")},
      {{"snapshot", "plan"},
       helpOfNewSnapshot("plan", "Tell what a snapshot would be, and what is in the way; changes nothing")},
      {{"snapshot", "run"},
       helpOfNewSnapshot("run", "Take a snapshot, run the program behind \"--\" on it, and remove it")},
      {{"snapshot", "restore"},
       "Copy files of a snapshot back, or into a directory"
       " Usage: qmfi snapshot restore [OPTIONS] SNAPSHOT [PATH...]"
       " Positionals: SNAPSHOT REQUIRED Id or name of the snapshot"
       " PATH ... Original paths of files and directories (default: all file systems)"
       " Options: -h,--help Print this help message and exit"
       " --to DIR Into this directory, new or empty and root's alone, with the original paths"
       " --in-place To where they were, as they were; what is there now is kept in a snapshot of its own"
       " --force Also below the users of a file system, or into a directory that is not empty"
       " --checksum Compare contents also where size and time are the same"
       " --overcommit As of \"snapshot create\", for the snapshot of what is there now (default: settings files)"
       " --dry-run Only tell what would be changed"
       " Examples: qmfi snapshot restore nightly /mnt/orders/2026 --to /root/restored"
       " qmfi snapshot restore nightly /mnt/orders/2026 --in-place --dry-run"
       " qmfi snapshot restore nightly --in-place"},
      {{"snapshot", "list"},
       "List the snapshots"
       " Usage: qmfi snapshot list [OPTIONS]"
       " Options: -h,--help Print this help message and exit -o,--columns COLUMN,... What is shown of each, of id, "
       "name, "
       "created, age, frozen, proof, state, mounted, size, provider, splitter, held, directory, mount_points "
       "--no-headings No line that names the columns --metrics Numbers for monitoring, in the text format of "
       "Prometheus"},
      {{"snapshot", "show"},
       "Show one snapshot"
       " Usage: qmfi snapshot show [OPTIONS] SNAPSHOT"
       " Positionals: SNAPSHOT REQUIRED Id or name of the snapshot"
       " Options: -h,--help Print this help message and exit --timeline FILE Draws when each file system was frozen "
       "into this file, as SVG"},
      {{"snapshot", "delete"},
       "Unmount snapshots and remove them"
       " Usage: qmfi snapshot delete [OPTIONS] SNAPSHOT..."
       " Positionals: SNAPSHOT ... REQUIRED Ids or names of snapshots"
       " Options: -h,--help Print this help message and exit"
       " --force Unmount also what is in use; its users get errors"},
      {{"snapshot", "prune"},
       "Remove the snapshots that no rule keeps"
       " Usage: qmfi snapshot prune [OPTIONS] PATTERN"
       " Positionals: PATTERN REQUIRED Names of snapshots, with *, ? and [] as in a shell"
       " Options: -h,--help Print this help message and exit"
       " --keep-last N:INT in [1 - 100000] Keep the newest N"
       " --keep-hourly N:INT in [1 - 100000] Keep the newest of each hour, for the last N hours that have one"
       " --keep-daily N:INT in [1 - 100000] The same for days"
       " --keep-weekly N:INT in [1 - 100000] The same for weeks, which begin with Monday"
       " --keep-monthly N:INT in [1 - 100000] The same for months"
       " --dry-run Only tell what would be removed"},
      {{"snapshot", "hold"},
       "Keep snapshots from being removed"
       " Usage: qmfi snapshot hold [OPTIONS] SNAPSHOT..."
       " Positionals: SNAPSHOT ... REQUIRED Ids or names of snapshots"
       " Options: -h,--help Print this help message and exit"
       " --reason TEXT Why it is to be kept; told to whoever wants to remove it"},
      {{"snapshot", "release"},
       "Let snapshots that are held be removed again"
       " Usage: qmfi snapshot release [OPTIONS] SNAPSHOT..."
       " Positionals: SNAPSHOT ... REQUIRED Ids or names of snapshots"
       " Options: -h,--help Print this help message and exit"},
      {{"snapshot", "mount"},
       "Mount unmounted snapshots again"
       " Usage: qmfi snapshot mount [OPTIONS] SNAPSHOT..."
       " Positionals: SNAPSHOT ... REQUIRED Ids or names of snapshots"
       " Options: -h,--help Print this help message and exit"},
      {{"snapshot", "unmount"},
       "Unmount snapshots and keep them"
       " Usage: qmfi snapshot unmount [OPTIONS] SNAPSHOT..."
       " Positionals: SNAPSHOT ... REQUIRED Ids or names of snapshots"
       " Options: -h,--help Print this help message and exit"
       " --force Unmount also what is in use; its users get errors"},
      {{"resource", "format"},
       "Put a new file system on a device"
       " Usage: qmfi resource format [OPTIONS] DEVICE"
       " Positionals: DEVICE REQUIRED Device to be formatted; what is on it is lost"
       " Options: -h,--help Print this help message and exit --force Do not ask, and format also a device that holds "
       "something else"},
      {{"resource", "online"},
       "Mount the file system of a device"
       " Usage: qmfi resource online [OPTIONS] DEVICE [MOUNTPOINT]"
       " Positionals: DEVICE REQUIRED Device with the file system MOUNTPOINT Where it is mounted (default: the "
       "device's name in /)"
       " Options: -h,--help Print this help message and exit -o,--options OPTIONS Mount options, separated by commas"
       " --force Mount also over a directory that is not empty"},
      {{"access", "disable"},
       "Unmount file systems for the time being"
       " Usage: qmfi access disable [OPTIONS] MOUNTPOINT..."
       " Positionals: MOUNTPOINT ... REQUIRED File systems to be taken out of use"
       " Options: -h,--help Print this help message and exit --force Unmount also what is in use"},
      {{"access", "enable"},
       "Check and mount file systems that were disabled"
       " Usage: qmfi access enable [OPTIONS] MOUNTPOINT..."
       " Positionals: MOUNTPOINT ... REQUIRED File systems that were taken out of use"
       " Options: -h,--help Print this help message and exit"},
      {{"access", "list"},
       "List the file systems that are out of use"
       " Usage: qmfi access list [OPTIONS]"
       " Options: -h,--help Print this help message and exit"},
      {{"cache", "enable"},
       "Write with the safe settings of the log"
       " Usage: qmfi cache enable [OPTIONS] MOUNTPOINT"
       " Positionals: MOUNTPOINT REQUIRED File system whose way of writing changes"
       " Options: -h,--help Print this help message and exit"},
      {{"cache", "disable"},
       "Write with the fast settings of the log"
       " Usage: qmfi cache disable [OPTIONS] MOUNTPOINT"
       " Positionals: MOUNTPOINT REQUIRED File system whose way of writing changes"
       " Options: -h,--help Print this help message and exit"},
      {{"doctor"},
       "Look for what keeps qmfi from its work, and for what was left behind"
       " Usage: qmfi doctor [OPTIONS]"
       " Options: -h,--help Print this help message and exit"},
      {{"thaw"},
       "Thaw file systems that somebody left frozen"
       " Usage: qmfi thaw [OPTIONS] MOUNTPOINT..."
       " Positionals: MOUNTPOINT ... REQUIRED File systems that may be frozen"
       " Options: -h,--help Print this help message and exit"},
      {{"recover"},
       "Clean up what an interrupted qmfi left behind"
       " Usage: qmfi recover [OPTIONS]"
       " Options: -h,--help Print this help message and exit --rescan Look for snapshots that the state does not know "
       "any more, also when it is damaged"},
      {{"explain"},
       "Say what failures and exit statuses mean, and what to do"
       " Usage: qmfi explain [OPTIONS] [ID]"
       " Positionals: ID Id of a failure, or an exit status (default: all failures)"
       " Options: -h,--help Print this help message and exit"},
  };
  for (const auto& [command, help] : cases) {
    std::vector<const char*> words = command;
    words.push_back("--help");
    const Outcome outcome = run(words);
    EXPECT_EQ(outcome.status, success) << testing::PrintToString(command);
    EXPECT_EQ(outcome.errors, "") << testing::PrintToString(command);
    EXPECT_EQ(wordsOf(outcome.out), help);
  }
}

}  // namespace
}  // namespace qmfi_host

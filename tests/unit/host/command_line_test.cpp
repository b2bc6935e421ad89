// What the user types: wrong usage and help.
#include "cli/command_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <sstream>

namespace qmfi_host {
namespace {

using testing::StartsWith;

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
      {"snapshot", "show"},
      {"snapshot", "delete"},
      {"snapshot", "delete", "one", "two"},
      {"claim"},
      {"resource", "format"},
      {"access", "enable"},
      {"cache", "disable"},
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

TEST(CommandLine, NamesACommandThatItDoesNotKnow) {
  for (const std::vector<const char*>& words : {std::vector{"nonsense"}, std::vector{"snapshot", "nonsense"}}) {
    EXPECT_THAT(run(words).errors, StartsWith("qmfi: \"nonsense\" is not known. "));
  }
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

TEST(CommandLine, HelpTellsOfEveryCommandArgumentAndOption) {
  const struct {
    std::vector<const char*> command;
    const char* help;
  } cases[] = {
      {{},
       "Takes snapshots of mounted file systems through a snapshot provider. Exit status: 0 done, 1 failed, 2 wrong "
       "usage."
       " Usage: qmfi [OPTIONS] SUBCOMMAND"
       " Options: -h,--help Print this help message and exit --provider NAME Snapshot provider (default: all that are "
       "installed)"
       " --provider-dir DIR=/usr/lib/qmfi/providers (Env:QMFI_PROVIDER_DIR) Directory of the providers"
       " --state-dir DIR=/var/lib/qmfi (Env:QMFI_STATE_DIR) Directory in which qmfi remembers snapshots"
       " --language LANGUAGE Language of the provider's messages (default: LC_ALL, LC_MESSAGES, LANG) --version "
       "Display program version information and exit"
       " Subcommands: provider The snapshot providers snapshot Snapshots of mounted file systems"
       " resource Devices and the file systems on them access Taking file systems out of use for a while cache How "
       "mounted file systems write"
       " claim Ask the providers whether paths are their mounted file systems recover Put in order what an interrupted "
       "qmfi left"},
      {{"provider"},
       "The snapshot providers"
       " Usage: qmfi provider [OPTIONS] SUBCOMMAND"
       " Options: -h,--help Print this help message and exit"
       " Subcommands: show Show what the providers say of themselves"},
      {{"snapshot"},
       "Snapshots of mounted file systems"
       " Usage: qmfi snapshot [OPTIONS] SUBCOMMAND"
       " Options: -h,--help Print this help message and exit"
       " Subcommands: create Take a snapshot of file systems, all at the same moment list List the snapshots show Show "
       "one snapshot"
       " delete Unmount a snapshot and remove it mount Mount an unmounted snapshot again unmount Unmount a snapshot "
       "and keep it"},
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
       "disabled"},
      {{"cache"},
       "How mounted file systems write"
       " Usage: qmfi cache [OPTIONS] SUBCOMMAND"
       " Options: -h,--help Print this help message and exit"
       " Subcommands: enable Write with the safe settings of the log disable Write with the fast settings of the log"},
      {{"provider", "show"},
       "Show what the providers say of themselves"
       " Usage: qmfi provider show [OPTIONS]"
       " Options: -h,--help Print this help message and exit --json Print JSON"},
      {{"claim"},
       "Ask the providers whether paths are their mounted file systems"
       " Usage: qmfi claim [OPTIONS] PATH..."
       " Positionals: PATH ... REQUIRED Mount points of file systems"
       " Options: -h,--help Print this help message and exit"},
      {{"snapshot", "create"},
       "Take a snapshot of file systems, all at the same moment"
       " Usage: qmfi snapshot create [OPTIONS] MOUNTPOINT..."
       " Positionals: MOUNTPOINT ... REQUIRED File systems that are frozen together"
       " Options: -h,--help Print this help message and exit --name NAME Name of the snapshot (default: its id)"
       " --freeze-timeout SECONDS:INT in [1 - 3600]"
       " Time after which the kernel ends the freeze by itself (default: the provider's configuration) --json Print "
       "JSON"},
      {{"snapshot", "list"},
       "List the snapshots"
       " Usage: qmfi snapshot list [OPTIONS]"
       " Options: -h,--help Print this help message and exit --json Print JSON"},
      {{"snapshot", "show"},
       "Show one snapshot"
       " Usage: qmfi snapshot show [OPTIONS] SNAPSHOT"
       " Positionals: SNAPSHOT REQUIRED Id or name of the snapshot"
       " Options: -h,--help Print this help message and exit --json Print JSON"},
      {{"snapshot", "delete"},
       "Unmount a snapshot and remove it"
       " Usage: qmfi snapshot delete [OPTIONS] SNAPSHOT"
       " Positionals: SNAPSHOT REQUIRED Id or name of the snapshot"
       " Options: -h,--help Print this help message and exit"},
      {{"snapshot", "mount"},
       "Mount an unmounted snapshot again"
       " Usage: qmfi snapshot mount [OPTIONS] SNAPSHOT"
       " Positionals: SNAPSHOT REQUIRED Id or name of the snapshot"
       " Options: -h,--help Print this help message and exit"},
      {{"snapshot", "unmount"},
       "Unmount a snapshot and keep it"
       " Usage: qmfi snapshot unmount [OPTIONS] SNAPSHOT"
       " Positionals: SNAPSHOT REQUIRED Id or name of the snapshot"
       " Options: -h,--help Print this help message and exit"},
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
       " Options: -h,--help Print this help message and exit -o,--options OPTIONS Mount options, separated by commas"},
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
      {{"recover"},
       "Put in order what an interrupted qmfi left"
       " Usage: qmfi recover [OPTIONS]"
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

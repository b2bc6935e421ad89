// What the user types: wrong usage and help.
#include "cli/command_line.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <set>
#include <sstream>

#include "cli/command_table.h"

namespace qmfi_host {
namespace {

using testing::HasSubstr;
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

TEST(CommandLine, HelpIsASuccess) {
  const Outcome outcome = run({"--help"});
  EXPECT_EQ(outcome.status, success);
  EXPECT_EQ(outcome.errors, "");
  for (const CommandGroup& group : commandGroups()) EXPECT_THAT(outcome.out, HasSubstr(group.name));
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

TEST(CommandLine, EveryCommandHasHelpOfItsOwn) {
  std::set<std::string> texts;
  for (const CommandEntry& command : commandTable()) {
    std::vector<const char*> words = {command.name, "--help"};
    if (*command.group != '\0') words.insert(words.begin(), command.group);
    const Outcome outcome = run(words);
    EXPECT_EQ(outcome.status, success) << command.name;
    EXPECT_THAT(outcome.out, HasSubstr(command.help));
    EXPECT_TRUE(texts.insert(outcome.out).second) << command.name;
  }
}

}  // namespace
}  // namespace qmfi_host

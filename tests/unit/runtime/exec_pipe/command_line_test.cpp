// Splitting of command lines into programs and words.
#include "command_line.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Programs = std::vector<std::vector<std::string>>;

TEST(CommandLine, SplitsWordsAtRunsOfBlanks) {
  const struct {
    const char* line;
    Programs programs;
  } cases[] = {
      {"/bin/true", {{"/bin/true"}}},
      {"/bin/mkdir -p  /data", {{"/bin/mkdir", "-p", "/data"}}},
      {"  /bin/mount -t qmfs ", {{"/bin/mount", "-t", "qmfs"}}},
      {"\t/bin/a\t \tb\t", {{"/bin/a", "b"}}},
  };
  for (const auto& c : cases) EXPECT_EQ(qmfi_runtime::parseCommandLine(c.line), c.programs) << c.line;
}

TEST(CommandLine, QuotesAndExpandsNothing) {
  const Programs expected = {{"/bin/echo", "\"a", "b\"", "'c'", "$HOME", "*", ">", "/x", "2>&1", "a\\", "b;c", "&"}};
  EXPECT_EQ(qmfi_runtime::parseCommandLine("/bin/echo \"a b\" 'c' $HOME * > /x 2>&1 a\\ b;c &"), expected);
}

TEST(CommandLine, SplitsProgramsAtALoneBarOnly) {
  const struct {
    const char* line;
    Programs programs;
  } cases[] = {
      {"/a | /b", {{"/a"}, {"/b"}}},
      {"/a 1 | /b 2 | /c", {{"/a", "1"}, {"/b", "2"}, {"/c"}}},
      {"/a|/b", {{"/a|/b"}}},
      {"/a || /b", {{"/a", "||", "/b"}}},
      {"/a x| |y", {{"/a", "x|", "|y"}}},
  };
  for (const auto& c : cases) EXPECT_EQ(qmfi_runtime::parseCommandLine(c.line), c.programs) << c.line;
}

TEST(CommandLine, RefusesALineWithoutAProgramAndEmptyStages) {
  for (const char* line : {"", " ", " \t ", "|", "| /a", "/a |", "/a | ", "/a | | /b", " | | "}) {
    EXPECT_EQ(qmfi_runtime::parseCommandLine(line), std::nullopt) << '"' << line << '"';
  }
}

TEST(CommandLine, RefusesANulThatWouldCutAnArgumentShort) {
  using namespace std::string_literals;
  EXPECT_EQ(qmfi_runtime::parseCommandLine("/bin/umount /data\0base"s), std::nullopt);
  EXPECT_EQ(qmfi_runtime::parseCommandLine("/bin/true\0"s), std::nullopt);
}

}  // namespace

// Which names a command line can carry.
#include <gtest/gtest.h>

#include <string>
#include <type_traits>

#include "qmfs_command_word.h"

namespace {

TEST(CommandWord, HoldsNothingThatSeparatesWords) {
  for (const char* const word : {"/data", "", "/a|b", "/a\"b'c\\d$e;f&g*", "/gr\xc3\xbc\xc3\x9f", "/a\rb", "/a\vb"}) {
    EXPECT_TRUE(CommandWord::of(word)) << word;
    EXPECT_TRUE(CommandWord::of(std::string(word))) << word;
  }
  for (const char* const word : {" ", "/a b", "/a ", " /a", "/a\tb", "/a\nb", "/a\n"}) {
    EXPECT_FALSE(CommandWord::of(word)) << word;
    EXPECT_FALSE(CommandWord::of(std::string(word))) << word;
  }
}

TEST(CommandWord, IsNotTheBarThatBeginsAnotherProgram) {
  EXPECT_FALSE(CommandWord::of("|"));
  EXPECT_FALSE(CommandWord::of(std::string("|")));
  for (const char* const word : {"||", "/|", "|/", "a|"}) EXPECT_TRUE(CommandWord::of(word)) << word;
}

TEST(CommandWord, DoesNotBeginLikeAnOption) {
  for (const char* const word : {"-", "-a", "--all", "-/data"}) {
    EXPECT_FALSE(CommandWord::of(word)) << word;
    EXPECT_FALSE(CommandWord::of(std::string(word))) << word;
  }
  for (const char* const word : {"/-a", "a-", "/data-1"}) EXPECT_TRUE(CommandWord::of(word)) << word;
}

TEST(CommandWord, IsNotWhatIsMissing) {
  EXPECT_FALSE(CommandWord::of(static_cast<const char*>(nullptr)));
}

TEST(CommandWord, KeepsItsName) {
  for (const char* const name : {"", "/data", "/gr\xc3\xbc\xc3\x9f"}) {
    const auto word = CommandWord::of(name);
    ASSERT_TRUE(word);
    EXPECT_EQ(word->text(), name);
    EXPECT_STREQ(word->c_str(), name);
  }
}

TEST(CommandWord, IsMadeByItsCheckOnly) {
  EXPECT_FALSE((std::is_constructible_v<CommandWord, std::string>));
  EXPECT_FALSE((std::is_constructible_v<CommandWord, const char*>));
  EXPECT_FALSE(std::is_default_constructible_v<CommandWord>);
  EXPECT_FALSE((std::is_convertible_v<std::string, CommandWord>));
}

TEST(CommandWord, IsTheWholeOfAString) {
  EXPECT_FALSE(CommandWord::of(std::string("/a\0 b", 5)));
  EXPECT_FALSE(CommandWord::of(std::string("/a\0b", 4)));
}

}  // namespace

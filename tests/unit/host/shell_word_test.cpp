// Words that users can put into a shell.
#include "failure/shell_word.h"

#include <gtest/gtest.h>

namespace qmfi_host {
namespace {

TEST(ShellWord, LeavesPlainTextsAsTheyAre) {
  EXPECT_EQ(shellWord("/mnt/orders-1_2.x"), "/mnt/orders-1_2.x");
}

TEST(ShellWord, QuotesAllThatAShellWouldRead) {
  EXPECT_EQ(shellWord("/mnt/two words"), "'/mnt/two words'");
  EXPECT_EQ(shellWord("$(reboot)"), "'$(reboot)'");
  EXPECT_EQ(shellWord("it's"), "'it'\\''s'");
  EXPECT_EQ(shellWord(""), "''");
}

}  // namespace
}  // namespace qmfi_host

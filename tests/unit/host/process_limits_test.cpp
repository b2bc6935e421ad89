// Limits of the process. The kernel's file is one of the test's own: lowering the real one needs root.
#include "snapshot/process_limits.h"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <fstream>

#include "support/temporary_directory.h"
#include "support/text_file.h"

namespace qmfi_host {
namespace {

TEST(ProcessLimits, DescriptorsAreAsManyAsMayBe) {
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  rlimit low = before;
  low.rlim_cur = 64;
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &low), 0);
  raiseDescriptorLimit();
  rlimit raised{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &raised), 0);
  EXPECT_EQ(raised.rlim_cur, before.rlim_max);
  EXPECT_EQ(raised.rlim_max, before.rlim_max);
  EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
}

TEST(LastToBeEnded, IsSoAsLongAsItLives) {
  const TemporaryDirectory directory;
  const std::string score = directory.path() + "/score";
  std::ofstream(score) << "-1234\n";
  {
    const LastToBeEnded last(score.c_str());
    EXPECT_EQ(textOf(score), "-1000\n");
  }
  EXPECT_EQ(textOf(score), "-1234\n");
}

TEST(LastToBeEnded, ChangesNothingWhereThatCannotBeRead) {
  const TemporaryDirectory directory;
  const std::string score = directory.write("score", "");
  { const LastToBeEnded last(score.c_str()); }
  { const LastToBeEnded last("/none"); }
  EXPECT_EQ(textOf(score), "");
}

}  // namespace
}  // namespace qmfi_host

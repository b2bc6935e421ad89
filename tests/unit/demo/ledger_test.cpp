// What a copy of three file systems must look like.
#include "ledger.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "demo_error.h"
#include "support/temporary_directory.h"

namespace demo {
namespace {

constexpr Clock::time_point at(int moment) {
  return Clock::time_point(std::chrono::milliseconds(moment));
}

TEST(Ledger, NumbersOfOneMomentNeverRiseAndDifferByOneAtMost) {
  const struct {
    Numbers numbers;
    bool isOneMoment;
  } cases[] = {
      {{0, 0, 0}, true},  {{1, 0, 0}, true},  {{7, 7, 7}, true},  {{7, 7, 6}, true},
      {{7, 6, 6}, true},  {{7, 6, 7}, false}, {{6, 7, 7}, false}, {{6, 6, 7}, false},
      {{7, 6, 5}, false}, {{8, 8, 6}, false}, {{4, 7, 9}, false}, {{1, 0, 1}, false},
  };
  for (const auto& one : cases) {
    EXPECT_EQ(isOneMoment(one.numbers), one.isOneMoment) << testing::PrintToString(one.numbers);
  }
}

TEST(Ledger, CopyHoldsWhatWasOnTheDiskBeforeItAndNothingThatWasBegunAfterIt) {
  // The second number of the first file system was written while the copy was made.
  const std::vector<LogEntry> log = {
      {0, 1, at(0), at(1)}, {1, 1, at(1), at(2)}, {2, 1, at(2), at(3)}, {0, 2, at(3), at(8)}, {1, 2, at(8), at(9)},
  };
  EXPECT_EQ(contradiction({1, 1, 1}, log, at(4), at(7)), "");
  EXPECT_EQ(contradiction({2, 1, 1}, log, at(4), at(7)), "");
  EXPECT_EQ(contradiction({1, 1, 0}, log, at(4), at(7)),
            "1 of /mnt/ledger was on the disk before the snapshot and is missing");
  EXPECT_EQ(contradiction({2, 2, 1}, log, at(4), at(7)),
            "2 of /mnt/invoices was begun after the snapshot and is there");
}

TEST(Ledger, LongestWriteIsOneOfThoseDuringTheSnapshot) {
  const std::vector<LogEntry> log = {{0, 1, at(0), at(50)}, {1, 1, at(50), at(60)}, {2, 1, at(60), at(90)}};
  EXPECT_EQ(longestWrite(log, at(52), at(55)), std::chrono::milliseconds(10));
  EXPECT_EQ(longestWrite(log, at(55), at(65)), std::chrono::milliseconds(30));
  EXPECT_EQ(longestWrite({}, at(0), at(1)), std::chrono::milliseconds(0));
}

TEST(Ledger, NumberIsReadAsItWasWritten) {
  const TemporaryDirectory tree;
  EXPECT_EQ(readNumber(tree.path()), 0U);
  tree.write("number", std::string(4096, '\0'));
  EXPECT_EQ(readNumber(tree.path()), 0U);
  tree.write("number", numberText(1234) + std::string(4000, '\0'));
  EXPECT_EQ(readNumber(tree.path()), 1234U);
}

TEST(Ledger, NumberThatWasNeverWrittenIsRefused) {
  const TemporaryDirectory tree;
  for (const char* text : {"12", "hello", "0000000000000000012x\n"}) {
    tree.write("number", text);
    EXPECT_THROW(readNumber(tree.path()), DemoError) << text;
  }
}

TEST(Ledger, RecordThatIsStillBeingWrittenIsLeftOut) {
  const TemporaryDirectory directory;
  const LogEntry entry{2, 5, at(1), at(2)};
  directory.write("log", std::string(reinterpret_cast<const char*>(&entry), sizeof entry) + "begun");
  const std::vector<LogEntry> log = readLog(directory.file("log"));
  ASSERT_EQ(log.size(), 1U);
  EXPECT_EQ(log[0].fileSystem, 2U);
  EXPECT_EQ(log[0].number, 5U);
}

}  // namespace
}  // namespace demo

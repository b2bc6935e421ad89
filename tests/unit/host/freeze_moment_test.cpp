// Whether a freeze of a killed host may still last.
#include "snapshot/freeze_moment.h"

#include <gtest/gtest.h>

#include <cctype>
#include <ctime>

namespace qmfi_host {
namespace {

using std::chrono::minutes;
using std::chrono::seconds;

const FreezeMoment then = {"this run\n", seconds(1000)};

FreezeMoment after(seconds time) {
  return {then.bootId, then.sinceStart + time};
}

TEST(FreezeMoment, OfTheSameRunIsStillOurs) {
  EXPECT_TRUE(mayStillLast(then, seconds(2), after(seconds(1))));
}

TEST(FreezeMoment, OfAnEarlierRunOfTheMachineIsOver) {
  EXPECT_FALSE(mayStillLast(then, seconds(2), {"another run\n", then.sinceStart + seconds(1)}));
  EXPECT_FALSE(mayStillLast(then, seconds(0), {"another run\n", then.sinceStart + seconds(1)}));
}

TEST(FreezeMoment, OfAnUnknownRunIsOver) {
  EXPECT_FALSE(mayStillLast({"", seconds(1)}, seconds(0), {"", seconds(2)}));
}

// The file systems are written out first: ten minutes are left for that.
TEST(FreezeMoment, LongAfterTheTimeoutOfTheKernelIsOver) {
  EXPECT_TRUE(mayStillLast(then, seconds(2), after(minutes(10) + seconds(1))));
  EXPECT_FALSE(mayStillLast(then, seconds(2), after(minutes(10) + seconds(2))));
}

TEST(FreezeMoment, LastsForEverWhereTheKernelDoesNotEndIt) {
  EXPECT_TRUE(mayStillLast(then, seconds(0), after(std::chrono::hours(10000))));
}

TEST(FreezeMoment, IsOfTheRunningMachine) {
  const FreezeMoment one = presentMoment();
  timespec time{};
  clock_gettime(CLOCK_BOOTTIME, &time);
  const FreezeMoment other = presentMoment();
  EXPECT_EQ(one.bootId, other.bootId);
  EXPECT_FALSE(one.bootId.empty());
  EXPECT_LE(one.sinceStart, seconds(time.tv_sec) + std::chrono::microseconds(time.tv_nsec / 1000 + 1));
  EXPECT_GE(other.sinceStart, seconds(time.tv_sec));
}

}  // namespace
}  // namespace qmfi_host

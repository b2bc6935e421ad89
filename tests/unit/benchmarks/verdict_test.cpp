// When a benchmark's goal counts as met, as missed, and when nobody can tell.
#include <gtest/gtest.h>

#include <vector>

#include "result.h"

namespace {

using bench::Comparison;
using bench::Verdict;

// The ratios of the pairs are those of the samples, for each of theirs is 10.
Comparison compare(const std::vector<double>& ours, double goal) {
  return {"1", "work", "another way", "ms", ours, std::vector<double>(ours.size(), 10), goal};
}

Verdict verdictOn(const Comparison& comparison) {
  return bench::judge(comparison).verdict;
}

TEST(Verdict, IsMetWhereTheGoalLiesAboveTheSpread) {
  EXPECT_EQ(verdictOn(compare({4, 5, 6}, 0.6)), Verdict::met);
}

TEST(Verdict, IsMissedWhereTheGoalLiesBelowTheSpread) {
  EXPECT_EQ(verdictOn(compare({4, 5, 6}, 0.4)), Verdict::missed);
}

TEST(Verdict, IsUndecidedWhereTheGoalLiesWithinTheSpread) {
  EXPECT_EQ(verdictOn(compare({4, 5, 6}, 0.52)), Verdict::undecided);
  EXPECT_EQ(verdictOn(compare({4, 5, 6}, 0.48)), Verdict::undecided);
}

TEST(Verdict, InformsWhereThereIsNoGoal) {
  Comparison comparison = compare({4, 5, 6}, 0);
  comparison.goal.reset();
  EXPECT_EQ(verdictOn(comparison), Verdict::informs);
}

TEST(Verdict, WithoutAnotherWayComparesTheValuesThemselves) {
  EXPECT_EQ(verdictOn({"1", "work", "", "ms", {4, 5, 6}, {}, 6.0}), Verdict::met);
  EXPECT_EQ(verdictOn({"1", "work", "", "ms", {4, 5, 6}, {}, 5.2}), Verdict::undecided);
  EXPECT_EQ(verdictOn({"1", "work", "", "ms", {4, 5, 6}, {}, 4.0}), Verdict::missed);
}

TEST(Verdict, GrantsTheAllowanceBeyondTheGoal) {
  Comparison comparison = compare({4, 5, 6}, 0.4);
  comparison.allowance = 2;
  EXPECT_EQ(verdictOn(comparison), Verdict::met);
}

TEST(Verdict, ShowsHalfTheDistanceOfTheQuartilesAsTheSpread) {
  EXPECT_DOUBLE_EQ(bench::judge(compare({4, 5, 6}, 1)).spread, 0.05);
}

TEST(Verdict, HasATextForTheTable) {
  EXPECT_EQ(bench::verdictText(Verdict::informs), "");
  EXPECT_EQ(bench::verdictText(Verdict::met), "met");
  EXPECT_EQ(bench::verdictText(Verdict::missed), "MISSED");
  EXPECT_EQ(bench::verdictText(Verdict::undecided), "undecided");
}

TEST(Pooled, HasTheSamplesOfEveryRoundOfOneWork) {
  Comparison other = compare({9}, 1);
  other.what = "other work";
  const std::vector<Comparison> pool = bench::pooled({compare({1, 2}, 1), other, compare({3}, 1)});
  ASSERT_EQ(pool.size(), 2U);
  EXPECT_EQ(pool[0].ours, (std::vector<double>{1, 2, 3}));
  EXPECT_EQ(pool[0].theirs, (std::vector<double>{10, 10, 10}));
  EXPECT_EQ(pool[1].what, "other work");
}

}  // namespace

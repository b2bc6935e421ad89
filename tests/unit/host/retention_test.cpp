// Which snapshots are kept.
#include "snapshot/retention.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

namespace qmfi_host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

using Reasons = std::vector<std::vector<std::string>>;

// The local time of a place, written out so that no file of time zones is needed.
class TimeZone {
 public:
  explicit TimeZone(const char* zone) {
    if (const char* const before = getenv("TZ")) m_before = before;
    setenv("TZ", zone, 1);
    tzset();
  }
  TimeZone(const TimeZone&) = delete;
  TimeZone& operator=(const TimeZone&) = delete;
  ~TimeZone() {
    if (m_before) {
      setenv("TZ", m_before->c_str(), 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }

 private:
  std::optional<std::string> m_before;
};

// Summer time ends on the last Sunday of October at 3, and begins on that of March at 2.
constexpr const char* middleEurope = "CET-1CEST,M3.5.0,M10.5.0/3";

Snapshot::Time utc(int year, unsigned month, unsigned day, int hour, int minute = 0) {
  const std::chrono::sys_days date(std::chrono::year(year) / std::chrono::month(month) / std::chrono::day(day));
  return date + std::chrono::hours(hour) + std::chrono::minutes(minute);
}

TEST(Retention, WithoutARuleKeepsNone) {
  const std::vector<Snapshot::Time> taken = {utc(2026, 11, 22, 1), utc(2026, 11, 22, 2)};
  EXPECT_THAT(reasonsToKeep(taken, {}), ElementsAre(IsEmpty(), IsEmpty()));
  EXPECT_THAT(reasonsToKeep({}, {.last = 1}), IsEmpty());
}

TEST(Retention, KeepsTheLastInWhateverOrderTheyStand) {
  const std::vector<Snapshot::Time> taken = {utc(2026, 11, 22, 3), utc(2026, 11, 22, 1), utc(2026, 11, 22, 2)};
  EXPECT_EQ(reasonsToKeep(taken, {.last = 2}), (Reasons{{"last"}, {}, {"last"}}));
  EXPECT_EQ(reasonsToKeep(taken, {.last = 9}), (Reasons{{"last"}, {"last"}, {"last"}}));
}

TEST(Retention, KeepsTheNewestOfEachPeriodForTheLastPeriodsThatHaveOne) {
  const TimeZone zone("UTC0");
  const std::vector<Snapshot::Time> taken = {utc(2026, 11, 10, 1), utc(2026, 11, 18, 1), utc(2026, 11, 18, 23, 59),
                                             utc(2026, 11, 22, 0), utc(2026, 11, 22, 5)};
  EXPECT_EQ(reasonsToKeep(taken, {.daily = 2}), (Reasons{{}, {}, {"daily 2026-11-18"}, {}, {"daily 2026-11-22"}}));
}

TEST(Retention, KeepsWhatAnyRuleKeepsAndTellsEachOfThem) {
  const TimeZone zone("UTC0");
  const std::vector<Snapshot::Time> taken = {utc(2026, 10, 31, 22), utc(2026, 11, 1, 4), utc(2026, 11, 2, 4),
                                             utc(2026, 11, 2, 5)};
  EXPECT_EQ(
      reasonsToKeep(taken, {.last = 1, .hourly = 2, .daily = 1, .weekly = 2, .monthly = 2}),
      (Reasons{{"monthly 2026-10"},
               {"weekly 2026-W44"},
               {"hourly 2026-11-02 04:00 +0000"},
               {"last", "hourly 2026-11-02 05:00 +0000", "daily 2026-11-02", "weekly 2026-W45", "monthly 2026-11"}}));
}

TEST(Retention, TakesAWeekAtTheTurnOfTheYearForOne) {
  const TimeZone zone("UTC0");
  // Thursday, and Friday of the same week.
  const std::vector<Snapshot::Time> taken = {utc(2026, 12, 31, 1), utc(2027, 1, 1, 1)};
  EXPECT_EQ(reasonsToKeep(taken, {.weekly = 5}), (Reasons{{}, {"weekly 2026-W53"}}));
}

TEST(Retention, CountsPeriodsOfTheLocalTime) {
  const TimeZone zone(middleEurope);
  // Half past eleven in the evening, and half past midnight.
  const std::vector<Snapshot::Time> taken = {utc(2026, 7, 1, 21, 30), utc(2026, 7, 1, 22, 30)};
  EXPECT_EQ(reasonsToKeep(taken, {.daily = 5}), (Reasons{{"daily 2026-07-01"}, {"daily 2026-07-02"}}));
}

TEST(Retention, TakesTheHourThatTheEndOfSummerTimeRepeatsForAnother) {
  const TimeZone zone(middleEurope);
  // 25 October 2026: at 1:00 UTC the clocks go back from 3 to 2.
  const std::vector<Snapshot::Time> taken = {utc(2026, 10, 25, 0, 10), utc(2026, 10, 25, 0, 50),
                                             utc(2026, 10, 25, 1, 10), utc(2026, 10, 25, 22, 50)};
  EXPECT_EQ(reasonsToKeep(taken, {.hourly = 5, .daily = 5}),
            (Reasons{{},
                     {"hourly 2026-10-25 02:00 +0200"},
                     {"hourly 2026-10-25 02:00 +0100"},
                     {"hourly 2026-10-25 23:00 +0100", "daily 2026-10-25"}}));
}

TEST(Retention, MissesNoPeriodWhenSummerTimeBegins) {
  const TimeZone zone(middleEurope);
  // 29 March 2026: at 1:00 UTC the clocks go from 2 to 3, so the day ends at 22:00 UTC.
  const std::vector<Snapshot::Time> taken = {utc(2026, 3, 29, 0, 30), utc(2026, 3, 29, 1, 30),
                                             utc(2026, 3, 29, 22, 30)};
  EXPECT_EQ(reasonsToKeep(taken, {.hourly = 2, .daily = 2}),
            (Reasons{{},
                     {"hourly 2026-03-29 03:00 +0200", "daily 2026-03-29"},
                     {"hourly 2026-03-30 00:00 +0200", "daily 2026-03-30"}}));
}

}  // namespace
}  // namespace qmfi_host

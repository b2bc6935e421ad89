// Re-entrant time conversions.
#include "K_time.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <optional>
#include <string>

namespace {

// Local time three hours east of UTC for as long as it lives.
class LocalZone {
 public:
  LocalZone() {
    if (const char* zone = std::getenv("TZ"); zone != nullptr) m_saved = zone;
    setenv("TZ", "XYZ-3", 1);
    tzset();
  }
  ~LocalZone() {
    m_saved ? setenv("TZ", m_saved->c_str(), 1) : unsetenv("TZ");
    tzset();
  }
  LocalZone(const LocalZone&) = delete;
  LocalZone& operator=(const LocalZone&) = delete;

 private:
  std::optional<std::string> m_saved;
};

struct Instant {
  std::time_t seconds;
  int year, month, day, hour, minute, second, weekday, yearday;
  const char* text;
};

// From a calendar, not from the functions under test.
const Instant instants[] = {
    {0, 1970, 1, 1, 0, 0, 0, 4, 0, "Thu Jan  1 00:00:00 1970\n"},
    {-1, 1969, 12, 31, 23, 59, 59, 3, 364, "Wed Dec 31 23:59:59 1969\n"},
    {951782400, 2000, 2, 29, 0, 0, 0, 2, 59, "Tue Feb 29 00:00:00 2000\n"},
    {1000000000, 2001, 9, 9, 1, 46, 40, 0, 251, "Sun Sep  9 01:46:40 2001\n"},
    {2147483648, 2038, 1, 19, 3, 14, 8, 2, 18, "Tue Jan 19 03:14:08 2038\n"},
};

std::tm brokenDown(const Instant& instant) {
  std::tm result{};
  result.tm_year = instant.year - 1900;
  result.tm_mon = instant.month - 1;
  result.tm_mday = instant.day;
  result.tm_hour = instant.hour;
  result.tm_min = instant.minute;
  result.tm_sec = instant.second;
  result.tm_wday = instant.weekday;
  result.tm_yday = instant.yearday;
  return result;
}

void expectSameTime(const std::tm& actual, const std::tm& expected, std::time_t seconds) {
  EXPECT_EQ(actual.tm_year, expected.tm_year) << seconds;
  EXPECT_EQ(actual.tm_mon, expected.tm_mon) << seconds;
  EXPECT_EQ(actual.tm_mday, expected.tm_mday) << seconds;
  EXPECT_EQ(actual.tm_hour, expected.tm_hour) << seconds;
  EXPECT_EQ(actual.tm_min, expected.tm_min) << seconds;
  EXPECT_EQ(actual.tm_sec, expected.tm_sec) << seconds;
  EXPECT_EQ(actual.tm_wday, expected.tm_wday) << seconds;
  EXPECT_EQ(actual.tm_yday, expected.tm_yday) << seconds;
}

TEST(TimeConversion, TimegmReadsUtcWhateverTheLocalZone) {
  const LocalZone zone;
  for (const Instant& instant : instants) {
    std::tm time = brokenDown(instant);
    EXPECT_EQ(K_timegm(&time), instant.seconds);
  }
}

TEST(TimeConversion, TimegmBringsATimeIntoItsRanges) {
  std::tm time = brokenDown({0, 1999, 14, 29, 0, 0, 0, 0, 0, ""});
  EXPECT_EQ(K_timegm(&time), 951782400);
  expectSameTime(time, brokenDown(instants[2]), 951782400);
}

TEST(TimeConversion, TimegmOfNothingIsMinusOne) {
  EXPECT_EQ(K_timegm(nullptr), -1);
}

TEST(TimeConversion, GmtimeFillsTheCallersRecordAndReturnsIt) {
  const LocalZone zone;
  for (const Instant& instant : instants) {
    std::tm result{};
    EXPECT_EQ(K_gmtime(&instant.seconds, &result), &result);
    expectSameTime(result, brokenDown(instant), instant.seconds);
  }
}

TEST(TimeConversion, LocaltimeFillsTheCallersRecordInTheLocalZone) {
  const LocalZone zone;
  for (const Instant& instant : instants) {
    const std::time_t threeHoursBefore = instant.seconds - 3L * 3600;
    std::tm result{};
    EXPECT_EQ(K_localtime(&threeHoursBefore, &result), &result);
    expectSameTime(result, brokenDown(instant), instant.seconds);
  }
}

TEST(TimeConversion, GmtimeAndLocaltimeOfANullPointerAreNull) {
  const std::time_t time = 0;
  std::tm result{};
  EXPECT_EQ(K_gmtime(nullptr, &result), nullptr);
  EXPECT_EQ(K_gmtime(&time, nullptr), nullptr);
  EXPECT_EQ(K_localtime(nullptr, &result), nullptr);
  EXPECT_EQ(K_localtime(&time, nullptr), nullptr);
}

TEST(TimeConversion, OfAYearThatTheRecordCannotHoldIsNull) {
  const std::time_t time = INT64_MAX;
  std::tm result{};
  char text[26];
  EXPECT_EQ(K_gmtime(&time, &result), nullptr);
  EXPECT_EQ(K_localtime(&time, &result), nullptr);
  EXPECT_EQ(K_ctime(&time, text, sizeof text), nullptr);
}

TEST(TimeText, NeedsABufferOfTwentySixCharacters) {
  const std::time_t seconds = 0;
  const std::tm time = brokenDown(instants[0]);
  for (const std::size_t size : {0, 1, 24, 25}) {
    char buffer[32] = "#";
    errno = 0;
    EXPECT_EQ(K_asctime(&time, buffer, size), nullptr) << size;
    EXPECT_EQ(errno, ERANGE) << size;
    errno = 0;
    EXPECT_EQ(K_ctime(&seconds, buffer, size), nullptr) << size;
    EXPECT_EQ(errno, ERANGE) << size;
    EXPECT_STREQ(buffer, "#") << size;
  }
  for (const std::size_t size : {std::size_t{26}, std::size_t{27}, SIZE_MAX}) {
    char buffer[26];
    errno = 0;
    EXPECT_EQ(K_asctime(&time, buffer, size), buffer) << size;
    EXPECT_STREQ(buffer, "Thu Jan  1 00:00:00 1970\n") << size;
    EXPECT_EQ(K_ctime(&seconds, buffer, size), buffer) << size;
    EXPECT_EQ(errno, 0) << size;
  }
}

TEST(TimeText, AsctimeWritesTheBrokenDownTime) {
  for (const Instant& instant : instants) {
    const std::tm time = brokenDown(instant);
    char buffer[26];
    ASSERT_EQ(K_asctime(&time, buffer, sizeof buffer), buffer);
    EXPECT_STREQ(buffer, instant.text);
  }
}

TEST(TimeText, CtimeWritesLocalTime) {
  const LocalZone zone;
  for (const Instant& instant : instants) {
    const std::time_t threeHoursBefore = instant.seconds - 3L * 3600;
    char buffer[26];
    ASSERT_EQ(K_ctime(&threeHoursBefore, buffer, sizeof buffer), buffer);
    EXPECT_STREQ(buffer, instant.text);
  }
}

TEST(TimeText, WithANullPointerIsNullAndOnlyATooSmallSizeIsAnError) {
  const std::time_t seconds = 0;
  const std::tm time = brokenDown(instants[0]);
  char buffer[26];
  const struct {
    std::size_t size;
    int error;
  } cases[] = {{0, ERANGE}, {25, ERANGE}, {26, 0}, {100, 0}};
  for (const auto& c : cases) {
    const auto expectNull = [&c](const char* result) {
      EXPECT_EQ(result, nullptr) << c.size;
      EXPECT_EQ(errno, c.error) << c.size;
      errno = 0;
    };
    errno = 0;
    expectNull(K_asctime(nullptr, buffer, c.size));
    expectNull(K_asctime(&time, nullptr, c.size));
    expectNull(K_asctime(nullptr, nullptr, c.size));
    expectNull(K_ctime(nullptr, buffer, c.size));
    expectNull(K_ctime(&seconds, nullptr, c.size));
    expectNull(K_ctime(nullptr, nullptr, c.size));
  }
}

TEST(TimeText, OfAYearOfFiveDigitsIsNullAndStaysWithinTheBuffer) {
  std::tm time = brokenDown(instants[0]);
  time.tm_year = INT_MAX;
  char buffer[27];
  buffer[26] = '#';
  EXPECT_EQ(K_asctime(&time, buffer, 26), nullptr);
  EXPECT_EQ(buffer[26], '#');
}

}  // namespace

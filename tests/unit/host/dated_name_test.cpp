// Names of snapshots with a date.
#include "cli/dated_name.h"

#include <gtest/gtest.h>

#include "support/environment.h"

namespace qmfi_host {
namespace {

constexpr std::time_t moment = 1732147205;  // 2024-11-21 00:00:05 UTC

TEST(DatedName, HasTheTimeInThePlaceOfConversions) {
  const EnvironmentVariable zone("TZ", "UTC");
  EXPECT_EQ(datedName("nightly-%F", moment), "nightly-2024-11-21");
  EXPECT_EQ(datedName("%Y%m%d-%H%M%S", moment), "20241121-000005");
}

TEST(DatedName, TimeIsThatOfTheUsersClock) {
  {
    const EnvironmentVariable zone("TZ", "XYZ-2");
    tzset();
    EXPECT_EQ(datedName("%H", moment), "02");
  }
  tzset();
}

TEST(DatedName, OtherPercentSignsStay) {
  const EnvironmentVariable zone("TZ", "UTC");
  for (const char* name : {"nightly", "", "%", "a%", "%x", "%T", "%%F-"}) {
    const std::string stays = name == std::string("%%F-") ? "%2024-11-21-" : name;
    EXPECT_EQ(datedName(name, moment), stays);
  }
}

}  // namespace
}  // namespace qmfi_host

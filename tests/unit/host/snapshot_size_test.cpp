// The room of a classic snapshot, as users write it and in extents.
#include "volume/snapshot_size.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "failure/host_error.h"
#include "german_texts.h"

namespace qmfi_host {
namespace {

using testing::ThrowsMessage;

TEST(SnapshotSize, IsAPartOfTheVolumeOrBytes) {
  constexpr std::uint64_t volume = 100UL * 4096;
  const struct {
    const char* text;
    std::uint64_t extents;
  } cases[] = {{"20%", 20}, {"1%", 1}, {"99%", 99}, {"100%", 101}, {"1K", 1},
               {"4K", 1},   {"5K", 2}, {"40K", 10}, {"1T", 101}};
  for (const auto& one : cases) EXPECT_EQ(extentsOf(snapshotSizeOf(one.text), volume, 4096), one.extents) << one.text;
  EXPECT_EQ(extentsOf(standardSnapshotSize, 4097, 4096), 1U);
  for (const char* text :
       {"", "%", "0%", "101%", "20", "20 %", "-1%", "5X", "M", "99999999999999999999G", "20000000T"}) {
    EXPECT_THAT([&] { snapshotSizeOf(text); },
                ThrowsMessage<UsageError>("\"" + std::string(text) +
                                          "\" is no size of a snapshot: \"20%\" of the volume is one, and \"512M\" (K, "
                                          "M, G, T)"))
        << text;
  }
}

TEST(SnapshotSize, ThatIsNoneIsToldInTheUsersLanguage) {
  const GermanTexts german;
  EXPECT_THAT([] { snapshotSizeOf("5X"); },
              ThrowsMessage<UsageError>("\"5X\" ist keine Größe eines Snapshots: \"20%\" des Volumes ist eine, und "
                                        "\"512M\" (K, M, G, T)"));
}

}  // namespace
}  // namespace qmfi_host

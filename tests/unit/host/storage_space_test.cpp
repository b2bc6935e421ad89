// Whether there is room for what is written while snapshots share blocks.
#include "snapshot/storage_space.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "fake_provider.h"
#include "german_texts.h"

namespace qmfi_host {
namespace {

using testing::ThrowsMessage;

constexpr std::uint64_t mebibyte = 1 << 20;
constexpr const char* storage = "pool";
constexpr const char* otherStorage = "other pool";

class StorageSpaceTest : public testing::Test {
 protected:
  static Snapshot snapshotOf(const std::vector<std::string>& names) {
    Snapshot snapshot;
    for (const std::string& name : names) {
      snapshot.nodes.push_back({"/mnt/" + name, {"/dev/" + name, "", "/pool/" + name, "", ""}, "", "", ""});
    }
    return snapshot;
  }

  void addVolume(const std::string& name, const char* place, std::uint64_t occupied, std::uint64_t needs,
                 std::uint64_t free) {
    m_splitter.volumes["/dev/" + name] = {.storage = place, .occupied = occupied, .needs = needs, .free = free};
  }

  Journal m_journal;
  FakeSplitter m_splitter{m_journal};
  Splitters m_splitters{{&m_splitter}};
};

TEST_F(StorageSpaceTest, IsEnoughForEveryBlockOfTheVolumes) {
  addVolume("a", storage, 3 * mebibyte, 0, 5 * mebibyte);
  addVolume("b", storage, 2 * mebibyte, 0, 5 * mebibyte);
  EXPECT_NO_THROW(requireSpace(m_splitters, snapshotOf({"a", "b"}), {}));
  m_splitter.volumes["/dev/b"].occupied += 1;
  EXPECT_THAT(
      [&] {
        requireSpace(m_splitters, snapshotOf({"a", "b"}), {});
      },
      ThrowsMessage<HostError>(
          "the storage of /mnt/a has 5.0 MiB free, and needs 5.0 MiB if all is overwritten that snapshots share "
          "with their volumes; what is written to a full one is lost. --overcommit takes the snapshot all the "
          "same"));
}

TEST_F(StorageSpaceTest, LackIsToldInTheUsersLanguage) {
  const GermanTexts german;
  addVolume("a", storage, 3 * mebibyte, 0, mebibyte);
  EXPECT_THAT(
      [&] { requireSpace(m_splitters, snapshotOf({"a"}), {}); },
      ThrowsMessage<HostError>(
          "der Speicher von /mnt/a hat 1.0 MiB frei und braucht 3.0 MiB, wenn alles überschrieben wird, was Snapshots "
          "mit ihren Volumes teilen; was auf einen vollen geschrieben wird, ist verloren. Mit --overcommit wird der "
          "Snapshot trotzdem gemacht"));
}

TEST_F(StorageSpaceTest, IsCountedForEachStorage) {
  addVolume("a", storage, 3 * mebibyte, 0, 3 * mebibyte);
  addVolume("b", otherStorage, 3 * mebibyte, 0, 3 * mebibyte);
  EXPECT_NO_THROW(requireSpace(m_splitters, snapshotOf({"a", "b"}), {}));
  addVolume("b", otherStorage, 3 * mebibyte, 0, 2 * mebibyte);
  EXPECT_THAT(
      [&] {
        requireSpace(m_splitters, snapshotOf({"a", "b"}), {});
      },
      ThrowsMessage<HostError>(testing::StartsWith("the storage of /mnt/b has 2.0 MiB free")));
}

TEST_F(StorageSpaceTest, IsSharedWithVolumesThatHaveSnapshotsAlready) {
  addVolume("a", storage, 3 * mebibyte, mebibyte, 5 * mebibyte);
  addVolume("b", storage, 9 * mebibyte, 2 * mebibyte, 5 * mebibyte);
  addVolume("c", otherStorage, 9 * mebibyte, 9 * mebibyte, 0);
  const std::vector<Snapshot> others = {snapshotOf({"a", "b"}), snapshotOf({"b", "c"})};
  EXPECT_NO_THROW(requireSpace(m_splitters, snapshotOf({"a"}), others));
  m_splitter.volumes["/dev/b"].needs += 1;
  EXPECT_THROW(requireSpace(m_splitters, snapshotOf({"a"}), others), HostError);
}

TEST_F(StorageSpaceTest, IsNotAskedOfAStorageThatIsNotKnown) {
  addVolume("a", "", mebibyte, 0, 0);
  EXPECT_NO_THROW(requireSpace(m_splitters, snapshotOf({"a"}), {}));
}

TEST(BytesText, HasOneDecimalAndAUnitThatLeavesFewDigits) {
  const struct {
    std::uint64_t bytes;
    const char* text;
  } cases[] = {{0, "0.0 KiB"},
               {512, "0.5 KiB"},
               {1023UL * 1024, "1023.0 KiB"},
               {mebibyte, "1.0 MiB"},
               {1536 * mebibyte, "1.5 GiB"},
               {mebibyte << 20, "1.0 TiB"},
               {mebibyte << 33, "8.0 PiB"}};
  for (const auto& one : cases) EXPECT_EQ(bytesText(one.bytes), one.text);
}

}  // namespace
}  // namespace qmfi_host

// What is told of a snapshot when what is there is compared with what was left.
#include "snapshot/snapshot_status.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/sysmacros.h>

#include <sstream>

#include "fake_provider.h"

namespace qmfi_host {
namespace {

using testing::ElementsAre;

constexpr dev_t firstDevice = 0x701;
constexpr dev_t secondDevice = 0x702;

class SnapshotStatusTest : public testing::Test {
 protected:
  SnapshotStatusTest() {
    m_snapshot.phase = Phase::ready;
    m_snapshot.nodes.resize(2);
    m_snapshot.nodes[0].volume.device = "/dev/a";
    m_snapshot.nodes[1].volume.device = "/dev/b";
    m_splitter.volumes["/dev/a"] = {.exists = true, .bytes = 100, .device = firstDevice};
    m_splitter.volumes["/dev/b"] = {.exists = true, .bytes = 20, .device = secondDevice};
  }

  SnapshotStatus status(bool isWorkedOn = false, LookAt what = LookAt::everything) const {
    return statusOf(m_snapshot, m_splitters, m_mounted, what, isWorkedOn);
  }

  Snapshot m_snapshot;
  Journal m_journal;
  FakeSplitter m_splitter{m_journal};
  Splitters m_splitters{{&m_splitter}};
  std::set<dev_t> m_mounted = {firstDevice, secondDevice};
};

TEST_F(SnapshotStatusTest, IsReadyWhenAllIsMounted) {
  EXPECT_EQ(status().state, "ready");
  EXPECT_TRUE(isMounted(status()));
  EXPECT_EQ(bytesOf(status()), 120U);
  m_snapshot.phase = Phase::unmounted;
  EXPECT_EQ(status().state, "ready");
}

TEST_F(SnapshotStatusTest, IsUnmountedWhenOneIsNotMounted) {
  m_mounted = {firstDevice};
  EXPECT_EQ(status().state, "unmounted");
  EXPECT_FALSE(isMounted(status()));
  EXPECT_TRUE(status().nodes[0].mounted);
  EXPECT_FALSE(status().nodes[1].mounted);
}

TEST_F(SnapshotStatusTest, IsUnmountedWithoutItsDevices) {
  for (auto& [device, volume] : m_splitter.volumes) volume.device.reset();
  m_mounted.insert(0);
  EXPECT_EQ(status().state, "unmounted");
}

TEST_F(SnapshotStatusTest, TellsOfTheStorageWhereThatIsAskedFor) {
  m_splitter.volumes["/dev/a"].needs = 7;
  EXPECT_EQ(status(false, LookAt::everything).nodes[0].volume.needs, 7U);
  EXPECT_EQ(status(false, LookAt::copy).nodes[0].volume.needs, 0U);
}

TEST_F(SnapshotStatusTest, IsGoneWithoutOneOfItsCopies) {
  m_splitter.volumes["/dev/b"].exists = false;
  EXPECT_EQ(status().state, "gone");
}

TEST_F(SnapshotStatusTest, IsGoneWhenNothingIsKnownOfItsSplitter) {
  m_snapshot.nodes[1].volume.splitter = "saw";
  EXPECT_EQ(status().state, "gone");
}

TEST_F(SnapshotStatusTest, IsInterruptedUnlessSomebodyIsAtIt) {
  for (int phase = 0; phase <= static_cast<int>(Phase::deleting); ++phase) {
    m_snapshot.phase = static_cast<Phase>(phase);
    if (isAtRest(m_snapshot.phase)) continue;
    EXPECT_EQ(status(false).state, "interrupted") << phaseName(m_snapshot.phase);
    EXPECT_EQ(status(true).state, "working") << phaseName(m_snapshot.phase);
  }
}

TEST(MountedDevices, AreReadFromTheMountTable) {
  std::istringstream table(
      "36 35 98:0 /mnt1 /mnt2 rw,noatime master:1 - ext3 /dev/root rw,errors=continue\n"
      "nonsense\n"
      "\n"
      "37 35 7:12 / /mnt/with\\040blank ro - xfs 9:9 ro\n"
      "38 35 7:12 / /again ro - xfs /dev/loop12 ro\n");
  EXPECT_THAT(mountedDevices(table), ElementsAre(makedev(7, 12), makedev(98, 0)));
}

}  // namespace
}  // namespace qmfi_host

// Unmounting what a process still uses: tried again while it is busy, or forced. This program takes over the pauses
// between the attempts, so that they cost no time and things can happen in them.
// Volumes: "data" mounted on /mnt/data, "spare" not mounted.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <functional>

#include "holder.h"
#include "provider_fixture.h"
#include "support/text_file.h"

namespace provider_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t disabled = 0x40;
constexpr long byForce = 0x10;
constexpr int busy = 32;
constexpr int takeOffline = 2;
constexpr kfi_disposition removeMountPoint = 1;

struct Pauses {
  std::vector<unsigned> seconds;
  std::function<void()> action;  // done in each pause
};

Pauses& pauses() {
  static Pauses taken;
  return taken;
}

class Busy : public ProviderTest {
 protected:
  void SetUp() override {
    formatSpare();
    mountSpare();
    writeFile(file, "held");
    holder.emplace(file);
    node = &plugin.initialisedNode(spareMount);
    plugin.commands();
  }

  void TearDown() override {
    pauses() = {};
    holder.reset();
    ProviderTest::TearDown();
  }

  // Lets the file go in that pause, counted from 1.
  void releaseInPause(std::size_t number) {
    pauses().action = [this, number] {
      if (pauses().seconds.size() == number) holder->release();
    };
  }

  // Whether nobody at all uses the device, in no mount namespace.
  static bool deviceIsFree() {
    const int device = open(spare.c_str(), O_RDONLY | O_EXCL | O_CLOEXEC);
    if (device >= 0) close(device);
    return device >= 0;
  }

  const std::string file = spareMount + "/file";
  const std::string plain = "/bin/umount  " + spareMount;
  const std::string forced = forcedUnmount + " -o force  " + spareMount;
  std::optional<Holder> holder;
  kfi_domain* node = nullptr;
};

TEST_F(Busy, DisableTriesAgainUntilTheFileSystemIsLetGo) {
  releaseInPause(3);
  EXPECT_EQ(disableAccess(*node), 0);
  EXPECT_THAT(pauses().seconds, ElementsAre(2, 4, 8));
  EXPECT_THAT(plugin.commands(), ElementsAre(plain));
  EXPECT_EQ(node->fid_attr & disabled, disabled);
  EXPECT_EQ(optionsOf(spareMount), std::nullopt);
  EXPECT_TRUE(deviceIsFree());
}

TEST_F(Busy, ALetGoInTheLastPauseIsEarlyEnough) {
  releaseInPause(5);
  EXPECT_EQ(disableAccess(*node), 0);
  EXPECT_THAT(pauses().seconds, ElementsAre(2, 4, 8, 16, 32));
  EXPECT_EQ(optionsOf(spareMount), std::nullopt);
}

TEST_F(Busy, DisableGivesUpAfterFiveMoreAttempts) {
  EXPECT_EQ(disableAccess(*node), busy);
  EXPECT_THAT(pauses().seconds, ElementsAre(2, 4, 8, 16, 32));
  EXPECT_EQ(node->fid_attr & disabled, 0u);
  EXPECT_EQ(optionsOf(spareMount), "rw");
  EXPECT_EQ(textOf(file), "held");
  // Nothing is broken: once the file is let go, it works at once.
  holder->release();
  EXPECT_EQ(disableAccess(*node), 0);
  EXPECT_EQ(pauses().seconds.size(), 5u);
}

// Deport and dispose always want force, and try again like the others where no program for it is installed.
TEST_F(Busy, OfflineAndDeportTryAgainWhereNothingCanUnmountByForce) {
  const WithoutForcedUnmount without;
  EXPECT_EQ(plugin.call().online(nullptr, node, takeOffline, removeMountPoint), busy);
  EXPECT_EQ(plugin.call().deport_tree(node, node, nullptr), busy);
  EXPECT_THAT(pauses().seconds, ElementsAre(2, 4, 8, 16, 32, 2, 4, 8, 16, 32));
  EXPECT_THAT(plugin.commands(), ElementsAre(plain, plain)) << "and the mount point stays";

  pauses().seconds.clear();
  releaseInPause(2);
  EXPECT_EQ(plugin.call().online(nullptr, node, takeOffline, removeMountPoint), 0);
  EXPECT_THAT(pauses().seconds, ElementsAre(2, 4));
  EXPECT_FALSE(std::filesystem::exists(spareMount));
  EXPECT_TRUE(deviceIsFree());
}

TEST_F(Busy, DeportSucceedsWhenTheFileIsLetGoInAPause) {
  const WithoutForcedUnmount without;
  releaseInPause(1);
  EXPECT_EQ(plugin.call().deport_tree(node, node, nullptr), 0);
  EXPECT_THAT(pauses().seconds, ElementsAre(2));
  EXPECT_THAT(plugin.commands(), ElementsAre(plain, "/bin/rmdir  " + spareMount));
  EXPECT_FALSE(std::filesystem::exists(spareMount));
}

// By force it is gone at once for everybody here; the device is free when the last one that holds it ends.
TEST_F(Busy, ForceUnmountsAtOnceWhateverIsHeld) {
  EXPECT_EQ(disableAccess(*node, byForce), 0);
  EXPECT_THAT(plugin.commands(), ElementsAre(forced));
  EXPECT_THAT(pauses().seconds, IsEmpty());
  EXPECT_EQ(optionsOf(spareMount), std::nullopt);
  EXPECT_EQ(node->fid_attr & disabled, disabled);
  EXPECT_FALSE(deviceIsFree());
  holder->release();
  EXPECT_TRUE(deviceIsFree());
}

TEST_F(Busy, DeportIsForced) {
  EXPECT_EQ(plugin.call().deport_tree(node, node, nullptr), 0);
  EXPECT_THAT(plugin.commands(), ElementsAre(forced, "/bin/rmdir  " + spareMount));
  EXPECT_THAT(pauses().seconds, IsEmpty());
  EXPECT_FALSE(std::filesystem::exists(spareMount));
  holder->release();
  EXPECT_TRUE(deviceIsFree());
}

TEST_F(Busy, DisposeIsForcedAndRemovesTheMountPoint) {
  EXPECT_EQ(plugin.call().dispose(nullptr, node, nullptr, removeMountPoint), 0);
  EXPECT_THAT(plugin.commands(), ElementsAre(forced, "/bin/rmdir  " + spareMount));
  EXPECT_FALSE(std::filesystem::exists(spareMount));
  holder->release();
  EXPECT_TRUE(deviceIsFree());
}

}  // namespace
}  // namespace provider_test

extern "C" unsigned sleep(unsigned seconds) {
  auto& pauses = provider_test::pauses();
  pauses.seconds.push_back(seconds);
  if (pauses.action) pauses.action();
  return 0;
}

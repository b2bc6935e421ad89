// A volume's file copied by sharing its blocks, on the pool of the testbed.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <memory>

#include "failure/host_error.h"
#include "support/text_file.h"
#include "system/descriptor.h"
#include "volume/file_pieces.h"
#include "volume/reflink_splitter.h"

namespace qmfi_host {
namespace {

using testing::Each;
using testing::IsEmpty;
using testing::Pair;
using testing::Truly;

using Clock = std::chrono::steady_clock;

constexpr auto noDeadline = Clock::time_point::max();
constexpr std::uint64_t block = 4096;

class SplitterTest : public testing::Test {
 protected:
  ~SplitterTest() override {
    std::filesystem::remove(m_plan.volumeFile);
    std::filesystem::remove(m_plan.snapshotFile);
  }

  // Writes a volume whose blocks alternate with holes, so that each is an extent of its own.
  void writeVolume(std::uint64_t extents) {
    const int file = open(m_plan.volumeFile.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    for (std::uint64_t i = 0; i < extents; ++i) {
      const std::string content(block, static_cast<char>('a' + i % 26));
      EXPECT_EQ(pwrite(file, content.data(), content.size(), static_cast<off_t>(2 * i * block)), block);
    }
    // The end of a file need not be that of a block.
    EXPECT_EQ(ftruncate(file, static_cast<off_t>(2 * extents * block + 100)), 0);
    EXPECT_EQ(fsync(file), 0);
    close(file);
  }

  // What a split returns, and what has become of the copy.
  std::pair<int, std::string> split(Clock::time_point deadline) {
    const std::unique_ptr<GroupSplit> split = ReflinkSplitter().prepare({m_plan});
    split->flush();
    const int error = split->split(deadline);
    return {error, textOf(m_plan.snapshotFile)};
  }

  std::vector<std::uint64_t> pieceEnds() const {
    const int file = open(m_plan.volumeFile.c_str(), O_RDONLY | O_CLOEXEC);
    std::vector<std::uint64_t> ends = pieceEndsOf(file, m_plan.volumeFile);
    close(file);
    return ends;
  }

  const SplitPlan m_plan{"/dev/none", "/dev/none-1", "/qmfs-pool/splitter-test", "/qmfs-pool/splitter-test-1", {}};
};

TEST_F(SplitterTest, VolumeInFewExtentsIsOnePiece) {
  writeVolume(extentsPerPiece / 4);
  EXPECT_THAT(pieceEnds(), IsEmpty());
  EXPECT_THAT(split(noDeadline), Pair(0, textOf(m_plan.volumeFile)));
}

// How many extents there are beside those that were written is the file system's affair.
TEST_F(SplitterTest, VolumeInManyExtentsIsCopiedPieceByPieceAndWhole) {
  writeVolume(3 * extentsPerPiece);
  const std::vector<std::uint64_t> ends = pieceEnds();
  EXPECT_GE(ends.size(), 2U);
  EXPECT_TRUE(std::is_sorted(ends.begin(), ends.end()));
  EXPECT_EQ(std::adjacent_find(ends.begin(), ends.end()), ends.end());
  EXPECT_THAT(ends, Each(Truly([](std::uint64_t end) { return end > 0 && end % block == 0; })));
  EXPECT_LT(ends.back(), 6 * extentsPerPiece * block);
  EXPECT_THAT(split(noDeadline), Pair(0, textOf(m_plan.volumeFile)));
}

TEST_F(SplitterTest, CopyIsGivenUpAtTheDeadline) {
  writeVolume(extentsPerPiece + 1);
  const auto [error, copy] = split(Clock::now());
  EXPECT_EQ(error, ETIME);
  // Whether blocks can be shared was tried with the first one.
  EXPECT_EQ(copy, textOf(m_plan.volumeFile).substr(0, block));
}

// Attaches a snapshot's device in a process that is killed before its end.
void attachAndBeKilled(const SplitPlan& plan) {
  const pid_t child = fork();
  if (child == 0) {
    const std::unique_ptr<SnapshotDevice> device = ReflinkSplitter().attach(plan);
    raise(SIGKILL);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFSIGNALED(status));
}

class SnapshotDeviceTest : public SplitterTest {
 protected:
  SnapshotDeviceTest() {
    writeVolume(1);
    EXPECT_EQ(split(noDeadline).first, 0);
  }

  std::optional<dev_t> attached() const { return ReflinkSplitter().look(m_plan, LookAt::copy).device; }
};

// A program that the killed process had started may mount it still: its number must not become somebody else's.
TEST_F(SnapshotDeviceTest, StaysAttachedWhenItsMakerIsKilled) {
  ASSERT_NO_FATAL_FAILURE(attachAndBeKilled(m_plan));
  EXPECT_TRUE(attached());
  ReflinkSplitter().detach(m_plan);
  EXPECT_FALSE(attached());
}

TEST_F(SnapshotDeviceTest, IsDetachedWithItsLastUser) {
  std::unique_ptr<SnapshotDevice> device = ReflinkSplitter().attach(m_plan);
  qmfi_system::Descriptor user(open(m_plan.snapshotDevice.c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_TRUE(user.valid());
  device.reset();
  EXPECT_TRUE(attached());
  user.reset();
  EXPECT_FALSE(attached());
  ReflinkSplitter().detach(m_plan);
}

TEST_F(SnapshotDeviceTest, IsDetachedWhereNobodyUsesIt) {
  std::unique_ptr<SnapshotDevice> device = ReflinkSplitter().attach(m_plan);
  EXPECT_TRUE(attached());
  device.reset();
  EXPECT_FALSE(attached());
  ReflinkSplitter().detach(m_plan);
}

TEST(FilePieces, OfAFileWhoseSystemDoesNotTellAreAFailure) {
  const int file = open("/proc/self/stat", O_RDONLY | O_CLOEXEC);
  EXPECT_THAT([&] { pieceEndsOf(file, "a name"); },
              testing::ThrowsMessage<HostError>(testing::StartsWith("the extents of a name cannot be read: ")));
  close(file);
}

}  // namespace
}  // namespace qmfi_host

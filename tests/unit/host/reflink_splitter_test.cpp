// The volume layer where it refuses: what it does with real volumes is tested with them.
#include "volume/reflink_splitter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <iterator>
#include <map>
#include <string>
#include <utility>

#include "failure/host_error.h"
#include "support/temporary_directory.h"
#include "volume/loop_device.h"

namespace {

// How many entries each directory had that was written out; "fails": the next one cannot be.
std::map<std::filesystem::path, std::ptrdiff_t> writtenOut;
bool writingOutFails = false;

}  // namespace

extern "C" int __real_fsync(int file);
extern "C" int __wrap_fsync(int file);
extern "C" int __wrap_fsync(int file) {
  if (std::exchange(writingOutFails, false)) {
    errno = EIO;
    return -1;
  }
  const auto opened = std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(file));
  if (std::filesystem::is_directory(opened)) {
    const std::filesystem::directory_iterator entries(opened);
    writtenOut[opened] = std::distance(begin(entries), end(entries));
  }
  return __real_fsync(file);
}

namespace qmfi_host {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::Pair;
using testing::ThrowsMessage;

TEST(ReflinkSplitter, RefusesAVolumeThatDoesNotConsistOfAFile) {
  EXPECT_THAT([] { ReflinkSplitter().plan("/dev/null", "17b4f33e"); },
              ThrowsMessage<HostError>("the volume /dev/null cannot be split: it does not consist of a file"));
  EXPECT_THAT([] { ReflinkSplitter().plan("/nonexistent", "17b4f33e"); },
              ThrowsMessage<HostError>("the device /nonexistent cannot be read: No such file or directory"));
}

TEST(ReflinkSplitter, LooksAtTheStorageOnlyWhenItIsAskedTo) {
  const TemporaryDirectory directory;
  directory.write("volume", "text");
  const SplitPlan plan{"/dev/none", "/dev/none-0a", directory.file("volume"), directory.file("volume"), {}};
  const VolumeStatus copy = ReflinkSplitter().look(plan, LookAt::copy);
  EXPECT_TRUE(copy.exists);
  EXPECT_EQ(copy.storage, "");
  EXPECT_EQ(copy.free, 0U);
  const VolumeStatus everything = ReflinkSplitter().look(plan, LookAt::everything);
  EXPECT_TRUE(everything.exists);
  EXPECT_NE(everything.storage, "");
  EXPECT_NE(everything.free, 0U);
}

TEST(ReflinkSplitter, FindsOutBeforeTheFreezeThatBlocksCannotBeShared) {
  const TemporaryDirectory directory;
  directory.write("volume", std::string(8192, 'x'));
  // No file system shares blocks with /dev/shm's.
  const SplitPlan plan{"/dev/x", "/dev/x-1", directory.file("volume"), "/dev/shm/qmfi-splitter-test", {}};
  EXPECT_THAT([&] { ReflinkSplitter().prepare({plan}); },
              ThrowsMessage<HostError>(HasSubstr(" does not share blocks between files: ")));
  unlink(plan.snapshotFile.c_str());
}

TEST(ReflinkSplitter, DoesNotTakeAFileThatIsThereAlready) {
  const TemporaryDirectory directory;
  directory.write("volume", "x");
  directory.write("taken", "somebody else's");
  EXPECT_THROW(
      ReflinkSplitter().prepare({{"/dev/x", "/dev/x-1", directory.file("volume"), directory.file("taken"), {}}}),
      HostError);
  EXPECT_EQ(directory.read("taken"), "somebody else's");
}

TEST(ReflinkSplitter, ReleasesWhatIsNotThereWithoutAWord) {
  EXPECT_NO_THROW(
      ReflinkSplitter().release({"/dev/x", "/dev/shm/none", "/dev/shm/none", "/dev/shm/none", "/dev/shm/none"}));
}

TEST(ReflinkSplitter, ReleaseRemovesTheSnapshotsFileAndItsRecordAlsoAnUnfinishedOne) {
  const TemporaryDirectory directory;
  for (const char* file : {"snapshot", "snapshot.qmfi", "snapshot.qmfi.new"}) directory.write(file, "x");
  ReflinkSplitter().release({"/dev/x", "/dev/shm/none", "/dev/shm/none", directory.file("snapshot"), {}});
  EXPECT_TRUE(std::filesystem::is_empty(directory.path()));
}

// A copy that is back after a crash would belong to nobody.
TEST(ReflinkSplitter, ReleaseWritesTheDirectoryOutOnceAllIsRemoved) {
  const TemporaryDirectory directory;
  for (const char* file : {"snapshot", "snapshot.qmfi"}) directory.write(file, "x");
  const SplitPlan plan{"/dev/x", "/dev/shm/none", "/dev/shm/none", directory.file("snapshot"), {}};
  writtenOut.clear();
  ReflinkSplitter().release(plan);
  EXPECT_THAT(writtenOut, ElementsAre(Pair(directory.path(), 0)));
  writingOutFails = true;
  EXPECT_THAT([&] { ReflinkSplitter().release(plan); },
              ThrowsMessage<HostError>(directory.path() + " could not be written out: Input/output error"));
}

TEST(LoopDevice, IsNotOverAFileWhenOneOfThemIsMissingOrAnother) {
  const TemporaryDirectory directory;
  directory.write("file", "x");
  EXPECT_FALSE(loopDeviceOver("/dev/null", directory.file("file")));
  EXPECT_FALSE(loopDeviceOver("/nonexistent", directory.file("file")));
  EXPECT_FALSE(loopDeviceOver(directory.file("file"), directory.file("file")));
}

}  // namespace
}  // namespace qmfi_host

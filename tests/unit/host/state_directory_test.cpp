// The state directory and its lock.
#include "state/state_directory.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include "../runtime/temporary_directory.h"
#include "failure/host_error.h"

namespace qmfi_host {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

bool isLocked(const std::string& file) {
  const Descriptor descriptor(open(file.c_str(), O_RDWR | O_CLOEXEC));
  return flock(descriptor.get(), LOCK_EX | LOCK_NB) != 0;
}

TEST(StateDirectory, IsMadeForRootAlone) {
  const TemporaryDirectory directory;
  for (const char* name : {"/made/with/parents", "/with/slash/"}) {
    makeStateDirectory(directory.path() + name);
    struct stat status {};
    ASSERT_EQ(stat((directory.path() + name).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0700U) << name;
  }
}

TEST(StateDirectory, ThatIsAFileIsRefused) {
  const TemporaryDirectory directory;
  directory.write("file", "");
  EXPECT_THAT(
      [&] { makeStateDirectory(directory.file("file")); },
      ThrowsMessage<HostError>("the state directory " + directory.file("file") + " cannot be used: Not a directory"));
}

TEST(StateDirectory, OnAFileSystemThatIsToBeFrozenIsRefused) {
  const TemporaryDirectory directory;
  EXPECT_THAT(
      [&] {
        requireOutside(directory.path(), {"/proc", directory.path()});
      },
      ThrowsMessage<HostError>(HasSubstr(" lies on the file system of " + directory.path())));
  EXPECT_NO_THROW(requireOutside(directory.path(), {"/proc"}));
}

TEST(StateDirectory, ThatIsStillToBeMadeOnAFileSystemThatIsToBeFrozenIsRefused) {
  const TemporaryDirectory directory;
  EXPECT_THROW(requireOutside(directory.file("still/to/be/made"), {directory.path()}), HostError);
  EXPECT_FALSE(std::filesystem::exists(directory.file("still")));
}

TEST(StateLock, IsHeldUntilItsEnd) {
  const TemporaryDirectory directory;
  {
    const StateLock lock(directory.path());
    EXPECT_TRUE(isLocked(directory.file("lock")));
  }
  EXPECT_FALSE(isLocked(directory.file("lock")));
}

TEST(StateLock, InADirectoryThatIsMissingIsAFailure) {
  EXPECT_THROW(StateLock("/nonexistent"), HostError);
}

}  // namespace
}  // namespace qmfi_host

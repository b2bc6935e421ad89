// The state directory.
#include "state/state_directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include "failure/host_error.h"
#include "support/temporary_directory.h"

namespace qmfi_host {
namespace {

using testing::HasSubstr;
using testing::ThrowsMessage;

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

}  // namespace
}  // namespace qmfi_host

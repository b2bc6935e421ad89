// qmfi thaw, for an emergency.
// Volumes: "a", "b" and "c" mounted on /mnt/a, /mnt/b and /mnt/c.
#include <fcntl.h>
#include <linux/fs.h>
#include <sys/file.h>
#include <sys/ioctl.h>

#include <cerrno>
#include <filesystem>
#include <fstream>

#include "host_fixture.h"
#include "support/freeze_requests.h"
#include "system/descriptor.h"

namespace host_test {
namespace {

using testbed_test::OpenDirectory;

using ThawTest = HostTest;

constexpr int longTimeout = 600;

TEST_F(ThawTest, EndsFreezesOfTheDriverAndOfTheKernel) {
  const OpenDirectory a("/mnt/a");
  const OpenDirectory b("/mnt/b");
  ASSERT_EQ(testbed_test::freeze(a.get(), longTimeout), 0);
  ASSERT_EQ(ioctl(b.get(), FIFREEZE, 0), 0);
  const auto outcome = qmfi({"thaw", "/mnt/a", "/mnt/b", "/mnt/c"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_EQ(outcome.output, "/mnt/a: thawed\n/mnt/b: thawed\n/mnt/c: was not frozen\n");
  EXPECT_EQ(testbed_test::thaw(a.get()), EINVAL);
  EXPECT_EQ(ioctl(b.get(), FITHAW, 0), -1);
}

TEST_F(ThawTest, ThawsTheOthersWhenOneCannotBeOpened) {
  const OpenDirectory b("/mnt/b");
  ASSERT_EQ(ioctl(b.get(), FIFREEZE, 0), 0);
  const auto outcome = qmfi({"thaw", "/none", "/etc/passwd", "/mnt/b"});
  EXPECT_EQ(outcome.status, 3);
  EXPECT_EQ(outcome.output,
            "qmfi: /none cannot be opened: No such file or directory\n"
            "qmfi: /etc/passwd cannot be opened: Not a directory\n/mnt/b: thawed\n");
}

TEST_F(ThawTest, NeedsNeitherTheLockNorTheStateNorAProvider) {
  const OpenDirectory b("/mnt/b");
  ASSERT_EQ(qmfi({"recover"}).status, 0);
  const qmfi_system::Descriptor lock(open("/var/lib/qmfi", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  ASSERT_EQ(flock(lock.get(), LOCK_EX), 0);
  ASSERT_EQ(ioctl(b.get(), FIFREEZE, 0), 0);
  EXPECT_EQ(qmfi({"thaw", "/mnt/b"}).output, "/mnt/b: thawed\n");
  ASSERT_EQ(ioctl(b.get(), FIFREEZE, 0), 0);
  // They would lie on what is frozen.
  const auto outcome = qmfi({"--state-dir", "/mnt/b/state", "--provider-dir", "/mnt/b/none", "thaw", "/mnt/b"});
  EXPECT_EQ(outcome.output, "/mnt/b: thawed\n");
  EXPECT_EQ(outcome.status, 0);
}

TEST_F(ThawTest, MakesNoRequestThatOthersThanRootCanChoose) {
  const OpenDirectory b("/mnt/b");
  std::filesystem::create_directory("/tmp/others");
  std::ofstream("/tmp/others/other.provider") << "nonsense";
  ASSERT_EQ(ioctl(b.get(), FIFREEZE, 0), 0);
  const auto outcome = qmfi({"--provider-dir", "/tmp/others", "thaw", "/mnt/b"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_THAT(outcome.output, testing::MatchesRegex("qmfi: [^\n]*/tmp[^\n]*\n/mnt/b: thawed\n"));
  EXPECT_THAT(outcome.output, testing::Not(testing::HasSubstr("other.provider")));
  std::filesystem::remove_all("/tmp/others");
}

}  // namespace
}  // namespace host_test

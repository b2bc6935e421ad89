// What somebody can do who mounts or renames while qmfi takes a snapshot: have it fail, and no more.
// Volumes: "a", "b" and "c" mounted on /mnt/a, /mnt/b and /mnt/c.
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/syscall.h>

#include <filesystem>
#include <functional>

#include "cfiscopeexit.h"
#include "host_fixture.h"
#include "support/supervision/tracer.h"

namespace host_test {
namespace {

namespace fs = std::filesystem;

using qmfi_pdk_4_4::CFiScopeExit;

using MountRacesTest = HostTest;

// Does something just before the first call of a kind.
class AtCall : public faults::CallWatcher {
 public:
  AtCall(long number, std::function<void()> action) : m_number(number), m_action(std::move(action)) {}

  faults::Decision before(const faults::SystemCall& call) override {
    if (call.number == m_number && isMeant(call)) m_action();
    return {};
  }

 private:
  bool isMeant(const faults::SystemCall& call) {
    // Of the requests the first one to share blocks, which tries whether they can be shared.
    if (call.number == SYS_ioctl && static_cast<std::uint32_t>(call.arguments[1]) != FICLONERANGE) return false;
    return m_count++ == 0;
  }

  const long m_number;
  const std::function<void()> m_action;
  int m_count = 0;
};

// arguments: mount points and options.
faults::Ended createWatchedBy(AtCall& race, const std::vector<std::string>& arguments) {
  constexpr std::chrono::seconds limit(60);
  std::vector<std::string> words = {"/usr/bin/qmfi", "snapshot", "create", "--freeze-timeout", "20"};
  words.insert(words.end(), arguments.begin(), arguments.end());
  faults::Tracer tracer;
  faults::Ended ended = tracer.run(words, &race, limit);
  EXPECT_TRUE(tracer.waitForAll(limit).empty());
  return ended;
}

void mountCOverB() {
  EXPECT_EQ(mount("/mnt/c", "/mnt/b", nullptr, MS_BIND, nullptr), 0);
}

// The volume of "a" has been prepared when "b" is opened.
TEST_F(MountRacesTest, FileSystemMountedOverAnotherBeforeTheFreezeIsNotTakenForIt) {
  AtCall race(SYS_ioctl, mountCOverB);
  const faults::Ended ended = createWatchedBy(race, {"/mnt/a", "/mnt/b"});
  EXPECT_EQ(umount("/mnt/b"), 0);
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(
      ended.errors,
      "qmfi: /mnt/b does not lead to the file system of /dev/qm/dsk/dg1/b: another one has been mounted there, or "
      "the path has been changed; nothing was frozen, and \"findmnt --target /mnt/b\" shows what is there\n");
}

// "c" is what the provider freezes then.
TEST_F(MountRacesTest, FileSystemMountedOverAnotherDuringTheFlushIsNotTakenForIt) {
  AtCall race(SYS_syncfs, mountCOverB);
  const faults::Ended ended = createWatchedBy(race, {"/mnt/a", "/mnt/b"});
  EXPECT_EQ(umount("/mnt/b"), 0);
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.errors,
            "qmfi: the file system of /dev/qm/dsk/dg1/b on /mnt/b was not frozen, though its provider said so: another "
            "one has been mounted there meanwhile, or the path has been changed; everything is thawed, and \"findmnt "
            "--target /mnt/b\" shows what is there\n");
}

TEST_F(MountRacesTest, FileSystemThatALinkLeadsToDuringTheFlushIsNotTakenForTheOther) {
  const std::string place = "/mnt/owned/c";
  fs::create_directories(place);
  ASSERT_EQ(testbed_test::run({"/bin/umount", "/mnt/c"}).status, 0);
  ASSERT_EQ(testbed_test::run({"/bin/mount", "-t", "qmfs", "/dev/qm/dsk/dg1/c", place}).status, 0);
  const CFiScopeExit moveBack([&] {
    EXPECT_EQ(testbed_test::run({"/bin/umount", place}).status, 0);
    fs::remove_all("/mnt/owned");
    EXPECT_EQ(testbed_test::run({"/bin/mount", "-t", "qmfs", "/dev/qm/dsk/dg1/c", "/mnt/c"}).status, 0);
  });
  AtCall race(SYS_syncfs, [&] {
    fs::rename("/mnt/owned", "/mnt/away");
    fs::create_directory("/mnt/owned");
    fs::create_symlink("/mnt/b", place);
  });
  const faults::Ended ended = createWatchedBy(race, {place});
  fs::remove_all("/mnt/owned");
  fs::rename("/mnt/away", "/mnt/owned");
  EXPECT_EQ(ended.status, 1);
  EXPECT_THAT(ended.errors, testing::StartsWith("qmfi: the file system of /dev/qm/dsk/dg1/c on /mnt/owned/c was not "
                                                "frozen, though its provider said so: "));
}

// It was free when the snapshot was planned.
TEST_F(MountRacesTest, DirectoryThatAnotherHasTakenMeanwhileIsLeftAlone) {
  const std::string directory = "/run/qmfi/snapshots/nightly";
  AtCall race(SYS_mkdirat, [&] { fs::create_directories(directory); });
  const faults::Ended ended = createWatchedBy(race, {"/mnt/a", "--name", "nightly"});
  EXPECT_EQ(ended.status, 1);
  EXPECT_EQ(ended.errors,
            "qmfi: /run/qmfi/snapshots/nightly is in use already: another snapshot is mounted there, or something has "
            "been left in it\n");
  EXPECT_TRUE(fs::remove(directory));
  EXPECT_EQ(qmfi({"snapshot", "list", "--no-headings"}).output, "");
}

}  // namespace
}  // namespace host_test

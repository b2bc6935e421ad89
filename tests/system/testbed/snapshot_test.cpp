// Splitting a snapshot off frozen volumes, with the means that the testbed offers for it.
// Volumes: "a" and "b" mounted on /mnt/a and /mnt/b.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "common/loop_device.h"
#include "support/freeze_requests.h"
#include "support/mount_lines.h"
#include "support/program_run.h"
#include "support/text_file.h"
#include "support/writer.h"
#include "system/descriptor.h"

namespace testbed_test {
namespace {

namespace fs = std::filesystem;

constexpr int longTime = 100;

qmfi_system::Descriptor openFile(const char* path, int flags) {
  return qmfi_system::Descriptor(open(path, flags | O_CLOEXEC, 0600));
}

// A loop device over `file` with a node at `node`; detached with its last user.
class Attached {
 public:
  Attached(int file, const std::string& node) : m_device(testbed::attachLoopDevice(file)) {
    EXPECT_EQ(mknod(node.c_str(), S_IFBLK | 0600, m_device.device), 0);
  }

 private:
  const testbed::LoopDevice m_device;
};

TEST(Snapshot, ACloneOfAFrozenVolumeMountsReadOnlyWithWhatWasThere) {
  const OpenDirectory directory("/mnt/a");
  const auto volume = openFile("/qmfs-pool/dg1/a", O_RDONLY);
  const auto snapshot = openFile("/qmfs-pool/dg1/a-snapshot", O_RDWR | O_CREAT | O_EXCL);
  std::ofstream("/mnt/a/before") << "before";
  {
    const ThawAtEnd safety({directory.get()});
    ASSERT_EQ(freeze(directory.get(), longTime), 0);
    ASSERT_EQ(ioctl(snapshot.get(), FICLONE, volume.get()), 0);
    ASSERT_EQ(thaw(directory.get()), 0);
  }
  std::ofstream("/mnt/a/after") << "after";

  const std::string node = "/dev/qm/dsk/dg1/a-snapshot";
  const Attached attached(snapshot.get(), node);
  ASSERT_EQ(mkdir("/mnt/a_alt", 0755), 0);
  ASSERT_EQ(run({"/bin/mount", "-t", "qmfs", "-o", "ro", node, "/mnt/a_alt"}).status, 0);
  EXPECT_EQ(textOf("/mnt/a_alt/before"), "before");
  EXPECT_FALSE(fs::exists("/mnt/a_alt/after"));
  EXPECT_THAT(mountLines("/mnt/a_alt"), testing::ElementsAre(node + " /mnt/a_alt qmfs ro 0 0"));
  EXPECT_EQ(run({"/opt/KRIBqmfs/sbin/fstyp", node}).output, "qmfs\n");
  EXPECT_EQ(run({"/bin/umount", "/mnt/a_alt"}).status, 0);
  EXPECT_EQ(run({"/sbin/fsck", "-y", "-t", "qmfs", node}).status, 0);
}

// The inner file system must be frozen first, since it writes to the outer one while it freezes.
TEST(Snapshot, AFileSystemInAnImageOnAnotherIsFrozenWithItWhateverTheOrder) {
  const auto image = openFile("/mnt/b/image", O_RDWR | O_CREAT | O_EXCL);
  ASSERT_EQ(ftruncate(image.get(), 320L << 20), 0);
  const std::string node = "/dev/qm/dsk/dg1/inner";
  const Attached attached(image.get(), node);
  ASSERT_EQ(mkdir("/mnt/inner", 0755), 0);
  ASSERT_EQ(run({"/sbin/mkfs", "-t", "qmfs", node}).status, 0);
  ASSERT_EQ(run({"/bin/mount", "-t", "qmfs", node, "/mnt/inner"}).status, 0);
  {
    const OpenDirectory outer("/mnt/b");
    const OpenDirectory inner("/mnt/inner");
    const Writer writer("/mnt/inner/file");
    for (const auto& order : {std::vector<int>{outer.get(), inner.get()}, {inner.get(), outer.get()}}) {
      const ThawAtEnd safety({outer.get(), inner.get()});
      ASSERT_TRUE(writer.waitForProgress());
      EXPECT_EQ(freezeAll(order[0], order, longTime), 0);
      EXPECT_TRUE(writer.waitUntilBlocked());
      EXPECT_EQ(thaw(order[0]), 0);
      EXPECT_EQ(thaw(order[1]), 0);
    }
    EXPECT_TRUE(writer.waitForProgress());
  }
  EXPECT_EQ(run({"/bin/umount", "/mnt/inner"}).status, 0);
}

}  // namespace
}  // namespace testbed_test

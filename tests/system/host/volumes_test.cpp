// Volumes that cannot be split: refused before anything is frozen, with a word about which and why.
// Volumes: "a", "b" and "c" mounted on /mnt/a, /mnt/b and /mnt/c.
#include <fcntl.h>
#include <linux/loop.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>

#include "host_fixture.h"
#include "support/text_file.h"

namespace host_test {
namespace {

namespace fs = std::filesystem;

constexpr const char* device = "/dev/qm/dsk/dg1/a";

// The file of the volume, as the kernel names it.
fs::path volumeFile() {
  struct stat status {};
  EXPECT_EQ(stat(device, &status), 0);
  const std::string name = textOf("/sys/dev/block/" + std::to_string(major(status.st_rdev)) + ":" +
                                  std::to_string(minor(status.st_rdev)) + "/loop/backing_file");
  return name.substr(0, name.find('\n'));
}

// Lets the volume's device end after so many bytes of its file; 0: where the file ends. Returns 0 or an errno value.
int limitDevice(std::uint64_t bytes) {
  const int loop = open(device, O_RDONLY | O_CLOEXEC);
  loop_info64 information{};
  int error = ioctl(loop, LOOP_GET_STATUS64, &information) == 0 ? 0 : errno;
  information.lo_sizelimit = bytes;
  if (error == 0 && ioctl(loop, LOOP_SET_STATUS64, &information) != 0) error = errno;
  close(loop);
  return error;
}

using VolumesTest = HostTest;

// Hides what lies in a directory behind an empty one.
class HiddenDirectory {
 public:
  explicit HiddenDirectory(const fs::path& path) : m_path(path) {
    EXPECT_EQ(mount("none", path.c_str(), "tmpfs", 0, nullptr), 0);
  }
  HiddenDirectory(const HiddenDirectory&) = delete;
  HiddenDirectory& operator=(const HiddenDirectory&) = delete;
  ~HiddenDirectory() { EXPECT_EQ(umount2(m_path.c_str(), 0), 0); }

 private:
  fs::path m_path;
};

std::string fileCannotBeFound(const fs::path& file) {
  return std::string("qmfi: the volume ") + device + " cannot be split: its file \"" + file.string() +
         "\" cannot be found\n";
}

TEST_F(VolumesTest, OneWhoseFileIsOutOfSightIsRefused) {
  const fs::path file = volumeFile();
  const HiddenDirectory hidden(file.parent_path());
  const auto create = qmfi({"snapshot", "create", "/mnt/a"});
  EXPECT_EQ(create.status, 1);
  EXPECT_EQ(create.output, fileCannotBeFound(file));
}

TEST_F(VolumesTest, OneWhoseFilesNameIsAnotherFilesIsRefused) {
  const fs::path file = volumeFile();
  const HiddenDirectory hidden(file.parent_path());
  close(open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  const auto create = qmfi({"snapshot", "create", "/mnt/a"});
  EXPECT_EQ(create.status, 1);
  EXPECT_EQ(create.output, fileCannotBeFound(file));
}

TEST_F(VolumesTest, OneThatCoversAPartOfItsFileIsRefused) {
  const fs::path file = volumeFile();
  ASSERT_EQ(limitDevice(fs::file_size(file)), 0);
  const auto create = qmfi({"snapshot", "create", "/mnt/a"});
  ASSERT_EQ(limitDevice(0), 0);
  EXPECT_EQ(create.status, 1);
  EXPECT_EQ(create.output, std::string("qmfi: the volume ") + device +
                               " cannot be split: it covers only a part of its file " + file.string() + "\n");
}

// Fills the storage of the volumes while it lives, but for some bytes.
class FullStorage {
 public:
  explicit FullStorage(off_t left) {
    struct statvfs storage {};
    EXPECT_EQ(fstatvfs(m_file, &storage), 0);
    const auto free = static_cast<off_t>(storage.f_bavail * storage.f_frsize);
    EXPECT_EQ(fallocate(m_file, 0, 0, free - left), 0);
  }
  FullStorage(const FullStorage&) = delete;
  FullStorage& operator=(const FullStorage&) = delete;
  ~FullStorage() {
    close(m_file);
    fs::remove(path);
  }

 private:
  static constexpr const char* path = "/qmfs-pool/fill";
  int m_file = open(path, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
};

TEST_F(VolumesTest, OneThatCouldNotBeOverwrittenIsRefusedUnlessOvercommitIsAsked) {
  struct stat volume {};
  ASSERT_EQ(stat(volumeFile().c_str(), &volume), 0);
  const FullStorage full(volume.st_blocks * 512 / 2);
  const auto refused = qmfi({"snapshot", "create", "/mnt/a"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_THAT(refused.output, testing::MatchesRegex("qmfi: the storage of /mnt/a has [0-9.]+ [KM]iB free, and needs "
                                                    "[0-9.]+ [KM]iB if all is overwritten .*\n"));
  const Snapshot snapshot = create({"/mnt/a"}, {"--overcommit"});
  EXPECT_EQ(qmfi({"snapshot", "delete", snapshot.id}).status, 0);
}

TEST_F(VolumesTest, WhetherOneMayBeTakenThatCouldNotBeOverwrittenIsASettingThatTheOptionTakesBack) {
  const std::string directory = "/run/settings";
  fs::create_directory(directory);
  std::ofstream(directory + "/qmfi.toml") << "[create]\novercommit = true\n";
  struct stat volume {};
  ASSERT_EQ(stat(volumeFile().c_str(), &volume), 0);
  const FullStorage full(volume.st_blocks * 512 / 2);
  const std::vector<std::string> variables = {"QMFI_CONFIG_DIR=" + directory};
  EXPECT_EQ(qmfi({"snapshot", "create", "/mnt/a", "--overcommit=false"}, variables).status, 1);
  const auto taken = qmfi({"snapshot", "create", "/mnt/a", "--name", "nightly"}, variables);
  EXPECT_EQ(taken.status, 0) << taken.output;
  EXPECT_EQ(qmfi({"snapshot", "delete", "nightly"}).status, 0);
  fs::remove_all(directory);
}

}  // namespace
}  // namespace host_test

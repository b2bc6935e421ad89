// How the provider knows what file system a device holds.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "cfifailure.h"
#include "linuxfs_mounting.h"
#include "support/temporary_directory.h"
#include "system/program.h"

namespace {

namespace fs = std::filesystem;

using qmfi_pdk_4_4::CFiFailure;

class TypeOfDeviceTest : public testing::Test {
 protected:
  // A file with what the system's own program makes of it.
  std::string formatted(const std::string& program, std::uintmax_t megabytes) const {
    std::string file = m_directory.write("device", "");
    fs::resize_file(file, megabytes << 20);
    EXPECT_EQ(qmfi_system::captureProgram({{program, "-q", file}, {"PATH=/usr/sbin:/usr/bin"}}).exitStatus, 0);
    return file;
  }

  TemporaryDirectory m_directory;
};

TEST_F(TypeOfDeviceTest, IsTheOneThatItWasFormattedWith) {
  EXPECT_EQ(linuxFSTypeOn(formatted("/sbin/mkfs.xfs", 320)), "xfs");
  EXPECT_EQ(linuxFSTypeOn(formatted("/sbin/mkfs.ext4", 16)), "ext4");
}

TEST_F(TypeOfDeviceTest, IsNoneForOlderFileSystemsOfTheSameFamily) {
  EXPECT_EQ(linuxFSTypeOn(formatted("/sbin/mkfs.ext3", 16)), "");
  EXPECT_EQ(linuxFSTypeOn(formatted("/sbin/mkfs.ext2", 16)), "");
}

TEST_F(TypeOfDeviceTest, IsNoneWhereThereIsNothingOrNextToNothing) {
  EXPECT_EQ(linuxFSTypeOn(m_directory.write("device", "")), "");
  EXPECT_EQ(linuxFSTypeOn(m_directory.write("device", std::string(4096, '\0'))), "");
  EXPECT_EQ(linuxFSTypeOn(m_directory.write("device", "XFS")), "");
  // The magic number of ext4 alone: its flags are missing.
  std::string superblock(4096, '\0');
  superblock.replace(1024 + 0x38, 2, "\x53\xEF");
  EXPECT_EQ(linuxFSTypeOn(m_directory.write("device", superblock)), "");
}

TEST_F(TypeOfDeviceTest, IsAFailureWhereItCannotBeRead) {
  EXPECT_THROW(linuxFSTypeOn(m_directory.file("missing")), CFiFailure);
}

}  // namespace

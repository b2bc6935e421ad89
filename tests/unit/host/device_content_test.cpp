// What is told of the content of a device.
#include "volume/device_content.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "failure/host_error.h"
#include "support/temporary_directory.h"
#include "system/program.h"

namespace qmfi_host {
namespace {

constexpr std::size_t size = std::size_t{16} << 20;

class DeviceContentTest : public testing::Test {
 protected:
  TemporaryDirectory m_directory;
};

TEST_F(DeviceContentTest, IsNothingWhereThereIsNone) {
  EXPECT_EQ(contentOf(m_directory.write("device", std::string(size, '\0'))), "");
}

TEST_F(DeviceContentTest, IsTheTypeOfItsFileSystem) {
  const std::string file = m_directory.write("device", std::string(size, '\0'));
  ASSERT_EQ(qmfi_system::captureProgram({{"/sbin/mkfs.ext4", "-q", file}, {}}).exitStatus, 0);
  EXPECT_EQ(contentOf(file), "ext4");
}

TEST_F(DeviceContentTest, IsTheTypeOfItsPartitionTable) {
  // One partition of Linux, of 100 sectors from sector 2048 on, and the signature.
  constexpr std::size_t firstEntry = 446;
  constexpr std::size_t signature = 510;
  std::string disk(size, '\0');
  disk.replace(firstEntry + 4, 1, "\x83");
  disk.replace(firstEntry + 8, 8, std::string("\x00\x08\x00\x00\x64\x00\x00\x00", 8));
  disk.replace(signature, 2, "\x55\xAA");
  EXPECT_EQ(contentOf(m_directory.write("device", disk)), "dos");
}

TEST_F(DeviceContentTest, IsAFailureWhereItCannotBeRead) {
  const std::string missing = m_directory.file("missing");
  EXPECT_THAT([&] { contentOf(missing); },
              testing::ThrowsMessage<HostError>(missing + " cannot be read: No such file or directory"));
}

TEST_F(DeviceContentTest, MustBeOfABlockDeviceToBeReplaced) {
  EXPECT_THAT([] { requireUnusedDevice("/dev/null", DevicePurpose::format); },
              testing::ThrowsMessage<HostError>("/dev/null is not a block device"));
  EXPECT_THAT([] { requireUnusedDevice("/nonexistent", DevicePurpose::format); },
              testing::ThrowsMessage<HostError>("/nonexistent cannot be read: No such file or directory"));
}

}  // namespace
}  // namespace qmfi_host

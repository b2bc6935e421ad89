// The text in which the state of a node is kept.
#include <gtest/gtest.h>

#include <string>

#include "cfifailure.h"
#include "linuxfs_private_data.h"
#include "support/domains.h"

// The provider's names are made with its entry points, which are not part of this program.
ACE_String_Base<char> cfi_pgn_name_tstr("linuxfsfi", nullptr, false);
std::string cfi_pgn_name_str("linuxfsfi");

namespace {

using namespace qmfi_pdk_4_4;

std::string stateOf(CLinuxFSPrivateData& data) {
  kfi_blob blob{};
  EXPECT_EQ(data.getNodeState(&blob), 0);
  EXPECT_EQ(blob.kb_encoding, KFI_BLOB_TEXT);
  std::string text = blob.kb_buffer;
  EXPECT_EQ(blob.kb_length, text.size() + 1);
  qmfi_free_buf(blob.kb_buffer, blob.kb_length);
  return text;
}

void restore(CLinuxFSPrivateData& data, std::string text) {
  kfi_blob blob{text.size() + 1, text.data(), KFI_BLOB_TEXT, 0};
  EXPECT_EQ(data.setNodeState(&blob), 0);
}

TEST(LinuxFSNodeState, IsALineOfWordsThatComesBack) {
  const std::string text = "linuxfs xfs /dev/a\\040b ro,nouuid /mnt/a\\134b";
  CLinuxFSPrivateData data(identifierOf("/mnt/a"), true);
  restore(data, text);
  EXPECT_EQ(data.type, "xfs");
  EXPECT_EQ(data.deviceName(), "/dev/a b");
  EXPECT_EQ(data.options, "ro,nouuid");
  EXPECT_EQ(data.alternate, "/mnt/a\\b");
  EXPECT_EQ(stateOf(data), text);
}

TEST(LinuxFSNodeState, MayHaveNoOptionsAndNoAlternate) {
  CLinuxFSPrivateData data(identifierOf("/mnt/a"), true);
  restore(data, "linuxfs ext4 /dev/a  ");
  EXPECT_EQ(data.options, "");
  EXPECT_EQ(data.alternate, "");
  EXPECT_EQ(stateOf(data), "linuxfs ext4 /dev/a  ");
}

TEST(LinuxFSNodeState, KeepsTheDeviceThatIsKnown) {
  CLinuxFSPrivateData data(identifierOf("/mnt/a"), true);
  restore(data, "linuxfs ext4 /dev/a ro ");
  restore(data, "linuxfs ext4 /dev/b ro ");
  EXPECT_EQ(data.deviceName(), "/dev/a");
  EXPECT_EQ(data.getSubObjectListLength(), 1U);
}

TEST(LinuxFSNodeState, OfAnotherProviderIsRefusedAndNothingIsChanged) {
  for (const char* const text :
       {"", "linuxfs", "linuxfs xfs /dev/a ro", "linuxfs xfs /dev/a ro /alt more", "linuxfs btrfs /dev/a ro ",
        "linuxfs xfs dev/a ro ", "linuxfs xfs  ro ", "other xfs /dev/a ro ", "<MNT_OPTS>ro</MNT_OPTS>"}) {
    CLinuxFSPrivateData data(identifierOf("/mnt/a"), true);
    std::string copy = text;
    kfi_blob blob{copy.size() + 1, copy.data(), KFI_BLOB_TEXT, 0};
    try {
      data.setNodeState(&blob);
      ADD_FAILURE() << text;
    } catch (const CFiFailure& failure) {
      EXPECT_EQ(failure.status(), CFI_STATUS_FAILED);
      EXPECT_EQ(failure.id(), "MSG_LINUXFS_STATE");
      EXPECT_EQ(failure.arguments(), std::vector<std::string>{"/mnt/a"});
    }
    EXPECT_EQ(data.type, "");
    EXPECT_EQ(data.getSubObjectListLength(), 0U);
  }
}

TEST(LinuxFSNodeState, IsReadNoFurtherThanItIsLong) {
  CLinuxFSPrivateData data(identifierOf("/mnt/a"), true);
  std::string text = "linuxfs xfs /dev/a ro /alternate";
  kfi_blob blob{text.size() - 6, text.data(), KFI_BLOB_TEXT, 0};
  EXPECT_EQ(data.setNodeState(&blob), 0);
  EXPECT_EQ(data.alternate, "/alt");
}

TEST(LinuxFSNodeState, IsNoneWithoutADevice) {
  CLinuxFSPrivateData data(identifierOf("/mnt/a"), false);
  kfi_blob blob{};
  try {
    data.getNodeState(&blob);
    FAIL();
  } catch (const CFiFailure& failure) {
    EXPECT_EQ(failure.status(), CFI_STATUS_INVALID_ARGUMENT);
    EXPECT_EQ(failure.id(), "MSG_LINUXFS_UNKNOWN_DEVICE");
  }
  EXPECT_EQ(blob.kb_buffer, nullptr);
}

}  // namespace

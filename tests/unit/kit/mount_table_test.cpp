// What a text like /proc/self/mountinfo says of mounts.
#include <gtest/gtest.h>
#include <sys/sysmacros.h>

#include <string>

#include "cfimounttable.h"

namespace {

using namespace qmfi_pdk_4_4;

constexpr const char* table =
    "21 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw,errors=remount-ro\n"
    "36 21 259:7 / /srv/data rw,noatime - xfs /dev/vg/data rw,inode64,noquota\n"
    "136 21 259:7 /part /srv/part rw - xfs /dev/vg/data rw,inode64\n"
    "361 21 0:44 / /mnt/a\\040b\\134c rw,nosuid shared:7 master:2 - fuse.x a\\011b rw\n"
    "40 21 7:3 / /srv/log ro - ext4 /dev/loop3 ro";

TEST(MountTable, FindsAMountByItsWholeNumber) {
  const auto mount = findWholeMount(table, CFiMountKey::number, "36");
  ASSERT_TRUE(mount.has_value());
  EXPECT_EQ(mount->type, "xfs");
  EXPECT_EQ(mount->source, "/dev/vg/data");
  EXPECT_EQ(mount->mountPoint, "/srv/data");
  EXPECT_EQ(mount->options, "rw,noatime,rw,inode64,noquota");
  EXPECT_EQ(mount->device, makedev(259, 7));
  EXPECT_FALSE(findWholeMount(table, CFiMountKey::number, "3"));
  EXPECT_FALSE(findWholeMount(table, CFiMountKey::number, "37"));
}

TEST(MountTable, PassesOverOptionalWords) {
  EXPECT_EQ(findWholeMount(table, CFiMountKey::number, "21")->type, "ext4");
  EXPECT_EQ(findWholeMount(table, CFiMountKey::number, "361")->type, "fuse.x");
}

TEST(MountTable, HasNoMountOfADirectoryOnly) {
  EXPECT_FALSE(findWholeMount(table, CFiMountKey::number, "136"));
}

TEST(MountTable, FindsTheFirstWholeMountOfADevice) {
  EXPECT_EQ(findWholeMount(table, CFiMountKey::device, "259:7")->mountPoint, "/srv/data");
  EXPECT_FALSE(findWholeMount(table, CFiMountKey::device, "59:7"));
}

TEST(MountTable, LastLineMayHaveNoEnd) {
  EXPECT_EQ(findWholeMount(table, CFiMountKey::number, "40")->mountPoint, "/srv/log");
}

TEST(MountTable, HasNamesWithoutTheirEscapes) {
  const auto mount = findWholeMount(table, CFiMountKey::device, "0:44");
  EXPECT_EQ(mount->mountPoint, "/mnt/a b\\c");
  EXPECT_EQ(mount->source, "a\tb");
}

TEST(MountTable, LinesThatAreCutShortAreNone) {
  for (const char* const line :
       {"", "36", "36 21 259:7 /", "36 21 259:7 / /srv rw", "36 21 259:7 / /srv rw -",
        "36 21 259:7 / /srv rw - xfs /dev/a", "36 21 259:7 / /srv rw shared:1 xfs /dev/a rw"}) {
    EXPECT_FALSE(findWholeMount(line, CFiMountKey::number, "36")) << line;
  }
}

TEST(MountTable, WordsAreEscapedAndComeBack) {
  const std::string name = " a\tb\nc\\040d";
  EXPECT_EQ(escapedWord(name), "\\040a\\011b\\012c\\134040d");
  EXPECT_EQ(plainWord(escapedWord(name)), name);
  for (const char* const word : {"\\", "\\0", "\\04", "\\048", "\\777", "a\\"}) EXPECT_EQ(plainWord(word), word);
}

TEST(MountTable, WordsMayBeEmpty) {
  EXPECT_EQ(wordsOf("a  b "), (std::vector<std::string_view>{"a", "", "b", ""}));
}

TEST(MountTable, ShowsWhatIsMountedOnAPath) {
  EXPECT_EQ(wholeMountOn("/proc")->type, "proc");
  EXPECT_FALSE(wholeMountOn("/proc/self"));
  EXPECT_FALSE(wholeMountOn("/no/such/directory"));
  EXPECT_FALSE(wholeMountOn("proc"));
  EXPECT_FALSE(wholeMountOn(""));
  EXPECT_FALSE(wholeMountOn("/proc/version/below"));
}

TEST(MountTable, DevicesAreBlockDevices) {
  EXPECT_FALSE(blockDeviceNumber("/dev/null"));
  EXPECT_FALSE(blockDeviceNumber("/proc"));
  EXPECT_FALSE(blockDeviceNumber("loop0"));
  EXPECT_EQ(devicePathOf(CFiMount{"proc", "/proc", "/proc", "rw", makedev(0, 4)}), "");
}

}  // namespace

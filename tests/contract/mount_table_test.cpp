// Look-ups in the mount table, device names, and names as the framework receives them.
#include <cstdlib>
#include <memory>

#include "plugin_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct Freed {
  void operator()(char* text) const { std::free(text); }
};

// The answer of a look-up; "null" for an out string that is null.
struct Found {
  int result;
  std::string first;
  std::string options;

  bool operator==(const Found&) const = default;
};

std::ostream& operator<<(std::ostream& stream, const Found& found) {
  return stream << found.result << " " << found.first << " " << found.options;
}

const Found nothing{0, "null", "null"};
const Found unreadable{-1, "null", "null"};

class MountTable : public LoadedPlugin {
 protected:
  using LookUp = int (*)(const char*, char**, char**);

  static Found ask(LookUp lookUp, const char* path) {
    char stale[] = "stale";
    char* first = stale;
    char* options = stale;
    const int result = lookUp(path, &first, &options);
    EXPECT_NE(stale, first);
    EXPECT_NE(stale, options);
    const std::unique_ptr<char, Freed> ownedFirst(first);
    const std::unique_ptr<char, Freed> ownedOptions(options);
    return {result, first != nullptr ? first : "null", options != nullptr ? options : "null"};
  }

  Found mountOf(const char* device) const { return ask(plugin.qmfs_getmnt, device); }
  Found subObjectOf(const char* mountPoint) const { return ask(plugin.qmfs_getsubobj, mountPoint); }
};

TEST_F(MountTable, FindsTheMountPointAndOptionsOfADevice) {
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a", "qmfs", "rw,log");
  EXPECT_EQ((Found{1, "/mnt/a", "rw,log"}), mountOf("/dev/qm/dsk/dg1/vol1"));
  EXPECT_EQ(nothing, mountOf("/dev/qm/dsk/dg1/vol2"));
}

TEST_F(MountTable, FindsTheDeviceAndOptionsOfAMountPoint) {
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a", "qmfs", "rw,log");
  EXPECT_EQ((Found{1, "/dev/qm/dsk/dg1/vol1", "rw,log"}), subObjectOf("/mnt/a"));
  EXPECT_EQ(nothing, subObjectOf("/mnt/b"));
  EXPECT_EQ(1, plugin.qmfs_check_claim("/mnt/a"));
  EXPECT_EQ(0, plugin.qmfs_check_claim("/mnt/b"));
}

TEST_F(MountTable, ComparesByteForByte) {
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a");
  for (const char* path : {"/mnt/a/", "/mnt//a", "/mnt/./a", "/MNT/A", "/mnt/", "/mnt/ab", "mnt/a", ""}) {
    EXPECT_EQ(nothing, subObjectOf(path)) << path;
    EXPECT_EQ(0, plugin.qmfs_check_claim(path)) << path;
  }
  for (const char* path : {"/dev/qm/dsk/dg1/vol1/", "/dev/qm/dsk/dg1/vol", "/dev/qm/dsk/dg1/vol11", ""}) {
    EXPECT_EQ(nothing, mountOf(path)) << path;
  }
}

TEST_F(MountTable, LooksForTheTypeOnlyAtMountPoints) {
  table.add("/dev/sda1", "/mnt/x", "xfs", "rw,noatime");
  EXPECT_EQ((Found{1, "/mnt/x", "rw,noatime"}), mountOf("/dev/sda1"));
  EXPECT_EQ(nothing, subObjectOf("/mnt/x"));
  EXPECT_EQ(0, plugin.qmfs_check_claim("/mnt/x"));
}

TEST_F(MountTable, TakesNoTypeThatMerelyBeginsTheSame) {
  for (const char* type : {"qmfs2", "qmf", "QMFS", "fuse.qmfs"}) {
    table.write("");
    table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a", type);
    EXPECT_EQ(0, plugin.qmfs_check_claim("/mnt/a")) << type;
    EXPECT_EQ(nothing, subObjectOf("/mnt/a")) << type;
  }
}

TEST_F(MountTable, ReportsTheFirstOfSeveralEntries) {
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a", "qmfs", "first");
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/b", "qmfs", "second");
  table.add("/dev/qm/dsk/dg1/vol2", "/mnt/a", "qmfs", "third");
  EXPECT_EQ((Found{1, "/mnt/a", "first"}), mountOf("/dev/qm/dsk/dg1/vol1"));
  EXPECT_EQ((Found{1, "/dev/qm/dsk/dg1/vol1", "first"}), subObjectOf("/mnt/a"));
}

TEST_F(MountTable, GoesPastAnEntryOfAnotherTypeOnTheSameMountPoint) {
  table.add("/dev/sda1", "/mnt/a", "xfs", "below");
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a", "qmfs", "above");
  EXPECT_EQ((Found{1, "/dev/qm/dsk/dg1/vol1", "above"}), subObjectOf("/mnt/a"));
  EXPECT_EQ(1, plugin.qmfs_check_claim("/mnt/a"));
}

TEST_F(MountTable, ThatCannotBeOpenedIsMinus1) {
  table.makeUnreadable();
  EXPECT_EQ(unreadable, mountOf("/dev/qm/dsk/dg1/vol1"));
  EXPECT_EQ(unreadable, subObjectOf("/mnt/a"));
  EXPECT_EQ(-1, plugin.qmfs_check_claim("/mnt/a"));
}

TEST_F(MountTable, IsOpenedAfreshForEveryLookUp) {
  EXPECT_EQ(0, plugin.qmfs_check_claim("/mnt/a"));
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a");
  EXPECT_EQ(1, plugin.qmfs_check_claim("/mnt/a"));
  table.write("");
  EXPECT_EQ(0, plugin.qmfs_check_claim("/mnt/a"));
}

TEST_F(MountTable, UnderstandsTheTablesEscapes) {
  table.write(
      "/dev/a\\040b /mnt/with\\040blank qmfs rw 0 0\n"
      "/dev/c\\134d /mnt/tab\\011feed\\012 qmfs rw 0 0\n");
  EXPECT_EQ((Found{1, "/mnt/with blank", "rw"}), mountOf("/dev/a b"));
  EXPECT_EQ((Found{1, "/dev/c\\d", "rw"}), subObjectOf("/mnt/tab\tfeed\n"));
  EXPECT_EQ(nothing, mountOf("/dev/a\\040b"));
}

TEST_F(MountTable, PassesOverWhatIsNoEntry) {
  table.write(
      "\n"
      "   \n"
      "# /dev/qm/dsk/dg1/vol1 /mnt/a qmfs comment 0 0\n"
      "  /dev/qm/dsk/dg1/vol1 \t /mnt/a  qmfs \trw   0 0\n");
  EXPECT_EQ((Found{1, "/mnt/a", "rw"}), mountOf("/dev/qm/dsk/dg1/vol1"));
  EXPECT_EQ((Found{1, "/dev/qm/dsk/dg1/vol1", "rw"}), subObjectOf("/mnt/a"));
}

TEST_F(MountTable, ReadsALastLineWithoutItsLineFeed) {
  table.write("/dev/qm/dsk/dg1/vol1 /mnt/a qmfs rw 0 0");
  EXPECT_EQ(1, plugin.qmfs_check_claim("/mnt/a"));
}

TEST_F(MountTable, ReadsLinesOfAnyLength) {
  std::string options = "rw";
  for (int i = 0; i < 20000; ++i) options += ",option" + std::to_string(i);
  const std::string mountPoint = "/mnt/" + std::string(50000, 'd');
  table.add("/dev/long", mountPoint, "qmfs", options);
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a");
  EXPECT_EQ((Found{1, mountPoint, options}), mountOf("/dev/long"));
  EXPECT_EQ((Found{1, "/dev/long", options}), subObjectOf(mountPoint.c_str()));
  EXPECT_EQ((Found{1, "/mnt/a", "rw"}), mountOf("/dev/qm/dsk/dg1/vol1"));
}

TEST_F(MountTable, FindsNothingForANullPath) {
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a");
  EXPECT_EQ(nothing, mountOf(nullptr));
  EXPECT_EQ(nothing, subObjectOf(nullptr));
  EXPECT_EQ(0, plugin.qmfs_check_claim(nullptr));
}

TEST_F(MountTable, StoresOnlyWhatThereIsAPlaceFor) {
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a", "qmfs", "rw");
  EXPECT_EQ(1, plugin.qmfs_getmnt("/dev/qm/dsk/dg1/vol1", nullptr, nullptr));
  EXPECT_EQ(1, plugin.qmfs_getsubobj("/mnt/a", nullptr, nullptr));
  char* options = nullptr;
  EXPECT_EQ(1, plugin.qmfs_getsubobj("/mnt/a", nullptr, &options));
  EXPECT_STREQ("rw", options);
  std::free(options);
}

TEST_F(MountTable, LeavesTheHelpersUsableBeforeTheStart) {
  EXPECT_EQ(0, plugin.qmfs_check_claim("/mnt/a"));
  EXPECT_FALSE(hasTraceLog());
}

TEST_F(MountTable, IdentifierIsAskedForWithoutTheTerminator) {
  qmfi_objid* object = nullptr;
  EXPECT_EQ(0, plugin.fipgn_get_objid("/mnt/a", &object));
  ASSERT_NE(nullptr, object);
  EXPECT_STREQ("/mnt/a", object->vid_name);
  EXPECT_EQ(6u, object->vid_length);
  EXPECT_EQ(1, object->vid_kind);
  EXPECT_THAT(importedCalls().identifierRequests(), ElementsAre(IdentifierRequest{"/mnt/a", 6, 1}));
  qmfi_objid* again = nullptr;
  EXPECT_EQ(0, plugin.fipgn_get_objid("/mnt/a", &again));
  EXPECT_EQ(object, again);
}

TEST_F(MountTable, IdentifierThatThereIsNotIs1) {
  importedCalls().failIdentifier("/mnt/a");
  qmfi_objid* object = nullptr;
  EXPECT_EQ(1, plugin.fipgn_get_objid("/mnt/a", &object));
  EXPECT_EQ(1, plugin.fipgn_get_objid("", &object));
  EXPECT_EQ(nullptr, object);
}

// The conversions of device names and the path list show in the resource operations.
class DeviceNames : public StartedPlugin {
 protected:
  // The command lines of bringing a device online on /mnt/a; the path list is checked and released.
  std::vector<std::string> broughtOnline(char* device) {
    char* devices[] = {device};
    char** paths = nullptr;
    int count = 0;
    EXPECT_EQ(0, plugin.online_resource(devices, 1, "/mnt/a"_text, nullptr, nullptr, nullptr, 0, &paths, &count));
    EXPECT_EQ(1, count);
    EXPECT_STREQ("/mnt/a", paths != nullptr ? paths[0] : nullptr);
    if (paths != nullptr) framework.qmfi_free_buf(paths[0], 7);
    std::free(paths);
    const auto commands = programs.commands();
    programs.forget();
    return commands;
  }

  // The device that is given to mkfs when that device is to be formatted.
  std::string formatted(char* device) {
    char* devices[] = {device};
    programs.answer("/sbin/mkfs", Answer().exits(1));
    EXPECT_EQ(6, plugin.format(devices, 1, nullptr, nullptr, nullptr, 1, nullptr, nullptr));
    const auto commands = programs.commands();
    programs.forget();
    EXPECT_EQ(1u, commands.size());
    const std::string lead = "/sbin/mkfs -t qmfs ";
    return commands.empty() ? "" : commands[0].substr(lead.size());
  }
};

TEST_F(DeviceNames, BlockBecomesRaw) {
  EXPECT_EQ("/dev/qm/rdsk/dg1/vol1", formatted("/dev/qm/dsk/dg1/vol1"_text));
}

TEST_F(DeviceNames, RawStaysRaw) {
  EXPECT_EQ("/dev/qm/rdsk/dg1/vol1", formatted("/dev/qm/rdsk/dg1/vol1"_text));
}

TEST_F(DeviceNames, OfOtherDirectoriesStayAsTheyAre) {
  EXPECT_EQ("/dev/sda1", formatted("/dev/sda1"_text));
  EXPECT_EQ("/dev/qm/x", formatted("/dev/qm/x"_text));
}

TEST_F(DeviceNames, LoseTheirFirstNineCharactersWhereverThePrefixStands) {
  // "/snap/dev" goes, the prefix that was found stays.
  EXPECT_EQ("/dev/qm/rd/qm/dsk/vol1", formatted("/snap/dev/qm/dsk/vol1"_text));
}

TEST_F(DeviceNames, RawBecomesBlock) {
  EXPECT_THAT(broughtOnline("/dev/qm/rdsk/dg1/vol1"_text),
              ElementsAre("/bin/mkdir -p /mnt/a", "/bin/mount -t qmfs /dev/qm/dsk/dg1/vol1 /mnt/a"));
}

TEST_F(DeviceNames, BlockStaysBlock) {
  EXPECT_THAT(broughtOnline("/dev/qm/dsk/dg1/vol1"_text),
              ElementsAre("/bin/mkdir -p /mnt/a", "/bin/mount -t qmfs /dev/qm/dsk/dg1/vol1 /mnt/a"));
}

// The mount status decides whether a failed unmount succeeded after all.
class MountStatus : public StartedPlugin {
 protected:
  void SetUp() override {
    StartedPlugin::SetUp();
    table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a");
    programs.remove("/opt/KRIB/bin/qmumount");
  }

  int unmount() { return plugin.online(nullptr, &node("/mnt/a"), 2, 0); }
};

TEST_F(MountStatus, OfAnotherTypeIsNotMounted) {
  table.write("/dev/sda1 /mnt/a xfs rw 0 0\n");
  EXPECT_EQ(0, unmount());
  EXPECT_THAT(programs.commands(), IsEmpty());
}

TEST_F(MountStatus, OfWhatIsGoneMakesAFailedUnmountASuccess) {
  programs.answer("/bin/umount", Answer().unmounts().exits(1));
  EXPECT_EQ(0, unmount());
  EXPECT_THAT(trace(), ::testing::Contains(traced(2, "unmountDevice - Device unmount was succesful")));
}

TEST_F(MountStatus, OfWhatIsStillMountedIsAFailure) {
  programs.answer("/bin/umount", Answer().exits(5));
  EXPECT_EQ(6, unmount());
  expectCaught(messages(), "MSG_ERROR_UNHANDLED_INT_EXCEPTION", "5");
}

}  // namespace

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
    EXPECT_NE(first, stale);
    EXPECT_NE(options, stale);
    const std::unique_ptr<char, Freed> ownedFirst(first);
    const std::unique_ptr<char, Freed> ownedOptions(options);
    return {result, first != nullptr ? first : "null", options != nullptr ? options : "null"};
  }

  Found mountOf(const char* device) const { return ask(plugin.qmfs_getmnt, device); }
  Found subObjectOf(const char* mountPoint) const { return ask(plugin.qmfs_getsubobj, mountPoint); }
};

TEST_F(MountTable, FindsTheMountPointAndOptionsOfADevice) {
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a", "qmfs", "rw,log");
  EXPECT_EQ(mountOf("/dev/qm/dsk/dg1/vol1"), (Found{1, "/mnt/a", "rw,log"}));
  EXPECT_EQ(mountOf("/dev/qm/dsk/dg1/vol2"), nothing);
}

TEST_F(MountTable, FindsTheDeviceAndOptionsOfAMountPoint) {
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a", "qmfs", "rw,log");
  EXPECT_EQ(subObjectOf("/mnt/a"), (Found{1, "/dev/qm/dsk/dg1/vol1", "rw,log"}));
  EXPECT_EQ(subObjectOf("/mnt/b"), nothing);
  EXPECT_EQ(plugin.qmfs_check_claim("/mnt/a"), 1);
  EXPECT_EQ(plugin.qmfs_check_claim("/mnt/b"), 0);
}

TEST_F(MountTable, ComparesByteForByte) {
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a");
  for (const char* path : {"/mnt/a/", "/mnt//a", "/mnt/./a", "/MNT/A", "/mnt/", "/mnt/ab", "mnt/a", ""}) {
    EXPECT_EQ(subObjectOf(path), nothing) << path;
    EXPECT_EQ(plugin.qmfs_check_claim(path), 0) << path;
  }
  for (const char* path : {"/dev/qm/dsk/dg1/vol1/", "/dev/qm/dsk/dg1/vol", "/dev/qm/dsk/dg1/vol11", ""}) {
    EXPECT_EQ(mountOf(path), nothing) << path;
  }
}

TEST_F(MountTable, LooksForTheTypeOnlyAtMountPoints) {
  table.add("/dev/sda1", "/mnt/x", "xfs", "rw,noatime");
  EXPECT_EQ(mountOf("/dev/sda1"), (Found{1, "/mnt/x", "rw,noatime"}));
  EXPECT_EQ(subObjectOf("/mnt/x"), nothing);
  EXPECT_EQ(plugin.qmfs_check_claim("/mnt/x"), 0);
}

TEST_F(MountTable, TakesNoTypeThatMerelyBeginsTheSame) {
  for (const char* type : {"qmfs2", "qmf", "QMFS", "fuse.qmfs"}) {
    table.write("");
    table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a", type);
    EXPECT_EQ(plugin.qmfs_check_claim("/mnt/a"), 0) << type;
    EXPECT_EQ(subObjectOf("/mnt/a"), nothing) << type;
  }
}

TEST_F(MountTable, ReportsTheFirstOfSeveralEntries) {
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a", "qmfs", "first");
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/b", "qmfs", "second");
  table.add("/dev/qm/dsk/dg1/vol2", "/mnt/a", "qmfs", "third");
  EXPECT_EQ(mountOf("/dev/qm/dsk/dg1/vol1"), (Found{1, "/mnt/a", "first"}));
  EXPECT_EQ(subObjectOf("/mnt/a"), (Found{1, "/dev/qm/dsk/dg1/vol1", "first"}));
}

TEST_F(MountTable, GoesPastAnEntryOfAnotherTypeOnTheSameMountPoint) {
  table.add("/dev/sda1", "/mnt/a", "xfs", "below");
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a", "qmfs", "above");
  EXPECT_EQ(subObjectOf("/mnt/a"), (Found{1, "/dev/qm/dsk/dg1/vol1", "above"}));
  EXPECT_EQ(plugin.qmfs_check_claim("/mnt/a"), 1);
}

TEST_F(MountTable, ThatCannotBeOpenedIsMinus1) {
  table.makeUnreadable();
  EXPECT_EQ(mountOf("/dev/qm/dsk/dg1/vol1"), unreadable);
  EXPECT_EQ(subObjectOf("/mnt/a"), unreadable);
  EXPECT_EQ(plugin.qmfs_check_claim("/mnt/a"), -1);
}

TEST_F(MountTable, IsOpenedAfreshForEveryLookUp) {
  EXPECT_EQ(plugin.qmfs_check_claim("/mnt/a"), 0);
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a");
  EXPECT_EQ(plugin.qmfs_check_claim("/mnt/a"), 1);
  table.write("");
  EXPECT_EQ(plugin.qmfs_check_claim("/mnt/a"), 0);
}

TEST_F(MountTable, UnderstandsTheTablesEscapes) {
  table.write(
      "/dev/a\\040b /mnt/with\\040blank qmfs rw 0 0\n"
      "/dev/c\\134d /mnt/tab\\011feed\\012 qmfs rw 0 0\n");
  EXPECT_EQ(mountOf("/dev/a b"), (Found{1, "/mnt/with blank", "rw"}));
  EXPECT_EQ(subObjectOf("/mnt/tab\tfeed\n"), (Found{1, "/dev/c\\d", "rw"}));
  EXPECT_EQ(mountOf("/dev/a\\040b"), nothing);
}

TEST_F(MountTable, PassesOverWhatIsNoEntry) {
  table.write(
      "\n"
      "   \n"
      "# /dev/qm/dsk/dg1/vol1 /mnt/a qmfs comment 0 0\n"
      "  /dev/qm/dsk/dg1/vol1 \t /mnt/a  qmfs \trw   0 0\n");
  EXPECT_EQ(mountOf("/dev/qm/dsk/dg1/vol1"), (Found{1, "/mnt/a", "rw"}));
  EXPECT_EQ(subObjectOf("/mnt/a"), (Found{1, "/dev/qm/dsk/dg1/vol1", "rw"}));
}

TEST_F(MountTable, ReadsALastLineWithoutItsLineFeed) {
  table.write("/dev/qm/dsk/dg1/vol1 /mnt/a qmfs rw 0 0");
  EXPECT_EQ(plugin.qmfs_check_claim("/mnt/a"), 1);
}

TEST_F(MountTable, ReadsLinesOfAnyLength) {
  std::string options = "rw";
  for (int i = 0; i < 20000; ++i) options += ",option" + std::to_string(i);
  const std::string mountPoint = "/mnt/" + std::string(50000, 'd');
  table.add("/dev/long", mountPoint, "qmfs", options);
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a");
  EXPECT_EQ(mountOf("/dev/long"), (Found{1, mountPoint, options}));
  EXPECT_EQ(subObjectOf(mountPoint.c_str()), (Found{1, "/dev/long", options}));
  EXPECT_EQ(mountOf("/dev/qm/dsk/dg1/vol1"), (Found{1, "/mnt/a", "rw"}));
}

TEST_F(MountTable, FindsNothingForANullPath) {
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a");
  EXPECT_EQ(mountOf(nullptr), nothing);
  EXPECT_EQ(subObjectOf(nullptr), nothing);
  EXPECT_EQ(plugin.qmfs_check_claim(nullptr), 0);
}

TEST_F(MountTable, StoresOnlyWhatThereIsAPlaceFor) {
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a", "qmfs", "rw");
  EXPECT_EQ(plugin.qmfs_getmnt("/dev/qm/dsk/dg1/vol1", nullptr, nullptr), 1);
  EXPECT_EQ(plugin.qmfs_getsubobj("/mnt/a", nullptr, nullptr), 1);
  char* options = nullptr;
  EXPECT_EQ(plugin.qmfs_getsubobj("/mnt/a", nullptr, &options), 1);
  EXPECT_STREQ(options, "rw");
  std::free(options);
}

TEST_F(MountTable, LeavesTheHelpersUsableBeforeTheStart) {
  EXPECT_EQ(plugin.qmfs_check_claim("/mnt/a"), 0);
  EXPECT_FALSE(hasTraceLog());
}

TEST_F(MountTable, IdentifierIsAskedForWithoutTheTerminator) {
  qmfi_objid* object = nullptr;
  EXPECT_EQ(plugin.fipgn_get_objid("/mnt/a", &object), 0);
  ASSERT_NE(object, nullptr);
  EXPECT_STREQ(object->vid_name, "/mnt/a");
  EXPECT_EQ(object->vid_length, 6u);
  EXPECT_EQ(object->vid_kind, 1);
  EXPECT_THAT(importedCalls().identifierRequests(), ElementsAre(IdentifierRequest{"/mnt/a", 6, 1}));
  qmfi_objid* again = nullptr;
  EXPECT_EQ(plugin.fipgn_get_objid("/mnt/a", &again), 0);
  EXPECT_EQ(again, object);
}

TEST_F(MountTable, IdentifierThatThereIsNotIs1) {
  importedCalls().failIdentifier("/mnt/a");
  qmfi_objid* object = nullptr;
  EXPECT_EQ(plugin.fipgn_get_objid("/mnt/a", &object), 1);
  EXPECT_EQ(plugin.fipgn_get_objid("", &object), 1);
  EXPECT_EQ(object, nullptr);
}

// The conversions of device names and the path list show in the resource operations.
class DeviceNames : public StartedPlugin {
 protected:
  // The command lines of bringing a device online on /mnt/a; the path list is checked and released.
  std::vector<std::string> broughtOnline(char* device) {
    char* devices[] = {device};
    char** paths = nullptr;
    int count = 0;
    EXPECT_EQ(plugin.online_resource(devices, 1, "/mnt/a"_text, nullptr, nullptr, nullptr, 0, &paths, &count), 0);
    EXPECT_EQ(count, 1);
    EXPECT_STREQ(paths != nullptr ? paths[0] : nullptr, "/mnt/a");
    if (paths != nullptr) framework.qmfi_free_buf(paths[0], 7);
    std::free(paths);
    auto commands = programs.commands();
    programs.forget();
    return commands;
  }

  // The device that is given to mkfs when that device is to be formatted.
  std::string formatted(char* device) {
    char* devices[] = {device};
    programs.answer("/sbin/mkfs", Answer().exits(1));
    EXPECT_EQ(plugin.format(devices, 1, nullptr, nullptr, nullptr, 1, nullptr, nullptr), 6);
    const auto commands = programs.commands();
    programs.forget();
    EXPECT_EQ(commands.size(), 1u);
    const std::string lead = "/sbin/mkfs -t qmfs ";
    return commands.empty() ? "" : commands[0].substr(lead.size());
  }
};

TEST_F(DeviceNames, BlockBecomesRaw) {
  EXPECT_EQ(formatted("/dev/qm/dsk/dg1/vol1"_text), "/dev/qm/rdsk/dg1/vol1");
}

TEST_F(DeviceNames, RawStaysRaw) {
  EXPECT_EQ(formatted("/dev/qm/rdsk/dg1/vol1"_text), "/dev/qm/rdsk/dg1/vol1");
}

TEST_F(DeviceNames, OfOtherDirectoriesStayAsTheyAre) {
  EXPECT_EQ(formatted("/dev/sda1"_text), "/dev/sda1");
  EXPECT_EQ(formatted("/dev/qm/x"_text), "/dev/qm/x");
}

TEST_F(DeviceNames, LoseTheirFirstNineCharactersWhereverThePrefixStands) {
  // "/snap/dev" goes, the prefix that was found stays.
  EXPECT_EQ(formatted("/snap/dev/qm/dsk/vol1"_text), "/dev/qm/rd/qm/dsk/vol1");
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
  EXPECT_EQ(unmount(), 0);
  EXPECT_THAT(programs.commands(), IsEmpty());
}

TEST_F(MountStatus, OfWhatIsGoneMakesAFailedUnmountASuccess) {
  programs.answer("/bin/umount", Answer().unmounts().exits(1));
  EXPECT_EQ(unmount(), 0);
  EXPECT_THAT(trace(), ::testing::Contains(traced(2, "unmountDevice - Device unmount was succesful")));
}

TEST_F(MountStatus, OfWhatIsStillMountedIsAFailure) {
  programs.answer("/bin/umount", Answer().exits(5));
  EXPECT_EQ(unmount(), 6);
  expectCaught(messages(), "MSG_ERROR_UNHANDLED_INT_EXCEPTION", "5");
}

}  // namespace

// Resources made, brought online, taken out of use and given back, and their logging mode switched.
// Volumes: "data" mounted on /mnt/data, "spare" not mounted.
#include <filesystem>

#include "provider_fixture.h"
#include "support/program_run.h"
#include "support/text_file.h"

namespace provider_test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::uint32_t disabled = 0x40;
constexpr int mountedElsewhere = 1088;

const std::string fsck = "/sbin/fsck -y -t qmfs  " + spare;
const std::string mkdir = "/bin/mkdir -p  " + spareMount;

class Resource : public ProviderTest {
 protected:
  // Makes a file system with one file in it that a mount refuses until it has been checked.
  void makeDirtySpare() {
    formatSpare();
    mountSpare();
    writeFile(spareMount + "/file", "kept");
    program({"/bin/umount", spareMount});
    program({"/opt/KRIBqmfs/sbin/markdirty", spare});
    ASSERT_NE(testbed_test::run({"/bin/mount", "-t", "qmfs", spare, spareMount}).status, 0);
  }
};

TEST_F(Resource, AFileSystemKeepsItsDataThroughTheWholeOfItsLife) {
  char* devices[] = {readOnly(spare.c_str())};
  EXPECT_EQ(plugin.call().format(devices, 1, nullptr, readOnly("qmfs"), nullptr, 1, nullptr, nullptr), 0);
  EXPECT_EQ(demo::lastingDifference(before), "") << "format leaves something behind";
  EXPECT_EQ(plugin.commands().front(), "/sbin/mkfs -t qmfs  /dev/qm/rdsk/dg1/spare");

  EXPECT_EQ(onlineResource(spare, spareMount.c_str(), "mountOptions=rw,delaylog"), 0);
  EXPECT_EQ(onlinePath, spareMount);
  EXPECT_EQ(optionsOf(spareMount), "rw,delaylog");
  const std::string text(1 << 20, 'x');
  writeFile(spareMount + "/file", text);

  kfi_domain& node = plugin.initialisedNode(spareMount);
  EXPECT_EQ(disableAccess(node), 0);
  EXPECT_EQ(optionsOf(spareMount), std::nullopt);
  EXPECT_EQ(node.fid_attr & disabled, disabled);
  EXPECT_FALSE(std::filesystem::exists(spareMount + "/file"));

  plugin.commands();
  EXPECT_EQ(enableAccess(node, spare), 0);
  EXPECT_THAT(plugin.commands(),
              ElementsAre(mkdir, fsck, "/bin/mount -t qmfs  -o rw,delaylog " + spare + " " + spareMount));
  EXPECT_EQ(optionsOf(spareMount), "rw,delaylog");
  EXPECT_EQ(node.fid_attr & disabled, 0u);
  EXPECT_EQ(textOf(spareMount + "/file"), text);
  EXPECT_EQ(disableAccess(node), 0);
}

TEST_F(Resource, TheOptionStringDecidesOnTheOptionsOfTheMount) {
  struct Case {
    const char* given;
    std::string mounted;
  };
  formatSpare();
  for (const auto& [given, mounted] :
       {Case{"mountOptions=ro,log", "ro,log"}, Case{nullptr, "rw"}, Case{"label=x", "rw,mincache=closesync"}}) {
    EXPECT_EQ(onlineResource(spare, spareMount.c_str(), given), 0);
    EXPECT_EQ(optionsOf(spareMount), mounted);
    program({"/bin/umount", spareMount});
  }
}

TEST_F(Resource, WithoutAMountPointItIsMountedOnItsOwnNameInTheRoot) {
  formatSpare();
  EXPECT_EQ(onlineResource(spare, nullptr, nullptr), 0);
  EXPECT_EQ(onlinePath, "/spare");
  EXPECT_EQ(optionsOf("/spare"), "rw");
  EXPECT_EQ(onlineResource(spare, nullptr, nullptr), 0) << "said again, it is found where it is";
  EXPECT_EQ(onlinePath, "/spare");
  program({"/bin/umount", "/spare"});
  std::filesystem::remove("/spare");
}

TEST_F(Resource, EnableChecksADirtyFileSystemBeforeItMounts) {
  makeDirtySpare();
  kfi_domain& node = plugin.node(spareMount);
  ASSERT_EQ(plugin.storeState(node, "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>" + spare + "</SUBOBJ>\n"), 0);
  node.fid_attr = disabled;
  plugin.commands();
  EXPECT_EQ(enableAccess(node, spare), 0);
  EXPECT_THAT(plugin.commands(), ElementsAre(mkdir, fsck, "/bin/mount -t qmfs  -o rw " + spare + " " + spareMount));
  EXPECT_EQ(textOf(spareMount + "/file"), "kept");
  EXPECT_EQ(disableAccess(node), 0);
}

TEST_F(Resource, ADirtyFileSystemComesOnlineAtTheSecondAttemptAfterOneCheck) {
  makeDirtySpare();
  const std::string mount = "/bin/mount -t qmfs  -o rw " + spare + " " + spareMount;
  plugin.commands();
  EXPECT_EQ(onlineResource(spare, spareMount.c_str(), "mountOptions=rw"), 0);
  EXPECT_THAT(plugin.commands(), ElementsAre(mkdir, mount, fsck, mount));
  EXPECT_EQ(onlinePath, spareMount);
  EXPECT_EQ(textOf(spareMount + "/file"), "kept");
  program({"/bin/umount", spareMount});
}

TEST_F(Resource, ADeviceThatIsMountedElsewhereIsLeftAlone) {
  kfi_domain& node = plugin.node("/mnt/other");
  ASSERT_EQ(plugin.storeState(node, "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>" + data + "</SUBOBJ>\n"), 0);
  plugin.commands();
  constexpr int bringOnline = 1;
  EXPECT_EQ(plugin.call().online(nullptr, &node, bringOnline, 0), mountedElsewhere);
  EXPECT_EQ(onlineResource(data, "/mnt/other", nullptr), mountedElsewhere);
  EXPECT_EQ(onlinePath, std::nullopt);
  node.fid_attr = disabled;
  EXPECT_EQ(enableAccess(node, data), mountedElsewhere);
  EXPECT_EQ(node.fid_attr, disabled);
  EXPECT_THAT(plugin.commands(), IsEmpty());
  EXPECT_EQ(demo::lastingDifference(before), "");
}

TEST_F(Resource, TheLoggingModeIsSwitchedByARemountOfTheMountedFileSystem) {
  formatSpare();
  mountSpare();
  kfi_domain& node = plugin.initialisedNode(spareMount);
  plugin.call().cache_enable(&node);
  EXPECT_EQ(optionsOf(spareMount), "rw,log,mincache=closesync");
  EXPECT_EQ(plugin.call().cache_disable(&node), 0);
  EXPECT_EQ(optionsOf(spareMount), "rw,delaylog");
  EXPECT_EQ(disableAccess(node), 0);
}

TEST_F(Resource, DevicesAndMountPointsAreRecognised) {
  struct Case {
    std::string device;
    int parent;
  };
  program({"/bin/dd", "if=/dev/zero", "of=" + spare, "bs=1M", "count=1", "conv=notrunc", "status=none"});
  for (const auto& [device, parent] :
       {Case{data, 1}, Case{" " + data + " ", 1}, Case{spare, 0}, Case{"/dev/loop-control", 0}}) {
    int found = -1;
    EXPECT_EQ(plugin.call().is_parent_pgn(readOnly(device.c_str()), &found, 0), 0);
    EXPECT_EQ(found, parent) << device;
  }
  for (const auto& [mountPoint, exists] : {std::pair<std::string, int>{dataMount, 1}, {"/mnt", 0}, {spareMount, 0}}) {
    qmfi_objid** groups = nullptr;
    int count = 0;
    EXPECT_EQ(plugin.call().claim(plugin.object(mountPoint), &groups, &count), exists) << mountPoint;
    int found = -1;
    EXPECT_EQ(plugin.call().check_node_existence(&plugin.node(mountPoint), &found), 0);
    EXPECT_EQ(found, exists) << mountPoint;
  }
}

TEST_F(Resource, TheStateOfAMountedNodeMakesAnotherOneLikeIt) {
  const std::string state = plugin.fetchState(plugin.initialisedNode(dataMount));
  EXPECT_EQ(state, "<MNT_OPTS>" + optionsOf(dataMount).value_or("") + "</MNT_OPTS>\n<SUBOBJ>" + data + "</SUBOBJ>\n");
  kfi_domain& other = plugin.node("/mnt/other");
  EXPECT_EQ(plugin.storeState(other, state), 0);
  EXPECT_EQ(plugin.fetchState(other), state);
}

}  // namespace
}  // namespace provider_test

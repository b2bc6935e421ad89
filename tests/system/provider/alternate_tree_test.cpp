// A snapshot of a mounted volume made visible as an alternate tree, and taken down.
// Volumes: "data" mounted on /mnt/data, "spare" not mounted.
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "provider_fixture.h"
#include "snapshot_file.h"
#include "support/text_file.h"

namespace provider_test {
namespace {

using testing::ElementsAre;
using testing::MatchesRegex;

class AlternateTree : public ProviderTest {
 protected:
  int build(kfi_domain& domain, qmfi_objid** alternate) {
    qmfi_objid* snapshots[] = {plugin.object(spare)};
    return plugin.call().build_alttree(&domain, readOnly("fiid"), nullptr, snapshots, 1, alternate);
  }

  // The error number of an attempt to make a file; 0 when it can be made.
  static int makingFails(const std::string& path) {
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    if (file < 0) return errno;
    close(file);
    return 0;
  }
};

TEST_F(AlternateTree, ShowsTheVolumeAsItWasWhenItWasFrozen) {
  kfi_domain& primary = plugin.initialisedNode(dataMount);
  writeFile(dataMount + "/file", "before");
  ASSERT_EQ(cloneFrozen(plugin, primary, "data", "spare"), 0);
  writeFile(dataMount + "/file", "after");

  qmfi_objid* alternate = nullptr;
  ASSERT_EQ(build(primary, &alternate), 0);
  const std::string path = alternate->vid_name;
  EXPECT_THAT(path, MatchesRegex("/mnt/data_alt[0-9]{14}"));
  EXPECT_EQ(optionsOf(path), "ro");
  EXPECT_EQ(textOf(path + "/file"), "before");
  EXPECT_EQ(textOf(dataMount + "/file"), "after");
  EXPECT_EQ(makingFails(path + "/new"), EROFS);

  kfi_domain& node = plugin.node(path);
  ASSERT_EQ(plugin.call().init_altnode(&primary, nullptr, &node), 0);
  EXPECT_EQ(plugin.fetchState(node), "<MNT_OPTS>ro</MNT_OPTS>\n<SUBOBJ>" + spare + "</SUBOBJ>\n");
  EXPECT_EQ(plugin.call().deport_tree(&primary, &node, nullptr), 0);
  EXPECT_FALSE(std::filesystem::exists(path));
  EXPECT_EQ(plugin.call().deport_tree(&primary, &node, nullptr), 0) << "it is not mounted any more";
  std::filesystem::remove(dataMount + "/file");
}

TEST_F(AlternateTree, IsMountedWhereTheFrameworkWantsIt) {
  kfi_domain& primary = plugin.initialisedNode(dataMount);
  ASSERT_EQ(cloneFrozen(plugin, primary, "data", "spare"), 0);
  plugin.commands();
  kfi_subobj_entry entries[] = {{readOnly("/mnt/data"), readOnly("/mnt/alternate")}, {}};
  primary.fid_subobjs = entries;

  qmfi_objid* alternate = nullptr;
  ASSERT_EQ(build(primary, &alternate), 0);
  EXPECT_STREQ(alternate->vid_name, "/mnt/alternate");
  EXPECT_THAT(plugin.commands(),
              ElementsAre("/bin/mkdir -p  /mnt/alternate", "/bin/mount -t qmfs  -o ro " + spare + " /mnt/alternate"));
  EXPECT_EQ(makingFails("/mnt/alternate/new"), EROFS);
  EXPECT_EQ(plugin.call().deport_tree(&primary, &plugin.node("/mnt/alternate"), nullptr), 0);
  EXPECT_FALSE(std::filesystem::exists("/mnt/alternate"));
  primary.fid_subobjs = nullptr;
}

}  // namespace
}  // namespace provider_test

// Freezing file systems together or one by one, and thawing them.
#include "plugin_fixture.h"

namespace {

using ::testing::ElementsAre;

class Quiesce : public StartedPlugin {
 protected:
  // The quiesce node of a mounted file system.
  kfi_quiescenode* mounted(const std::string& name) {
    const std::string path = makeDirectory(name);
    table.add("/dev/qm/dsk/dg1/" + name, path);
    return initialisedNode(path).fid_qnode;
  }
};

TEST_F(Quiesce, FreezesAllFileSystemsWithOneRequest) {
  kfi_quiescenode* nodes[] = {mounted("a"), mounted("b")};
  forget();
  const std::string a = nodes[0]->kqn_node->fid_name;
  const std::string b = nodes[1]->kqn_node->fid_name;
  EXPECT_EQ(0, plugin.quiesce(nullptr, nodes, 2, nullptr));
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll({a, b}, 2)));
  plugin.unquiesce(nullptr, nodes, 2);
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll({a, b}, 2), thaw(a), thaw(b)));
  EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close"));
  EXPECT_THAT(trace(),
              ElementsAre(TraceRecord{3, "CQmFSPlugin::quiesce - freezeTimeout = 2"},
                          TraceRecord{6, "CQmFSPlugin::quiesce : Calling qmfi_create_context for split operations"},
                          TraceRecord{6, "CQmFSPlugin::qmFreezeAll : calling ioctl QM_FREEZE_ALL"},
                          TraceRecord{6, "CQmFSPlugin::unquiesce : calling ioctl QM_THAW"},
                          TraceRecord{6, "CQmFSPlugin::unquiesce : calling ioctl QM_THAW"},
                          TraceRecord{6, "CQmFSPlugin::unquiesce : calling close_context"}));
}

TEST_F(Quiesce, OpenFailurePushesMessage) {
  kfi_quiescenode* nodes[] = {mounted("a"), mounted("b")};
  forget();
  std::filesystem::remove(nodes[0]->kqn_node->fid_name);
  EXPECT_EQ(6, plugin.quiesce(nullptr, nodes, 2, nullptr));
  const auto pushed = messages();
  ASSERT_EQ(1u, pushed.size());
  EXPECT_EQ("MSG_ERROR_FILE_OPEN_FOR_QUIESCE", pushed[0].id);
  EXPECT_EQ(nodes[0]->kqn_node->fid_name, pushed[0].arguments);
}

}  // namespace

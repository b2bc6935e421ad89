// A file system's logging mode switched by a remount.
#include "operations_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string DEVICE = "/dev/qm/dsk/dg1/vol1";

class Cache : public OperationsTest {};

TEST_F(Cache, EnableRemountsWithTheSafeLog) {
  plugin.cache_enable(&mountedNode("/data", DEVICE));
  EXPECT_THAT(programs.commands(),
              ElementsAre("/bin/mount -t qmfs -o remount,log,mincache=closesync " + DEVICE + " /data"));
  EXPECT_THAT(trace(), ElementsAre(traced(3, "Child is : " + DEVICE),
                                   traced(3, "Command : /bin/mount -t qmfs -o remount,log,mincache=closesync " +
                                                 DEVICE + " /data")));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Cache, DisableRemountsWithTheDelayedLog) {
  EXPECT_EQ(plugin.cache_disable(&mountedNode("/data", DEVICE)), 0);
  EXPECT_THAT(programs.commands(), ElementsAre("/bin/mount -t qmfs -o remount,delaylog " + DEVICE + " /data"));
  EXPECT_THAT(trace(), ElementsAre(traced(3, "Child is : " + DEVICE),
                                   traced(3, "Command : /bin/mount -t qmfs -o remount,delaylog " + DEVICE + " /data")));
}

TEST_F(Cache, ARemountThatFailsIsAnError) {
  kfi_domain& node = mountedNode("/data", DEVICE);
  programs.answer("/bin/mount", Answer().complains("read-only").exits(32));
  EXPECT_EQ(plugin.cache_disable(&node), 6);
  const std::string disable = "/bin/mount -t qmfs -o remount,delaylog " + DEVICE + " /data";
  EXPECT_EQ(trace().back(), traced(1, "command '" + disable + "' failed with message 'read-only'."));
  expectExecPipeMessage("KFI_EXEC_PIPE_CMD_FAILED", "read-only");
  plugin.cache_enable(&node);
  const std::string enable = "/bin/mount -t qmfs -o remount,log,mincache=closesync " + DEVICE + " /data";
  EXPECT_EQ(trace().back(), traced(1, "command '" + enable + "' failed with message 'read-only'."));
  expectExecPipeMessage("KFI_EXEC_PIPE_CMD_FAILED", "read-only");
}

TEST_F(Cache, IsInvalidWithoutNodePrivateDataOrSubObject) {
  kfi_domain nameless{};
  kfi_domain& withoutSubObject = node("/data");
  ASSERT_EQ(plugin.init_node(&withoutSubObject, nullptr, 0, nullptr), 0);
  forget();
  for (kfi_domain* const invalid : {static_cast<kfi_domain*>(nullptr), &nameless, &node("/new"), &withoutSubObject}) {
    EXPECT_EQ(plugin.cache_disable(invalid), 3);
    plugin.cache_enable(invalid);
  }
  EXPECT_THAT(trace(), IsEmpty());
  expectNothingDone();
}

TEST_F(Cache, RefusesNamesThatACommandCannotCarry) {
  for (const std::string& path : UNUSABLE_PATHS) {
    const TraceRecords refused = {{3, "Child is : " + DEVICE}, {4, "Not a valid mount point path [" + path + "]"}};
    EXPECT_EQ(plugin.cache_disable(&restoredNode(path, DEVICE)), 3);
    EXPECT_EQ(trace(), refused);
    plugin.cache_enable(&restoredNode(path, DEVICE));
    EXPECT_EQ(trace(), refused);
  }
  EXPECT_EQ(plugin.cache_disable(&restoredNode("/data", "/dev/with blank")), 3);
  EXPECT_THAT(refusals(), ElementsAre("Not a valid device path [/dev/with blank]"));
  expectNothingDone();
}

}  // namespace

// The alternate tree taken down.
#include "operations_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

const std::string DEVICE = "/dev/qm/dsk/dg1/snap1";

class Deport : public OperationsTest {
 protected:
  int deport(kfi_domain* alternate, kfi_accessnode* access = nullptr) {
    return plugin.deport_tree(&node("/data"), alternate, access);
  }
};

TraceRecord checked(const std::string& path) {
  return {6, "Calling qmfs_check_claim on :" + path};
}

TraceRecords unmounted(const std::string& path) {
  return {checked(path),
          {6, "CQmFSPlugin::QmFSUmount calling qmfs_getsubobj for node : " + path},
          {6, "Searching for umount cmd : /opt/KRIB/bin/qmumount"},
          {3, "Found umount cmd : /opt/KRIB/bin/qmumount"},
          {3, "Command : /opt/KRIB/bin/qmumount -o force  " + path},
          {6, "executeCommand - Command : /opt/KRIB/bin/qmumount -o force  " + path}};
}

TEST_F(Deport, UnmountsByForceAndRemovesTheMountPoint) {
  // That the directory exists is not asked for.
  table.add(DEVICE, "/data_alt", "qmfs", "ro");
  EXPECT_EQ(deport(&node("/data_alt")), 0);
  EXPECT_THAT(programs.commands(), ElementsAre("/opt/KRIB/bin/qmumount -o force /data_alt", "/bin/rmdir /data_alt"));
  EXPECT_THAT(trace(),
              ElementsAreArray(joined(unmounted("/data_alt"), TraceRecords{{3, "Command : /bin/rmdir  /data_alt"}})));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Deport, TakesDownWhenTheAccessNodeAsksForIt) {
  for (const std::uint32_t access : {1u, 0x80000000u}) {
    table.write("");
    table.add(DEVICE, "/data_alt");
    programs.forget();
    kfi_accessnode record{};
    record.kan_access = access;
    EXPECT_EQ(deport(&node("/data_alt"), &record), 0);
    EXPECT_EQ(programs.commands().size(), 2u);
  }
}

TEST_F(Deport, DoesNothingWhenNoAccessIsToBeTakenDown) {
  table.add(DEVICE, "/data_alt");
  kfi_accessnode record{};
  EXPECT_EQ(deport(&node("/data_alt"), &record), 0);
  EXPECT_EQ(plugin.deport_tree(nullptr, nullptr, &record), 0);
  EXPECT_THAT(trace(), IsEmpty());
  expectNothingDone();
}

TEST_F(Deport, ATreeWhoseImportFailedSucceedsWithAWarning) {
  EXPECT_EQ(deport(nullptr), 0);
  EXPECT_THAT(trace(), ElementsAre(traced(2,
                                          "CQmFSPlugin::deportTree: found empty alt node for /data, assuming "
                                          "import failed")));
  expectNothingDone();
}

TEST_F(Deport, ATreeWhoseImportFailedSucceedsWhateverThePrimaryIs) {
  kfi_domain withoutIdentifier{};
  qmfi_objid nameless{};
  kfi_domain withoutName{};
  withoutName.fid_objid = &nameless;
  kfi_accessnode access{};
  access.kan_access = 1;
  for (kfi_domain* const primary : {static_cast<kfi_domain*>(nullptr), &withoutIdentifier, &withoutName}) {
    for (kfi_accessnode* const record : {static_cast<kfi_accessnode*>(nullptr), &access}) {
      forget();
      EXPECT_EQ(plugin.deport_tree(primary, nullptr, record), 0);
      EXPECT_THAT(trace(),
                  ElementsAre(traced(2, "CQmFSPlugin::deportTree: found empty alt node for , assuming import failed")));
      expectNothingDone();
    }
  }
}

TEST_F(Deport, IsInvalidWithoutTheAlternateNodesName) {
  kfi_domain nameless{};
  EXPECT_EQ(deport(&nameless), 3);
  EXPECT_THAT(trace(), IsEmpty());
  expectNothingDone();
}

TEST_F(Deport, NeedsNoPrimaryNodeForAnAlternateOne) {
  table.add(DEVICE, "/data_alt");
  EXPECT_EQ(plugin.deport_tree(nullptr, &node("/data_alt"), nullptr), 0);
  EXPECT_EQ(programs.commands().size(), 2u);
}

TEST_F(Deport, DoesNothingWhereNothingOfTheTypeIsMounted) {
  table.add(DEVICE, "/data_alt", "xfs");
  table.add(DEVICE, "/data_alt2");
  EXPECT_EQ(deport(&node("/data_alt")), 0);
  EXPECT_THAT(trace(), ElementsAre(checked("/data_alt")));
  expectNothingDone();
}

TEST_F(Deport, FailsWhenTheMountTableCannotBeRead) {
  table.makeUnreadable();
  EXPECT_EQ(deport(&node("/data_alt")), 6);
  EXPECT_THAT(trace(), ElementsAre(checked("/data_alt"), traced(1, "Mount point entry lookup failed")));
  expectNothingDone();
}

TEST_F(Deport, ReturnsTheResultOfAnUnmountThatStaysBusyAndKeepsTheMountPoint) {
  table.add(DEVICE, "/data_alt");
  programs.answer("/opt/KRIB/bin/qmumount", Answer().complains("target is busy").exits(1));
  EXPECT_EQ(deport(&node("/data_alt")), 32);
  EXPECT_EQ(trace().back(), traced(1, "Umount failed for /data_alt"));
  EXPECT_THAT(programs.commands(), ::testing::Each("/opt/KRIB/bin/qmumount -o force /data_alt"));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Deport, AnUnmountThatThrowsEndsIt) {
  table.add(DEVICE, "/data_alt");
  programs.answer("/opt/KRIB/bin/qmumount", Answer().complains("not permitted").exits(7));
  EXPECT_EQ(deport(&node("/data_alt")), 6);
  expectExitStatusMessage(7);
  EXPECT_THAT(programs.commands(), ElementsAre("/opt/KRIB/bin/qmumount -o force /data_alt"));
}

TEST_F(Deport, AMountPointThatCannotBeRemovedIsAnErrorAfterTheUnmount) {
  table.add(DEVICE, "/data_alt");
  programs.answer("/bin/rmdir", Answer().complains("no such directory").exits(1));
  EXPECT_EQ(deport(&node("/data_alt")), 6);
  EXPECT_THAT(trace(),
              ElementsAreArray(joined(
                  unmounted("/data_alt"),
                  TraceRecords{{3, "Command : /bin/rmdir  /data_alt"},
                               {1, "command '/bin/rmdir  /data_alt' failed with message 'no such directory'."}})));
  expectExecPipeMessage("KFI_EXEC_PIPE_CMD_FAILED", "no such directory");
}

TEST_F(Deport, RefusesAMountPointThatACommandCannotCarry) {
  for (const auto& [path, written] :
       {std::pair("/with blank", "/with\\040blank"), std::pair("/with\ttab", "/with\\011tab"),
        std::pair("/with\nfeed", "/with\\012feed")}) {
    table.write("");
    table.add(DEVICE, written);
    forget();
    EXPECT_EQ(deport(&node(path)), 3) << path;
    EXPECT_THAT(trace(),
                ElementsAre(checked(path), traced(4, std::string("Not a valid mount point path [") + path + "]")));
    expectNothingDone();
  }
}

}  // namespace

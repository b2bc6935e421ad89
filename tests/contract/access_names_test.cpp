// Lists of nodes of which some have names that a command cannot carry: each is refused when its turn comes.
#include "access_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using AccessNames = Access;

// Disable.

TEST_F(AccessNames, DisableRefusesAMountPointThatACommandCannotCarry) {
  table.add("/dev/a", "/with\\040blank");
  kfi_domain& node = add(restoredNode("/with blank", "/dev/a"), "/dev/a");
  EXPECT_EQ(disable(), 3);
  EXPECT_THAT(trace(), ElementsAre(traced(6, "CQmFSPlugin::QmFSUmount calling qmfs_getsubobj for node : /with blank"),
                                   traced(4, "Not a valid mount point path [/with blank]"),
                                   traced(1, "Umount failed for /with blank")));
  EXPECT_EQ(node.fid_attr, 0u);
  expectNothingDone();
}

TEST_F(AccessNames, DisableUnmountsWhatStandsBeforeANameThatItRefusesAndNothingBehindIt) {
  kfi_domain& first = addMounted("/a", "/dev/a");
  table.add("/dev/b", "/with\\040blank");
  kfi_domain& second = add(restoredNode("/with blank", "/dev/b"), "/dev/b");
  kfi_domain& third = addMounted("/c", "/dev/c");
  EXPECT_EQ(disable(), 3);
  EXPECT_EQ(first.fid_attr, disabledBit | otherBits);
  EXPECT_EQ(second.fid_attr, 0u);
  EXPECT_EQ(third.fid_attr, otherBits);
  EXPECT_THAT(programs.commands(), ElementsAre("/bin/umount /a"));
  EXPECT_THAT(refusals(), ElementsAre("Not a valid mount point path [/with blank]"));
}

TEST_F(AccessNames, DisableGivesTheAnswerOfAnUnmountThatFailsBeforeTheNameIsReached) {
  kfi_domain& first = addMounted("/a", "/dev/a");
  table.add("/dev/b", "/with\\040blank");
  add(restoredNode("/with blank", "/dev/b"), "/dev/b");
  programs.answer("/bin/umount", Answer().complains("busy").exits(1));
  EXPECT_EQ(disable(), 32);
  EXPECT_EQ(first.fid_attr, otherBits);
  EXPECT_THAT(refusals(), IsEmpty());
}

TEST_F(AccessNames, DisableMarksANodeThatIsNotMountedWhateverItsName) {
  kfi_domain& first = addMounted("/a", "/dev/a");
  kfi_domain& second = add(restoredNode("/with blank", "/dev/b"), "/dev/b");
  EXPECT_EQ(disable(), 0);
  EXPECT_EQ(first.fid_attr, disabledBit | otherBits);
  EXPECT_EQ(second.fid_attr, disabledBit);
  EXPECT_THAT(programs.commands(), ElementsAre("/bin/umount /a"));
}

TEST_F(AccessNames, DisableSaysThatTheMountTableCannotBeReadBeforeItRefusesAName) {
  addMounted("/a", "/dev/a");
  add(restoredNode("/with blank", "/dev/b"), "/dev/b");
  table.makeUnreadable();
  EXPECT_EQ(disable(), 6);
  expectNothingDone();
}

// Enable.

TEST_F(AccessNames, EnableRefusesNamesThatACommandCannotCarry) {
  for (const std::string& path : UNUSABLE_PATHS) {
    clear();
    kfi_domain& node = addDisabled(path, "/dev/a");
    kfi_node_subobj_list& added = element(0);
    forget();
    EXPECT_EQ(enable(), 3) << "mount point " << path;
    EXPECT_THAT(trace(), ElementsAre(traced(6, "Calling qmfs_getmnt for : /dev/a"),
                                     traced(4, "Not a valid mount point path [" + path + "]")));
    added.subobjs->kso_objid = object(path);
    added.kns_node = &restoredNode("/usable", "/dev/a");
    added.kns_node->fid_attr = disabledBit;
    EXPECT_EQ(enable(), 3) << "device " << path;
    EXPECT_THAT(trace(), ElementsAre(traced(6, "Calling qmfs_getmnt for : " + path),
                                     traced(4, "Not a valid device path [" + path + "]")));
    EXPECT_EQ(node.fid_attr, disabledBit | otherBits);
    expectNothingDone();
  }
}

TEST_F(AccessNames, EnableMountsWhatStandsBeforeANameThatItRefusesAndNothingBehindIt) {
  kfi_domain& first = addDisabled("/a", "/dev/a");
  kfi_domain& second = addDisabled("/b", "/dev/b");
  kfi_domain& third = addDisabled("/c", "/dev/c");
  for (const auto& [mountPoint, device, refusal] :
       {std::tuple("/with blank", "/dev/b", "Not a valid mount point path [/with blank]"),
        std::tuple("/b", "/dev/with blank", "Not a valid device path [/dev/with blank]")}) {
    first.fid_attr |= disabledBit;
    second.fid_objid = object(mountPoint);
    element(1).subobjs->kso_objid = object(device);
    forget();
    EXPECT_EQ(enable(), 3) << mountPoint;
    EXPECT_EQ(first.fid_attr, otherBits);
    EXPECT_EQ(second.fid_attr, disabledBit | otherBits);
    EXPECT_EQ(third.fid_attr, disabledBit | otherBits);
    EXPECT_THAT(programs.commands(),
                ElementsAre("/bin/mkdir -p /a", "/sbin/fsck -y -t qmfs /dev/a", "/bin/mount -t qmfs -o rw /dev/a /a"));
    EXPECT_THAT(refusals(), ElementsAre(refusal));
  }
}

TEST_F(AccessNames, EnableGivesTheAnswerOfANodeThatEndsTheWalkBeforeTheNameIsReached) {
  addDisabled("/a", "/dev/a");
  addDisabled("/with blank", "/dev/b");
  table.add("/dev/a", "/a");
  EXPECT_EQ(enable(), 0);
  table.write("");
  table.add("/dev/a", "/elsewhere");
  EXPECT_EQ(enable(), 1088);
  table.makeUnreadable();
  EXPECT_EQ(enable(), 6);
  expectNothingDone();
}

TEST_F(AccessNames, EnableRefusesADeviceWithAnEmptyName) {
  qmfi_objid emptyName{""_text, 0, 1};
  kfi_domain& node = addDisabled("/a", "/dev/a");
  element(0).subobjs->kso_objid = &emptyName;
  EXPECT_EQ(enable(), 3);
  EXPECT_THAT(trace(), ElementsAre(traced(6, "Calling qmfs_getmnt for : "), traced(4, "Not a valid device path []")));
  EXPECT_EQ(node.fid_attr, disabledBit | otherBits);
  expectNothingDone();
}

}  // namespace

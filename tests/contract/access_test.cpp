// Nodes taken out of use and given back.
#include "access_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;
using ::testing::IsEmpty;

// Disable.

TraceRecords unmounted(const std::string& path) {
  return {{6, "CQmFSPlugin::QmFSUmount calling qmfs_getsubobj for node : " + path},
          {3, "Command : /bin/umount  " + path},
          {6, "executeCommand - Command : /bin/umount  " + path}};
}

TEST_F(Access, DisableUnmountsInListOrderAndMarksTheNodes) {
  kfi_domain& first = addMounted("/b", "/dev/b");
  kfi_domain& second = addMounted("/a", "/dev/a");
  EXPECT_EQ(disable(), 0);
  EXPECT_THAT(programs.commands(), ElementsAre("/bin/umount /b", "/bin/umount /a"));
  EXPECT_THAT(trace(), ElementsAreArray(joined(unmounted("/b"), unmounted("/a"))));
  EXPECT_EQ(first.fid_attr, disabledBit | otherBits);
  EXPECT_EQ(second.fid_attr, disabledBit | otherBits);
}

TEST_F(Access, DisableUnmountsByForceOnlyWhenBitFourAsksForIt) {
  const std::vector<std::pair<long, std::string>> cases = {{0x10, "/opt/KRIB/bin/qmumount -o force /a"},
                                                           {0x1f, "/opt/KRIB/bin/qmumount -o force /a"},
                                                           {0xf, "/bin/umount /a"},
                                                           {0x20, "/bin/umount /a"}};
  kfi_domain& node = addMounted("/a", "/dev/a");
  for (const auto& [flags, command] : cases) {
    node.fid_attr = 0;
    programs.forget();
    EXPECT_EQ(disable(flags), 0);
    EXPECT_THAT(programs.commands(), ElementsAre(command));
  }
}

TEST_F(Access, DisableOfNodesThatAreAllMarkedDoesNothing) {
  addMounted("/a", "/dev/a").fid_attr = disabledBit;
  addMounted("/b", "/dev/b").fid_attr = disabledBit | otherBits;
  EXPECT_EQ(disable(0x10), 0);
  EXPECT_THAT(trace(), IsEmpty());
  expectNothingDone();
}

TEST_F(Access, DisableMarksANodeThatIsNotMounted) {
  kfi_domain& node = addDisabled("/a", "/dev/a");
  node.fid_attr = 0;
  EXPECT_EQ(disable(), 0);
  EXPECT_EQ(node.fid_attr, disabledBit);
  expectNothingDone();
}

TEST_F(Access, DisableStopsAtTheFirstUnmountThatFailsAndLeavesTheRestUntouched) {
  kfi_domain& first = addMounted("/a", "/dev/a");
  kfi_domain& second = addMounted("/b", "/dev/b");
  kfi_domain& third = addMounted("/c", "/dev/c");
  programs.answerNext("/bin/umount", Answer());
  programs.answer("/bin/umount", Answer().complains("busy").exits(1));
  EXPECT_EQ(disable(), 32);
  EXPECT_EQ(first.fid_attr, disabledBit | otherBits);
  EXPECT_EQ(second.fid_attr, otherBits);
  EXPECT_EQ(third.fid_attr, otherBits);
  EXPECT_EQ(trace().back(), traced(1, "Umount failed for /b"));
  EXPECT_EQ(programs.commands().back(), "/bin/umount /b");

  // Said again, it tries the node that failed and goes on.
  programs.answer("/bin/umount", Answer());
  programs.forget();
  EXPECT_EQ(disable(), 0);
  EXPECT_THAT(programs.commands(), ElementsAre("/bin/umount /b", "/bin/umount /c"));
  EXPECT_EQ(second.fid_attr, disabledBit | otherBits);
  EXPECT_EQ(third.fid_attr, disabledBit | otherBits);
}

TEST_F(Access, DisableReturnsSixWhenTheMountTableCannotBeRead) {
  kfi_domain& node = addMounted("/a", "/dev/a");
  table.makeUnreadable();
  EXPECT_EQ(disable(), 6);
  EXPECT_THAT(trace(), ElementsAre(traced(6, "CQmFSPlugin::QmFSUmount calling qmfs_getsubobj for node : /a"),
                                   traced(1, "Mount point entry lookup failed"), traced(1, "Umount failed for /a")));
  EXPECT_EQ(node.fid_attr, otherBits);
  expectNothingDone();
}

TEST_F(Access, DisableKeepsANodeClearWhoseUnmountThrows) {
  kfi_domain& node = addMounted("/a", "/dev/a");
  programs.answer("/bin/umount", Answer().complains("denied").exits(8));
  EXPECT_EQ(disable(), 6);
  expectExitStatusMessage(8);
  EXPECT_EQ(node.fid_attr, otherBits);
}

TEST_F(Access, DisableWithoutAListOrItsFirstNodeIsAnError) {
  kfi_node_subobj_list empty{};
  for (kfi_node_subobj_list* const invalid : {static_cast<kfi_node_subobj_list*>(nullptr), &empty}) {
    EXPECT_EQ(plugin.disable_access(invalid, 0), 6);
    expectCaughtError(messages(), "disableAccess(): Invalid subobj list", "disableAccess");
  }
  EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(Access, DisableEndsWithInvalidAtANodeThatItCannotName) {
  kfi_domain nameless{};
  kfi_domain& first = addMounted("/a", "/dev/a");
  addMounted("/b", "/dev/b");
  kfi_domain& third = addMounted("/c", "/dev/c");
  for (kfi_domain* const invalid : {static_cast<kfi_domain*>(nullptr), &nameless}) {
    first.fid_attr = otherBits;
    element(1).kns_node = invalid;
    forget();
    EXPECT_EQ(disable(), 3);
    EXPECT_EQ(first.fid_attr, disabledBit | otherBits);
    EXPECT_EQ(nameless.fid_attr, 0u);
    EXPECT_EQ(third.fid_attr, otherBits);
    EXPECT_THAT(programs.commands(), ElementsAre("/bin/umount /a"));
    EXPECT_THAT(trace(), ElementsAreArray(unmounted("/a")));
  }
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Access, DisableNeedsNoNameOfANodeThatIsMarkedAlready) {
  kfi_domain nameless{};
  nameless.fid_attr = disabledBit;
  kfi_domain& first = addMounted("/a", "/dev/a");
  addMounted("/b", "/dev/b");
  element(1).kns_node = &nameless;
  EXPECT_EQ(disable(), 0);
  EXPECT_EQ(first.fid_attr, disabledBit | otherBits);
  EXPECT_EQ(nameless.fid_attr, disabledBit);
}

// Enable.

TraceRecord lookedUp(const std::string& device) {
  return {6, "Calling qmfs_getmnt for : " + device};
}

TraceRecords enabled(const std::string& path, const std::string& device, const std::string& options) {
  return {lookedUp(device),
          {3, "Command : /bin/mkdir -p  " + path},
          {3, "Command : /sbin/fsck -y -t qmfs  " + device},
          {3, "Command : /bin/mount -t qmfs  -o " + options + " " + device + " " + path}};
}

TEST_F(Access, EnableChecksTheFileSystemBeforeEveryMountAndNeverAfter) {
  kfi_domain& first = addDisabled("/b", "/dev/b", "rw,log");
  kfi_domain& second = addDisabled("/a", "/dev/a", "ro");
  EXPECT_EQ(enable(), 0);
  EXPECT_THAT(programs.commands(),
              ElementsAre("/bin/mkdir -p /b", "/sbin/fsck -y -t qmfs /dev/b", "/bin/mount -t qmfs -o rw,log /dev/b /b",
                          "/bin/mkdir -p /a", "/sbin/fsck -y -t qmfs /dev/a", "/bin/mount -t qmfs -o ro /dev/a /a"));
  EXPECT_THAT(trace(), ElementsAreArray(joined(enabled("/b", "/dev/b", "rw,log"), enabled("/a", "/dev/a", "ro"))));
  EXPECT_EQ(first.fid_attr, otherBits);
  EXPECT_EQ(second.fid_attr, otherBits);
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Access, ANodeWithoutPrivateDataIsMountedReadOnly) {
  add(node("/a"), "/dev/a").fid_attr = disabledBit;
  EXPECT_EQ(enable(), 0);
  EXPECT_EQ(programs.commands().back(), "/bin/mount -t qmfs -o ro /dev/a /a");
  EXPECT_EQ(trace()[1], traced(6, "As CFiPrivateDataSPtr is null, using readonly mount options"));
  EXPECT_EQ(trace().size(), 5u);
}

TEST_F(Access, EnableKeepsTheOptionPartOfANodeWithoutOptions) {
  addDisabled("/a", "/dev/a", "");
  EXPECT_EQ(enable(), 0);
  EXPECT_EQ(trace().back(), traced(3, "Command : /bin/mount -t qmfs  -o  /dev/a /a"));
}

TEST_F(Access, EnableMountsTheDeviceOfTheListNotThatOfThePrivateData) {
  add(restoredNode("/a", "/dev/private"), "/dev/listed").fid_attr = disabledBit;
  EXPECT_EQ(enable(), 0);
  EXPECT_EQ(programs.commands().back(), "/bin/mount -t qmfs -o rw /dev/listed /a");
}

TEST_F(Access, EnableWithBitZeroOfItsLastArgumentDoesNothing) {
  kfi_domain& node = addDisabled("/a", "/dev/a");
  EXPECT_EQ(plugin.enable_access(list(), 0, 0, 1), 0);
  EXPECT_EQ(plugin.enable_access(list(), 0x10, 3, 0x7), 0);
  EXPECT_EQ(plugin.enable_access(nullptr, 0, 0, 1), 0);
  EXPECT_EQ(node.fid_attr, disabledBit | otherBits);
  EXPECT_THAT(trace(), IsEmpty());
  expectNothingDone();
  EXPECT_EQ(plugin.enable_access(list(), 0, 0, 0x6), 0);
  EXPECT_EQ(programs.commands().size(), 3u);
}

TEST_F(Access, EnableLeavesNodesAloneThatAreNotMarked) {
  kfi_domain& first = addMounted("/a", "/dev/a");
  addDisabled("/b", "/dev/b");
  // What only a marked node would need is not asked for.
  element(0).subobjs = nullptr;
  EXPECT_EQ(enable(), 0);
  EXPECT_THAT(trace(), ElementsAreArray(enabled("/b", "/dev/b", "rw")));
  EXPECT_EQ(first.fid_attr, otherBits);
}

TEST_F(Access, ADeviceMountedOnTheNodesOwnMountPointEndsTheWalkWithSuccessAndWithoutMountOrFsck) {
  kfi_domain& first = addDisabled("/a", "/dev/a");
  kfi_domain& second = addDisabled("/b", "/dev/b");
  table.add("/dev/a", "/a");
  EXPECT_EQ(enable(), 0);
  EXPECT_THAT(trace(), ElementsAre(lookedUp("/dev/a"), traced(3, "Device: /dev/a :: mount: /a"),
                                   traced(3, "Device {/dev/a} is already mounted")));
  EXPECT_EQ(first.fid_attr, disabledBit | otherBits);
  EXPECT_EQ(second.fid_attr, disabledBit | otherBits);
  expectNothingDone();
}

TEST_F(Access, ADeviceMountedOnAnotherMountPointEndsTheWalk) {
  for (const std::string elsewhere : {"/a/", "/", "/aa"}) {
    kfi_domain& node = addDisabled("/a", "/dev/a");
    table.write("");
    table.add("/dev/a", elsewhere, "xfs");
    forget();
    EXPECT_EQ(enable(), 1088);
    EXPECT_THAT(trace(), ElementsAre(lookedUp("/dev/a"), traced(3, "Device: /dev/a :: mount: " + elsewhere),
                                     traced(1, "Device {/dev/a} is mounted on different mount point already")));
    EXPECT_EQ(node.fid_attr, disabledBit | otherBits);
    expectNothingDone();
  }
}

TEST_F(Access, EnableWithoutSubObjectsOfAMarkedNodeIsInvalid) {
  kfi_subobj_list withoutObject{};
  qmfi_objid nameless{};
  kfi_subobj_list withoutName{&nameless, nullptr};
  kfi_domain& node = addDisabled("/a", "/dev/a");
  for (kfi_subobj_list* const invalid : {static_cast<kfi_subobj_list*>(nullptr), &withoutObject, &withoutName}) {
    element(0).subobjs = invalid;
    forget();
    EXPECT_EQ(enable(), 3);
    EXPECT_THAT(trace(), ElementsAre(traced(1, "list->subobjs list is null")));
    EXPECT_EQ(node.fid_attr, disabledBit | otherBits);
    expectNothingDone();
  }
}

TEST_F(Access, EnableFailsWhenTheMountTableCannotBeRead) {
  addDisabled("/a", "/dev/a");
  table.makeUnreadable();
  EXPECT_EQ(enable(), 6);
  EXPECT_THAT(trace(), ElementsAre(lookedUp("/dev/a"), traced(1, "Mount point entry lookup failed")));
  expectNothingDone();
}

TEST_F(Access, EachCommandOfEnableThatFailsEndsTheWalkAndKeepsTheMark) {
  struct Case {
    const char* program;
    std::size_t commands;
    const char* command;
  };
  const Case cases[] = {{"/bin/mkdir", 1, "/bin/mkdir -p  /a"},
                        {"/sbin/fsck", 2, "/sbin/fsck -y -t qmfs  /dev/a"},
                        {"/bin/mount", 3, "/bin/mount -t qmfs  -o rw /dev/a /a"}};
  kfi_domain& node = addDisabled("/a", "/dev/a");
  addDisabled("/b", "/dev/b");
  for (const Case& one : cases) {
    programs.answer(one.program, Answer().complains("went ").complains("wrong").exits(1));
    forget();
    EXPECT_EQ(enable(), 6);
    EXPECT_EQ(programs.commands().size(), one.commands);
    EXPECT_EQ(trace()[one.commands], traced(3, std::string("Command : ") + one.command));
    EXPECT_EQ(trace().back(),
              traced(1, std::string("command '") + one.command + "' failed with message 'went wrong'."));
    EXPECT_EQ(trace().size(), one.commands + 2);
    expectExecPipeMessage("KFI_EXEC_PIPE_CMD_FAILED", "went wrong");
    EXPECT_EQ(node.fid_attr, disabledBit | otherBits);
    programs.answer(one.program, Answer());
  }
}

TEST_F(Access, ANodeEnabledBeforeAFailureStaysEnabled) {
  kfi_domain& first = addDisabled("/a", "/dev/a");
  kfi_domain& second = addDisabled("/b", "/dev/b");
  programs.answerNext("/sbin/fsck", Answer());
  programs.answer("/sbin/fsck", Answer().exits(4));
  EXPECT_EQ(enable(), 6);
  EXPECT_EQ(first.fid_attr, otherBits);
  EXPECT_EQ(second.fid_attr, disabledBit | otherBits);
}

TEST_F(Access, EnableWithoutAListOrItsFirstNodeIsAnError) {
  kfi_node_subobj_list empty{};
  for (kfi_node_subobj_list* const invalid : {static_cast<kfi_node_subobj_list*>(nullptr), &empty}) {
    EXPECT_EQ(plugin.enable_access(invalid, 0, 0, 0), 6);
    expectCaughtError(messages(), "enableAccess(): Invalid subobj list", "enableAccess");
  }
  EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(Access, EnableEndsWithInvalidAtANodeThatIsMissingOrHasNoName) {
  kfi_domain nameless{};
  nameless.fid_attr = disabledBit;
  kfi_domain& first = addDisabled("/a", "/dev/a");
  addDisabled("/b", "/dev/b");
  kfi_domain& third = addDisabled("/c", "/dev/c");
  for (const auto& [invalid, records] : {std::pair(static_cast<kfi_domain*>(nullptr), TraceRecords{}),
                                         std::pair(&nameless, TraceRecords{lookedUp("/dev/b")})}) {
    first.fid_attr |= disabledBit;
    element(1).kns_node = invalid;
    forget();
    EXPECT_EQ(enable(), 3);
    EXPECT_EQ(first.fid_attr, otherBits);
    EXPECT_EQ(nameless.fid_attr, disabledBit);
    EXPECT_EQ(third.fid_attr, disabledBit | otherBits);
    EXPECT_EQ(programs.commands().size(), 3u);
    EXPECT_THAT(trace(), ElementsAreArray(joined(enabled("/a", "/dev/a", "rw"), records)));
  }
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Access, EnableSaysWhatItFindsOfADeviceBeforeItMissesTheNodesName) {
  kfi_domain nameless{};
  nameless.fid_attr = disabledBit;
  addDisabled("/a", "/dev/a");
  element(0).kns_node = &nameless;
  table.makeUnreadable();
  EXPECT_EQ(enable(), 6);
  element(0).subobjs = nullptr;
  EXPECT_EQ(enable(), 3);
  EXPECT_EQ(trace().back(), traced(1, "list->subobjs list is null"));
}

TEST_F(Access, EnableNeedsNoNameOfANodeThatIsNotMarked) {
  kfi_domain nameless{};
  kfi_domain& first = addDisabled("/a", "/dev/a");
  addDisabled("/b", "/dev/b");
  element(1).kns_node = &nameless;
  EXPECT_EQ(enable(), 0);
  EXPECT_EQ(first.fid_attr, otherBits);
}

TEST_F(Access, DisabledNodesAreEnabledAgain) {
  programs.answer("/bin/umount", Answer().unmounts());
  kfi_domain& node = addMounted("/a", "/dev/a");
  EXPECT_EQ(disable(), 0);
  EXPECT_EQ(node.fid_attr, disabledBit | otherBits);
  EXPECT_EQ(enable(), 0);
  EXPECT_EQ(node.fid_attr, otherBits);
}

}  // namespace

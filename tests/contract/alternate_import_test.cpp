// The alternate tree imported from another host, and an alternate node looked at again.
#include <fstream>

#include "alternate_tree_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

using AlternateImport = AlternateTree;

TraceRecord lookedUp(const std::string& path) {
  return {6, "Calling qmfs_getsubobj for :" + path};
}

TEST_F(AlternateImport, ImportMountsOnTheRememberedMountPoint) {
  kfi_domain& domain = restoredNode("/data", "/dev/qm/dsk/dg1/vol1", "rw", "/remembered");
  kfi_subobj_entry entries[] = {{"/data"_text, "/alt"_text}, {}};
  domain.fid_subobjs = entries;

  EXPECT_EQ(import(domain), 0);

  EXPECT_EQ(alternate, object("/remembered"));
  EXPECT_THAT(importedCalls().identifierRequests(), ElementsAre(IdentifierRequest{"/remembered", 12, 1}));
  EXPECT_THAT(programs.commands(),
              ElementsAre("/bin/mkdir -p /remembered", "/bin/mount -t qmfs -o ro " + SNAPSHOT + " /remembered"));
  EXPECT_THAT(trace(), ElementsAre(made("/remembered"), lookedUp("/remembered"), mounted("/remembered")));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(AlternateImport, ImportTakesTheFirstEntrysAlternateNameAndRemembersIt) {
  kfi_domain& domain = restoredNode("/data", "/dev/qm/dsk/dg1/vol1");
  kfi_subobj_entry entries[] = {{"/other"_text, "/first"_text}, {"/data"_text, "/second"_text}, {}};
  domain.fid_subobjs = entries;

  EXPECT_EQ(import(domain), 0);

  EXPECT_EQ(alternateName(), "/first");
  EXPECT_THAT(trace(), ElementsAre(made("/first"), lookedUp("/first"), mounted("/first")));
  EXPECT_EQ(stateOf(domain),
            "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>/dev/qm/dsk/dg1/vol1</SUBOBJ>\n<ALTOBJ>/first</ALTOBJ>\n");
}

TEST_F(AlternateImport, ImportGeneratesANameFromTheFirstEntrysObject) {
  stopClock();
  for (char* const given : {static_cast<char*>(nullptr), ""_text}) {
    kfi_domain& domain = node("/data");
    domain.fid_name = "/own"_text;
    kfi_subobj_entry entries[] = {{"/first"_text, given}, {"/data"_text, "/alt"_text}, {}};
    domain.fid_subobjs = entries;
    forget();

    EXPECT_EQ(import(domain), 0);

    const std::string generated = "/first_alt15112026141530";
    EXPECT_EQ(alternateName(), generated);
    EXPECT_THAT(trace(),
                ElementsAre(traced(3, "CQmFSPlugin::importTreeNode altname not specified, generated :" + generated),
                            made(generated), lookedUp(generated), mounted(generated)));
    // Private data are made without a warning, and shared with the next node of the name when they stay.
    ASSERT_NE(domain.fid_private, nullptr);
    plugin.deinit_node(&domain);
  }
}

TEST_F(AlternateImport, ImportMakesThePrivateDataOfAnOrdinaryNode) {
  kfi_domain& domain = node("/data");
  kfi_subobj_entry entries[] = {{"/data"_text, "/alt"_text}, {}};
  domain.fid_subobjs = entries;
  EXPECT_EQ(import(domain), 0);
  // An ordinary node of the same name shares them, an alternate one does not.
  EXPECT_EQ(stateOf(restoredNode("/data", "/dev/a")),
            "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>/dev/a</SUBOBJ>\n<ALTOBJ>/alt</ALTOBJ>\n");
  table.add("/dev/b", "/data");
  kfi_domain& other = node("/data");
  ASSERT_EQ(plugin.init_altnode(nullptr, nullptr, &other), 0);
  EXPECT_EQ(stateOf(other), "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>/dev/b</SUBOBJ>\n");
}

TEST_F(AlternateImport, ImportingANodeWhoseAlternateMountPointIsMountedSucceedsWithoutMount) {
  kfi_domain& domain = restoredNode("/data", "/dev/qm/dsk/dg1/vol1", "rw", "/alt");
  table.add(SNAPSHOT, "/alt", "qmfs", "ro");

  EXPECT_EQ(import(domain), 0);

  EXPECT_EQ(alternate, object("/alt"));
  EXPECT_THAT(programs.commands(), ElementsAre("/bin/mkdir -p /alt"));
  EXPECT_THAT(trace(), ElementsAre(made("/alt"), lookedUp("/alt")));
}

TEST_F(AlternateImport, ARepeatedImportReusesTheMount) {
  kfi_domain& domain = node("/data");
  kfi_subobj_entry entries[] = {{"/data"_text, nullptr}, {}};
  domain.fid_subobjs = entries;
  importedCalls().stopClock(1794732330);
  programs.answer("/bin/mount", Answer().mounts(SNAPSHOT + " /data_alt15112026141530 qmfs ro 0 0"));
  EXPECT_EQ(import(domain), 0);
  const qmfi_objid* const first = alternate;
  importedCalls().stopClock(1794732399);
  programs.forget();
  EXPECT_EQ(import(domain), 0);
  EXPECT_EQ(alternate, first);
  EXPECT_THAT(programs.commands(), ElementsAre("/bin/mkdir -p /data_alt15112026141530"));
}

TEST_F(AlternateImport, ImportMountsOverAFileSystemOfAnotherType) {
  kfi_domain& domain = restoredNode("/data", "/dev/qm/dsk/dg1/vol1", "rw", "/alt");
  table.add(SNAPSHOT, "/alt", "xfs", "ro");
  EXPECT_EQ(import(domain), 0);
  EXPECT_EQ(programs.commands().size(), 2u);
}

TEST_F(AlternateImport, ImportWithAMountTableThatCannotBeReadFailsAfterTheDirectoryWasMade) {
  kfi_domain& domain = restoredNode("/data", "/dev/qm/dsk/dg1/vol1", "rw", "/alt");
  table.makeUnreadable();

  EXPECT_EQ(import(domain), 6);

  EXPECT_THAT(programs.commands(), ElementsAre("/bin/mkdir -p /alt"));
  EXPECT_THAT(trace(), ElementsAre(made("/alt"), lookedUp("/alt"), traced(1, "Mount point entry lookup failed")));
  EXPECT_THAT(messages(), IsEmpty());
  EXPECT_EQ(alternate, nullptr);
}

TEST_F(AlternateImport, ImportWhoseMountPointCannotBeMadeStopsThere) {
  kfi_domain& domain = restoredNode("/data", "/dev/qm/dsk/dg1/vol1", "rw", "/alt");
  programs.answer("/bin/mkdir", Answer().complains("read-only").exits(1));

  EXPECT_EQ(import(domain), 6);

  EXPECT_THAT(programs.commands(), ElementsAre("/bin/mkdir -p /alt"));
  EXPECT_THAT(trace(),
              ElementsAre(made("/alt"), traced(1, "command '/bin/mkdir -p  /alt' failed with message 'read-only'.")));
  expectExecPipeMessage("KFI_EXEC_PIPE_CMD_FAILED", "read-only");
  EXPECT_EQ(alternate, nullptr);
}

TEST_F(AlternateImport, ImportWhoseMountFailsIsAnError) {
  kfi_domain& domain = restoredNode("/data", "/dev/qm/dsk/dg1/vol1");
  kfi_subobj_entry entries[] = {{"/data"_text, "/alt"_text}, {}};
  domain.fid_subobjs = entries;
  programs.answer("/bin/mount", Answer().complains("no device").exits(32));

  EXPECT_EQ(import(domain), 6);

  EXPECT_THAT(trace(), ElementsAre(made("/alt"), lookedUp("/alt"), mounted("/alt"),
                                   traced(1, "command '/bin/mount -t qmfs  -o ro " + SNAPSHOT +
                                                 " /alt' failed with message 'no device'.")));
  expectExecPipeMessage("KFI_EXEC_PIPE_CMD_FAILED", "no device");
  EXPECT_EQ(alternate, nullptr);
  EXPECT_EQ(stateOf(domain), "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>/dev/qm/dsk/dg1/vol1</SUBOBJ>\n");
}

TEST_F(AlternateImport, ImportWithoutAnIdentifierIsAnErrorAfterTheMount) {
  kfi_domain& domain = restoredNode("/data", "/dev/qm/dsk/dg1/vol1", "rw", "/alt");
  importedCalls().failIdentifier("/alt");
  alternate = object("/before");

  EXPECT_EQ(import(domain), 6);

  EXPECT_THAT(trace(), ElementsAre(made("/alt"), lookedUp("/alt"), mounted("/alt"),
                                   traced(1, "importTreeNode : Failed to get objid for :/alt")));
  expectCaughtError(messages(), "importTreeNode : Failed to get objid for :/alt", "importTreeNode");
  EXPECT_EQ(alternate, nullptr);
}

TEST_F(AlternateImport, ImportNeedsASnapshotObjectOnlyWhenItMustMount) {
  qmfi_objid nameless{};
  qmfi_objid* none[] = {nullptr};
  qmfi_objid* unnamed[] = {&nameless};
  const std::vector<std::pair<qmfi_objid**, int>> cases = {{nullptr, 0}, {nullptr, 1}, {none, 1}, {unnamed, 1}};
  for (const auto& [snapObjects, count] : cases) {
    kfi_domain& domain = restoredNode("/data", "/dev/qm/dsk/dg1/vol1", "rw", "/alt");
    table.write("");
    EXPECT_EQ(plugin.import_tree(&domain, nullptr, snapObjects, count, &alternate), 3);
    expectNothingDone();
    EXPECT_EQ(alternate, nullptr);

    table.add(SNAPSHOT, "/alt", "qmfs", "ro");
    EXPECT_EQ(plugin.import_tree(&domain, nullptr, snapObjects, count, &alternate), 0);
    EXPECT_EQ(alternate, object("/alt"));
    alternate = nullptr;
    programs.forget();
  }
}

TEST_F(AlternateImport, ImportWithAMissingArgumentIsInvalidBeforeAnythingIsDone) {
  qmfi_objid* snapObjects[] = {object(SNAPSHOT)};
  kfi_subobj_entry given[] = {{"/data"_text, "/alt"_text}, {}};
  kfi_subobj_entry noEntry[] = {{}};
  kfi_domain& withoutList = node("/data");
  kfi_domain& withEmptyList = node("/data");
  withEmptyList.fid_subobjs = noEntry;
  kfi_domain& withoutObject = node("/data");
  withoutObject.fid_objid = nullptr;
  withoutObject.fid_subobjs = given;
  kfi_domain& whole = node("/data");
  whole.fid_subobjs = given;

  EXPECT_EQ(plugin.import_tree(nullptr, nullptr, snapObjects, 1, &alternate), 3);
  EXPECT_EQ(plugin.import_tree(&withoutList, nullptr, snapObjects, 1, &alternate), 3);
  EXPECT_EQ(plugin.import_tree(&withEmptyList, nullptr, snapObjects, 1, &alternate), 3);
  EXPECT_EQ(plugin.import_tree(&withoutObject, nullptr, snapObjects, 1, &alternate), 3);
  EXPECT_EQ(plugin.import_tree(&whole, nullptr, snapObjects, 1, nullptr), 3);
  expectNothingDone();
  EXPECT_THAT(trace(), IsEmpty());
  EXPECT_EQ(alternate, nullptr);
}

TEST_F(AlternateImport, ImportRefusesNamesThatACommandCannotCarry) {
  for (const std::string& path : UNUSABLE_PATHS) {
    kfi_domain& domain = node("/data");
    std::string text = path;
    kfi_subobj_entry entries[] = {{"/data"_text, "/alt"_text}, {}};
    domain.fid_subobjs = entries;
    forget();
    EXPECT_EQ(import(domain, path), 3) << "device " << path;
    EXPECT_THAT(trace(), ElementsAre(traced(4, "Not a valid device path [" + path + "]")));

    entries[0].kse_altname = text.data();
    forget();
    EXPECT_EQ(import(domain), 3) << "given name " << path;
    EXPECT_THAT(trace(), ElementsAre(traced(4, "Not a valid mount point path [" + path + "]")));

    entries[0] = {text.data(), nullptr};
    forget();
    EXPECT_EQ(import(domain), 3) << "generated for " << path;
    EXPECT_EQ(refusals().size(), 1u);

    EXPECT_EQ(import(restoredNode("/data", "/dev/qm/dsk/dg1/vol1", "rw", path)), 3) << "remembered " << path;
    EXPECT_THAT(trace(), ElementsAre(traced(4, "Not a valid mount point path [" + path + "]")));
    expectNothingDone();
    EXPECT_EQ(alternate, nullptr);
  }
}

// Look at an alternate node again.

class AlternateNode : public AlternateTree {
 protected:
  int reaccess(qmfi_objid* altObject, kfi_intent intent) {
    return plugin.reaccess_altnode(nullptr, altObject, nullptr, nullptr, nullptr, nullptr, 0, intent);
  }
};

TEST_F(AlternateNode, ReaccessWithIntentTwoNeverTouchesTheFileSystem) {
  EXPECT_EQ(reaccess(object("/nowhere"), 2), 0);
  EXPECT_EQ(reaccess(nullptr, 2), 0);
  EXPECT_THAT(trace(), IsEmpty());
  expectNothingDone();
}

TEST_F(AlternateNode, ReaccessFindsAnExistingPathWithAnyOtherIntent) {
  qmfi_objid* const existing = object(makeDirectory("alt"));
  for (const kfi_intent intent : {0, 1, 3, -2}) EXPECT_EQ(reaccess(existing, intent), 0);
  EXPECT_THAT(trace(), IsEmpty());
  expectNothingDone();
}

TEST_F(AlternateNode, ReaccessFollowsLinks) {
  const std::string directory = makeDirectory("alt");
  std::filesystem::create_directory_symlink(directory, directory + "/found");
  std::filesystem::create_symlink("/nowhere", directory + "/lost");
  EXPECT_EQ(reaccess(object(directory + "/found"), 0), 0);
  EXPECT_EQ(reaccess(object(directory + "/lost"), 0), 6);
  EXPECT_THAT(trace(), ElementsAre(traced(
                           1, "CQmFSPlugin::reAccessAltNode : stat on " + directory + "/lost failed with errno=[2]")));
}

TEST_F(AlternateNode, ReaccessOfAPathThatIsGoneIsAnErrorWithItsErrno) {
  const std::string directory = makeDirectory("alt");
  std::ofstream(directory + "/file") << "text";
  const std::vector<std::pair<std::string, int>> cases = {{directory + "/gone", 2}, {directory + "/file/below", 20}};
  for (const auto& [path, number] : cases) {
    for (const kfi_intent intent : {0, 1}) {
      forget();
      EXPECT_EQ(reaccess(object(path), intent), 6);
      EXPECT_THAT(trace(), ElementsAre(traced(1, "CQmFSPlugin::reAccessAltNode : stat on " + path +
                                                     " failed with errno=[" + std::to_string(number) + "]")));
      expectCaughtError(messages(), "reAccessAltNode(): stat failed for " + path, "reAccessAltNode");
    }
  }
  EXPECT_THAT(programs.commands(), IsEmpty());
}

TEST_F(AlternateNode, ReaccessWithoutAnObjectIsInvalid) {
  qmfi_objid nameless{};
  EXPECT_EQ(reaccess(nullptr, 0), 3);
  EXPECT_EQ(reaccess(&nameless, 1), 3);
  EXPECT_THAT(trace(), IsEmpty());
  expectNothingDone();
}

}  // namespace

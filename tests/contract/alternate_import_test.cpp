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

  EXPECT_EQ(0, import(domain));

  EXPECT_EQ(object("/remembered"), alternate);
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

  EXPECT_EQ(0, import(domain));

  EXPECT_EQ("/first", alternateName());
  EXPECT_THAT(trace(), ElementsAre(made("/first"), lookedUp("/first"), mounted("/first")));
  EXPECT_EQ("<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>/dev/qm/dsk/dg1/vol1</SUBOBJ>\n<ALTOBJ>/first</ALTOBJ>\n",
            stateOf(domain));
}

TEST_F(AlternateImport, ImportGeneratesANameFromTheFirstEntrysObject) {
  stopClock();
  for (char* const given : {static_cast<char*>(nullptr), ""_text}) {
    kfi_domain& domain = node("/data");
    domain.fid_name = "/own"_text;
    kfi_subobj_entry entries[] = {{"/first"_text, given}, {"/data"_text, "/alt"_text}, {}};
    domain.fid_subobjs = entries;
    forget();

    EXPECT_EQ(0, import(domain));

    const std::string generated = "/first_alt15112026141530";
    EXPECT_EQ(generated, alternateName());
    EXPECT_THAT(trace(),
                ElementsAre(traced(3, "CQmFSPlugin::importTreeNode altname not specified, generated :" + generated),
                            made(generated), lookedUp(generated), mounted(generated)));
    // Private data are made without a warning, and shared with the next node of the name when they stay.
    ASSERT_NE(nullptr, domain.fid_private);
    plugin.deinit_node(&domain);
  }
}

TEST_F(AlternateImport, ImportMakesThePrivateDataOfAnOrdinaryNode) {
  kfi_domain& domain = node("/data");
  kfi_subobj_entry entries[] = {{"/data"_text, "/alt"_text}, {}};
  domain.fid_subobjs = entries;
  EXPECT_EQ(0, import(domain));
  // An ordinary node of the same name shares them, an alternate one does not.
  EXPECT_EQ("<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>/dev/a</SUBOBJ>\n<ALTOBJ>/alt</ALTOBJ>\n",
            stateOf(restoredNode("/data", "/dev/a")));
  table.add("/dev/b", "/data");
  kfi_domain& other = node("/data");
  ASSERT_EQ(0, plugin.init_altnode(nullptr, nullptr, &other));
  EXPECT_EQ("<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>/dev/b</SUBOBJ>\n", stateOf(other));
}

TEST_F(AlternateImport, ImportingANodeWhoseAlternateMountPointIsMountedSucceedsWithoutMount) {
  kfi_domain& domain = restoredNode("/data", "/dev/qm/dsk/dg1/vol1", "rw", "/alt");
  table.add(SNAPSHOT, "/alt", "qmfs", "ro");

  EXPECT_EQ(0, import(domain));

  EXPECT_EQ(object("/alt"), alternate);
  EXPECT_THAT(programs.commands(), ElementsAre("/bin/mkdir -p /alt"));
  EXPECT_THAT(trace(), ElementsAre(made("/alt"), lookedUp("/alt")));
}

TEST_F(AlternateImport, ARepeatedImportReusesTheMount) {
  kfi_domain& domain = node("/data");
  kfi_subobj_entry entries[] = {{"/data"_text, nullptr}, {}};
  domain.fid_subobjs = entries;
  importedCalls().stopClock(1794732330);
  programs.answer("/bin/mount", Answer().mounts(SNAPSHOT + " /data_alt15112026141530 qmfs ro 0 0"));
  EXPECT_EQ(0, import(domain));
  const qmfi_objid* const first = alternate;
  importedCalls().stopClock(1794732399);
  programs.forget();
  EXPECT_EQ(0, import(domain));
  EXPECT_EQ(first, alternate);
  EXPECT_THAT(programs.commands(), ElementsAre("/bin/mkdir -p /data_alt15112026141530"));
}

TEST_F(AlternateImport, ImportMountsOverAFileSystemOfAnotherType) {
  kfi_domain& domain = restoredNode("/data", "/dev/qm/dsk/dg1/vol1", "rw", "/alt");
  table.add(SNAPSHOT, "/alt", "xfs", "ro");
  EXPECT_EQ(0, import(domain));
  EXPECT_EQ(2u, programs.commands().size());
}

TEST_F(AlternateImport, ImportWithAMountTableThatCannotBeReadFailsAfterTheDirectoryWasMade) {
  kfi_domain& domain = restoredNode("/data", "/dev/qm/dsk/dg1/vol1", "rw", "/alt");
  table.makeUnreadable();

  EXPECT_EQ(6, import(domain));

  EXPECT_THAT(programs.commands(), ElementsAre("/bin/mkdir -p /alt"));
  EXPECT_THAT(trace(), ElementsAre(made("/alt"), lookedUp("/alt"), traced(1, "Mount point entry lookup failed")));
  EXPECT_THAT(messages(), IsEmpty());
  EXPECT_EQ(nullptr, alternate);
}

TEST_F(AlternateImport, ImportWhoseMountPointCannotBeMadeStopsThere) {
  kfi_domain& domain = restoredNode("/data", "/dev/qm/dsk/dg1/vol1", "rw", "/alt");
  programs.answer("/bin/mkdir", Answer().complains("read-only").exits(1));

  EXPECT_EQ(6, import(domain));

  EXPECT_THAT(programs.commands(), ElementsAre("/bin/mkdir -p /alt"));
  EXPECT_THAT(trace(),
              ElementsAre(made("/alt"), traced(1, "command '/bin/mkdir -p  /alt' failed with message 'read-only'.")));
  expectExecPipeMessage("KFI_EXEC_PIPE_CMD_FAILED", "read-only");
  EXPECT_EQ(nullptr, alternate);
}

TEST_F(AlternateImport, ImportWhoseMountFailsIsAnError) {
  kfi_domain& domain = restoredNode("/data", "/dev/qm/dsk/dg1/vol1");
  kfi_subobj_entry entries[] = {{"/data"_text, "/alt"_text}, {}};
  domain.fid_subobjs = entries;
  programs.answer("/bin/mount", Answer().complains("no device").exits(32));

  EXPECT_EQ(6, import(domain));

  EXPECT_THAT(trace(), ElementsAre(made("/alt"), lookedUp("/alt"), mounted("/alt"),
                                   traced(1, "command '/bin/mount -t qmfs  -o ro " + SNAPSHOT +
                                                 " /alt' failed with message 'no device'.")));
  expectExecPipeMessage("KFI_EXEC_PIPE_CMD_FAILED", "no device");
  EXPECT_EQ(nullptr, alternate);
  EXPECT_EQ("<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>/dev/qm/dsk/dg1/vol1</SUBOBJ>\n", stateOf(domain));
}

TEST_F(AlternateImport, ImportWithoutAnIdentifierIsAnErrorAfterTheMount) {
  kfi_domain& domain = restoredNode("/data", "/dev/qm/dsk/dg1/vol1", "rw", "/alt");
  importedCalls().failIdentifier("/alt");
  alternate = object("/before");

  EXPECT_EQ(6, import(domain));

  EXPECT_THAT(trace(), ElementsAre(made("/alt"), lookedUp("/alt"), mounted("/alt"),
                                   traced(1, "importTreeNode : Failed to get objid for :/alt")));
  expectCaughtError(messages(), "importTreeNode : Failed to get objid for :/alt", "importTreeNode");
  EXPECT_EQ(nullptr, alternate);
}

TEST_F(AlternateImport, ImportNeedsASnapshotObjectOnlyWhenItMustMount) {
  qmfi_objid nameless{};
  qmfi_objid* none[] = {nullptr};
  qmfi_objid* unnamed[] = {&nameless};
  const std::vector<std::pair<qmfi_objid**, int>> cases = {{nullptr, 0}, {nullptr, 1}, {none, 1}, {unnamed, 1}};
  for (const auto& [snapObjects, count] : cases) {
    kfi_domain& domain = restoredNode("/data", "/dev/qm/dsk/dg1/vol1", "rw", "/alt");
    table.write("");
    EXPECT_EQ(3, plugin.import_tree(&domain, nullptr, snapObjects, count, &alternate));
    expectNothingDone();
    EXPECT_EQ(nullptr, alternate);

    table.add(SNAPSHOT, "/alt", "qmfs", "ro");
    EXPECT_EQ(0, plugin.import_tree(&domain, nullptr, snapObjects, count, &alternate));
    EXPECT_EQ(object("/alt"), alternate);
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

  EXPECT_EQ(3, plugin.import_tree(nullptr, nullptr, snapObjects, 1, &alternate));
  EXPECT_EQ(3, plugin.import_tree(&withoutList, nullptr, snapObjects, 1, &alternate));
  EXPECT_EQ(3, plugin.import_tree(&withEmptyList, nullptr, snapObjects, 1, &alternate));
  EXPECT_EQ(3, plugin.import_tree(&withoutObject, nullptr, snapObjects, 1, &alternate));
  EXPECT_EQ(3, plugin.import_tree(&whole, nullptr, snapObjects, 1, nullptr));
  expectNothingDone();
  EXPECT_THAT(trace(), IsEmpty());
  EXPECT_EQ(nullptr, alternate);
}

TEST_F(AlternateImport, ImportRefusesNamesThatACommandCannotCarry) {
  for (const std::string& path : UNUSABLE_PATHS) {
    kfi_domain& domain = node("/data");
    std::string text = path;
    kfi_subobj_entry entries[] = {{"/data"_text, "/alt"_text}, {}};
    domain.fid_subobjs = entries;
    forget();
    EXPECT_EQ(3, import(domain, path)) << "device " << path;
    EXPECT_THAT(trace(), ElementsAre(traced(4, "Not a valid device path [" + path + "]")));

    entries[0].kse_altname = text.data();
    forget();
    EXPECT_EQ(3, import(domain)) << "given name " << path;
    EXPECT_THAT(trace(), ElementsAre(traced(4, "Not a valid mount point path [" + path + "]")));

    entries[0] = {text.data(), nullptr};
    forget();
    EXPECT_EQ(3, import(domain)) << "generated for " << path;
    EXPECT_EQ(1u, refusals().size());

    EXPECT_EQ(3, import(restoredNode("/data", "/dev/qm/dsk/dg1/vol1", "rw", path))) << "remembered " << path;
    EXPECT_THAT(trace(), ElementsAre(traced(4, "Not a valid mount point path [" + path + "]")));
    expectNothingDone();
    EXPECT_EQ(nullptr, alternate);
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
  EXPECT_EQ(0, reaccess(object("/nowhere"), 2));
  EXPECT_EQ(0, reaccess(nullptr, 2));
  EXPECT_THAT(trace(), IsEmpty());
  expectNothingDone();
}

TEST_F(AlternateNode, ReaccessFindsAnExistingPathWithAnyOtherIntent) {
  qmfi_objid* const existing = object(makeDirectory("alt"));
  for (const kfi_intent intent : {0, 1, 3, -2}) EXPECT_EQ(0, reaccess(existing, intent));
  EXPECT_THAT(trace(), IsEmpty());
  expectNothingDone();
}

TEST_F(AlternateNode, ReaccessFollowsLinks) {
  const std::string directory = makeDirectory("alt");
  std::filesystem::create_directory_symlink(directory, directory + "/found");
  std::filesystem::create_symlink("/nowhere", directory + "/lost");
  EXPECT_EQ(0, reaccess(object(directory + "/found"), 0));
  EXPECT_EQ(6, reaccess(object(directory + "/lost"), 0));
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
      EXPECT_EQ(6, reaccess(object(path), intent));
      EXPECT_THAT(trace(), ElementsAre(traced(1, "CQmFSPlugin::reAccessAltNode : stat on " + path +
                                                     " failed with errno=[" + std::to_string(number) + "]")));
      expectCaughtError(messages(), "reAccessAltNode(): stat failed for " + path, "reAccessAltNode");
    }
  }
  EXPECT_THAT(programs.commands(), IsEmpty());
}

TEST_F(AlternateNode, ReaccessWithoutAnObjectIsInvalid) {
  qmfi_objid nameless{};
  EXPECT_EQ(3, reaccess(nullptr, 0));
  EXPECT_EQ(3, reaccess(&nameless, 1));
  EXPECT_THAT(trace(), IsEmpty());
  expectNothingDone();
}

}  // namespace

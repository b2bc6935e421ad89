// The alternate tree built from a snapshot of this host.
#include <ctime>
#include <functional>

#include "alternate_tree_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_F(AlternateTree, BuildMountsTheSnapshotReadOnlyOnTheNamedMountPoint) {
  kfi_domain& domain = owned(restoredNode("/data", "/dev/qm/dsk/dg1/vol1"));
  kfi_subobj_entry entries[] = {{"/other"_text, "/wrong"_text}, {"/data"_text, "/data_copy"_text}, {}};
  domain.fid_subobjs = entries;

  EXPECT_EQ(build(domain), 0);

  EXPECT_EQ(alternate, object("/data_copy"));
  EXPECT_THAT(importedCalls().identifierRequests(), ElementsAre(IdentifierRequest{"/data_copy", 11, 1}));
  EXPECT_THAT(programs.commands(),
              ElementsAre("/bin/mkdir -p /data_copy", "/bin/mount -t qmfs -o ro " + SNAPSHOT + " /data_copy"));
  EXPECT_THAT(trace(), ElementsAre(made("/data_copy"), mounted("/data_copy"), traced(3, "buildAltTree succeeded")));
  EXPECT_THAT(messages(), IsEmpty());
  EXPECT_EQ(stateOf(domain),
            "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>/dev/qm/dsk/dg1/vol1</SUBOBJ>\n<ALTOBJ>/data_copy</ALTOBJ>\n");
}

TEST_F(AlternateTree, BuildWithoutPrivateDataWarnsAndCreatesThem) {
  kfi_domain& domain = ownNode("/data");
  kfi_subobj_entry entries[] = {{"/data"_text, "/alt"_text}, {}};
  domain.fid_subobjs = entries;

  EXPECT_EQ(build(domain), 0);

  EXPECT_THAT(trace(),
              ElementsAre(made("/alt"), mounted("/alt"), traced(2, "Warning : private data is missing for node."),
                          traced(3, "buildAltTree succeeded")));
  ASSERT_NE(domain.fid_private, nullptr);
  // A node of the same name shares them.
  EXPECT_EQ(stateOf(restoredNode("/data", "/dev/qm/dsk/dg1/vol1")),
            "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>/dev/qm/dsk/dg1/vol1</SUBOBJ>\n<ALTOBJ>/alt</ALTOBJ>\n");
  // An alternate one does not.
  table.add("/dev/b", "/data");
  kfi_domain& other = node("/data");
  ASSERT_EQ(plugin.init_altnode(nullptr, nullptr, &other), 0);
  EXPECT_EQ(stateOf(other), "<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>/dev/b</SUBOBJ>\n");
}

TEST_F(AlternateTree, BuildGeneratesANameWhereNoneIsGiven) {
  const std::vector<std::vector<kfi_subobj_entry>> lists = {
      {{}},
      {{"/other"_text, "/alt"_text}, {}},
      {{"/DATA"_text, "/alt"_text}, {}},
      {{"/data"_text, nullptr}, {}},
      // The first entry of the name decides.
      {{"/data"_text, nullptr}, {"/data"_text, "/alt"_text}, {}},
  };
  stopClock();
  for (auto entries : lists) {
    kfi_domain& domain = owned(restoredNode("/data", "/dev/qm/dsk/dg1/vol1"));
    domain.fid_subobjs = entries.data();
    EXPECT_EQ(build(domain), 0);
    EXPECT_EQ(alternateName(), "/data_alt15112026141530");
    EXPECT_THAT(trace(), ElementsAre(traced(3, "No altname specified generated  : /data_alt15112026141530"),
                                     made("/data_alt15112026141530"), mounted("/data_alt15112026141530"),
                                     traced(3, "buildAltTree succeeded")));
  }
}

TEST_F(AlternateTree, BuildGeneratesANameWithoutAnyEntryList) {
  stopClock();
  EXPECT_EQ(build(ownNode("/data")), 0);
  EXPECT_EQ(alternateName(), "/data_alt15112026141530");
}

TEST_F(AlternateTree, AnEntryWhoseAlternateNameIsAnEmptyStringCountsAsAbsentAndANameIsGenerated) {
  stopClock();
  kfi_domain& domain = ownNode("/data");
  kfi_subobj_entry entries[] = {{"/data"_text, ""_text}, {}};
  domain.fid_subobjs = entries;
  EXPECT_EQ(build(domain), 0);
  EXPECT_EQ(alternateName(), "/data_alt15112026141530");
}

TEST_F(AlternateTree, BuildNamesTheTreeAfterTheNodesOwnName) {
  stopClock();
  kfi_domain& domain = ownNode("/data");
  domain.fid_name = "/own"_text;
  EXPECT_EQ(build(domain), 0);
  EXPECT_EQ(alternateName(), "/own_alt15112026141530");
}

TEST_F(AlternateTree, BuildTakesTheIdentifiersNameForANodeWithoutAName) {
  stopClock();
  kfi_domain& domain = ownNode("/data");
  domain.fid_name = nullptr;
  EXPECT_EQ(build(domain), 0);
  EXPECT_EQ(alternateName(), "/data_alt15112026141530");
}

TEST_F(AlternateTree, TwoNamesGeneratedWithinTheSameSecondForTheSameNodeAreEqual) {
  stopClock();
  kfi_domain& domain = ownNode("/data");
  EXPECT_EQ(build(domain), 0);
  const qmfi_objid* const first = alternate;
  EXPECT_EQ(build(domain), 0);
  EXPECT_EQ(alternate, first);
  importedCalls().stopClock(1794732331);
  EXPECT_EQ(build(domain), 0);
  EXPECT_EQ(alternateName(), "/data_alt15112026141531");
}

TEST_F(AlternateTree, TheTimeStampHasLeadingZeros) {
  importedCalls().stopClock(978286092);  // 31 December 2000, 18:08:12 UTC
  const TimeZone zone("TST-9:00");
  EXPECT_EQ(build(ownNode("/data")), 0);
  EXPECT_EQ(alternateName(), "/data_alt01012001030812");
}

TEST_F(AlternateTree, TheNameIsOfTheTimeOfTheCall) {
  const std::time_t before = std::time(nullptr);
  EXPECT_EQ(build(ownNode("/data")), 0);
  const std::time_t after = std::time(nullptr);
  std::vector<std::string> possible;
  for (std::time_t now = before; now <= after; ++now) {
    std::tm local{};
    localtime_r(&now, &local);
    char stamp[15];
    strftime(stamp, sizeof stamp, "%d%m%Y%H%M%S", &local);
    possible.push_back(std::string("/data_alt") + stamp);
  }
  EXPECT_THAT(possible, ::testing::Contains(alternateName()));
}

TEST_F(AlternateTree, AProviderNameThatMatchesOnlyInItsFirstFiveCharactersIsAccepted) {
  for (char* const provider : {"qmfsf"_text, "qmfsfx"_text, "qmfsf and more"_text}) {
    kfi_domain& domain = ownNode("/data");
    domain.fid_provider = provider;
    EXPECT_EQ(build(domain), 0) << provider;
  }
}

TEST_F(AlternateTree, AnotherProvidersNodeIsRefused) {
  for (const char* const provider : {"qmfsx", "qmfs", "QMFSFI", "", "other"}) {
    kfi_domain& domain = ownNode("/data");
    domain.fid_provider = const_cast<char*>(provider);
    forget();
    EXPECT_EQ(build(domain), 6);
    const std::string text = std::string("buildAltTree() : Invalid prefix :") + provider;
    EXPECT_THAT(trace(), ElementsAre(traced(1, text)));
    expectCaughtError(messages(), text, "buildAltTree");
    EXPECT_THAT(programs.commands(), IsEmpty());
    EXPECT_EQ(alternate, nullptr);
  }
}

TEST_F(AlternateTree, BuildWithoutDomainOrFiidIsAnError) {
  qmfi_objid* snapObjects[] = {object(SNAPSHOT)};
  const std::vector<std::pair<kfi_domain*, char*>> cases = {
      {nullptr, "fiid"_text}, {&ownNode("/data"), nullptr}, {nullptr, nullptr}};
  for (const auto& [domain, fiid] : cases) {
    EXPECT_EQ(plugin.build_alttree(domain, fiid, nullptr, snapObjects, 1, &alternate), 6);
    expectCaughtError(messages(), "buildAltTree(): Invalid session or fiid", "buildAltTree");
  }
  EXPECT_THAT(trace(), IsEmpty());
  EXPECT_THAT(programs.commands(), IsEmpty());
  EXPECT_EQ(alternate, nullptr);
}

TEST_F(AlternateTree, BuildWithAMissingArgumentIsInvalidBeforeAnythingIsDone) {
  qmfi_objid* const snapshot = object(SNAPSHOT);
  qmfi_objid nameless{};
  struct Call {
    std::function<void(kfi_domain&)> damage = [](kfi_domain&) {};
    std::vector<qmfi_objid*> snapObjects;
    bool isListNull = false;
    bool isResultNull = false;
  };
  const Call calls[] = {
      {.damage = [](kfi_domain& domain) { domain.fid_provider = nullptr; }, .snapObjects = {snapshot}},
      {.damage = [](kfi_domain& domain) { domain.fid_objid = nullptr, domain.fid_name = nullptr; },
       .snapObjects = {snapshot}},
      {.damage = [](kfi_domain& domain) { domain.fid_objid = nullptr; }, .snapObjects = {snapshot}},
      {.snapObjects = {}},
      {.snapObjects = {nullptr}},
      {.snapObjects = {&nameless}},
      {.snapObjects = {snapshot}, .isListNull = true},
      {.snapObjects = {snapshot}, .isResultNull = true},
  };
  for (const Call& call : calls) {
    kfi_domain& domain = ownNode("/data");
    call.damage(domain);
    auto snapObjects = call.snapObjects;
    EXPECT_EQ(plugin.build_alttree(&domain, "fiid"_text, nullptr, call.isListNull ? nullptr : snapObjects.data(),
                                   static_cast<int>(snapObjects.size()), call.isResultNull ? nullptr : &alternate),
              3)
        << &call - calls;
    expectNothingDone();
    EXPECT_EQ(alternate, nullptr);
    EXPECT_EQ(domain.fid_private, nullptr);
  }
  EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(AlternateTree, BuildRefusesNamesThatACommandCannotCarry) {
  for (const std::string& path : UNUSABLE_PATHS) {
    kfi_domain& domain = ownNode("/data");
    forget();
    EXPECT_EQ(build(domain, path), 3) << "device " << path;
    EXPECT_THAT(trace(), ElementsAre(traced(4, "Not a valid device path [" + path + "]")));

    std::string given = path;
    kfi_subobj_entry entries[] = {{"/data"_text, given.data()}, {}};
    domain.fid_subobjs = entries;
    forget();
    EXPECT_EQ(build(domain), 3) << "given name " << path;
    EXPECT_THAT(trace(), ElementsAre(traced(4, "Not a valid mount point path [" + path + "]")));

    forget();
    EXPECT_EQ(build(ownNode(path)), 3) << "generated for " << path;
    EXPECT_EQ(refusals().size(), 1u);
    expectNothingDone();
    EXPECT_EQ(alternate, nullptr);
  }
}

TEST_F(AlternateTree, BuildWhoseMountPointCannotBeMadeLeavesTwoTraceLinesAndMountsNothing) {
  kfi_domain& domain = ownNode("/data");
  kfi_subobj_entry entries[] = {{"/data"_text, "/alt"_text}, {}};
  domain.fid_subobjs = entries;
  programs.answer("/bin/mkdir", Answer().complains("no ").complains("room").exits(4));

  EXPECT_EQ(build(domain), 6);

  EXPECT_THAT(programs.commands(), ElementsAre("/bin/mkdir -p /alt"));
  EXPECT_THAT(trace(),
              ElementsAre(made("/alt"), traced(1, "Command :/bin/mkdir -p  /alt failed with, return status :11"),
                          traced(1, "command '/bin/mkdir -p  /alt' failed with message 'no room'.")));
  expectExecPipeMessage("KFI_EXEC_PIPE_CMD_FAILED", "no room");
  EXPECT_EQ(alternate, nullptr);
  EXPECT_EQ(domain.fid_private, nullptr);
}

TEST_F(AlternateTree, BuildWhoseMountFailsLeavesTheDirectory) {
  const std::string path = makeDirectory("parent") + "/alt";
  kfi_domain& domain = ownNode("/data");
  std::string name = path;
  kfi_subobj_entry entries[] = {{"/data"_text, name.data()}, {}};
  domain.fid_subobjs = entries;
  programs.answer("/bin/mkdir", Answer().makesDirectory().prints("made"));
  programs.answer("/bin/mount", Answer().complains("wrong fs type").exits(32));

  EXPECT_EQ(build(domain), 6);

  EXPECT_THAT(trace(), ElementsAre(made(path), mounted(path),
                                   traced(1, "command '/bin/mount -t qmfs  -o ro " + SNAPSHOT + " " + path +
                                                 "' failed with message 'wrong fs type'.")));
  expectExecPipeMessage("KFI_EXEC_PIPE_CMD_FAILED", "wrong fs type");
  EXPECT_TRUE(std::filesystem::is_directory(path));
  EXPECT_EQ(programs.commands().size(), 2u);
  EXPECT_EQ(alternate, nullptr);
}

TEST_F(AlternateTree, BuildWithoutAnIdentifierIsAnErrorAfterTheMount) {
  kfi_domain& domain = ownNode("/data");
  kfi_subobj_entry entries[] = {{"/data"_text, "/alt"_text}, {}};
  domain.fid_subobjs = entries;
  importedCalls().failIdentifier("/alt");
  alternate = object("/before");

  EXPECT_EQ(build(domain), 6);

  EXPECT_EQ(programs.commands().size(), 2u);
  EXPECT_THAT(trace(),
              ElementsAre(made("/alt"), mounted("/alt"), traced(1, "buildAltTree : Failed to get objid for :/alt")));
  expectCaughtError(messages(), "buildAltTree : Failed to get objid for :/alt", "buildAltTree");
  EXPECT_EQ(alternate, nullptr);
  EXPECT_EQ(domain.fid_private, nullptr);
}

TEST_F(AlternateTree, OperationsThatNeedPrivateDataAreInvalidAfterTheStop) {
  kfi_domain& domain = ownNode("/data");
  kfi_subobj_entry entries[] = {{"/data"_text, "/alt"_text}, {}};
  domain.fid_subobjs = entries;
  plugin.fini();
  EXPECT_EQ(build(domain), 3);
  EXPECT_EQ(import(domain), 3);
  EXPECT_THAT(programs.commands(), IsEmpty());
  EXPECT_EQ(alternate, nullptr);
}

}  // namespace

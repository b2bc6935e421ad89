// The alternate tree: built from a snapshot of this host, imported from another, and looked at again.
#include <cstdlib>
#include <ctime>
#include <functional>

#include "operations_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

const std::string SNAPSHOT = "/dev/qm/dsk/dg1/snap1";

// The time zone of the process, put back when it goes.
class TimeZone {
 public:
  explicit TimeZone(const char* zone) {
    if (const char* const before = std::getenv("TZ")) m_before = before;
    set(zone);
  }
  TimeZone(const TimeZone&) = delete;
  TimeZone& operator=(const TimeZone&) = delete;
  ~TimeZone() { set(m_before ? m_before->c_str() : nullptr); }

 private:
  static void set(const char* zone) {
    if (zone != nullptr) {
      setenv("TZ", zone, 1);
    } else {
      unsetenv("TZ");
    }
    tzset();
  }
  std::optional<std::string> m_before;
};

class AlternateTree : public OperationsTest {
 protected:
  // Stops the clock on 15 November 2026 at 14:15:30 of a zone five and a half hours ahead of UTC.
  void stopClock() { importedCalls().stopClock(1794732330); }

  // A node of this provider, whose own name is that of its identifier.
  kfi_domain& ownNode(const std::string& name) { return owned(node(name)); }
  static kfi_domain& owned(kfi_domain& domain) {
    domain.fid_provider = "qmfsfi"_text;
    domain.fid_name = domain.fid_objid->vid_name;
    return domain;
  }

  int build(kfi_domain& domain, const std::string& snapshot = SNAPSHOT) {
    qmfi_objid* snapObjects[] = {object(snapshot)};
    return plugin.build_alttree(&domain, "fiid"_text, nullptr, snapObjects, 1, &alternate);
  }
  int import(kfi_domain& domain, const std::string& snapshot = SNAPSHOT) {
    qmfi_objid* snapObjects[] = {object(snapshot)};
    return plugin.import_tree(&domain, nullptr, snapObjects, 1, &alternate);
  }

  std::string alternateName() const { return alternate != nullptr ? alternate->vid_name : ""; }

  TimeZone m_zone{"TST-5:30"};
  qmfi_objid* alternate = nullptr;
};

TraceRecord made(const std::string& path) {
  return {3, "Command : /bin/mkdir -p  " + path};
}

TraceRecord mounted(const std::string& path, const std::string& device = SNAPSHOT) {
  return {3, "Command : /bin/mount -t qmfs  -o ro " + device + " " + path};
}

// Build.

TEST_F(AlternateTree, BuildMountsTheSnapshotReadOnlyOnTheNamedMountPoint) {
  kfi_domain& domain = owned(restoredNode("/data", "/dev/qm/dsk/dg1/vol1"));
  kfi_subobj_entry entries[] = {{"/other"_text, "/wrong"_text}, {"/data"_text, "/data_copy"_text}, {}};
  domain.fid_subobjs = entries;

  EXPECT_EQ(0, build(domain));

  EXPECT_EQ(object("/data_copy"), alternate);
  EXPECT_THAT(importedCalls().identifierRequests(), ElementsAre(IdentifierRequest{"/data_copy", 11, 1}));
  EXPECT_THAT(programs.commands(),
              ElementsAre("/bin/mkdir -p /data_copy", "/bin/mount -t qmfs -o ro " + SNAPSHOT + " /data_copy"));
  EXPECT_THAT(trace(), ElementsAre(made("/data_copy"), mounted("/data_copy"), traced(3, "buildAltTree succeeded")));
  EXPECT_THAT(messages(), IsEmpty());
  EXPECT_EQ("<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>/dev/qm/dsk/dg1/vol1</SUBOBJ>\n<ALTOBJ>/data_copy</ALTOBJ>\n",
            stateOf(domain));
}

TEST_F(AlternateTree, BuildWithoutPrivateDataWarnsAndCreatesThem) {
  kfi_domain& domain = ownNode("/data");
  kfi_subobj_entry entries[] = {{"/data"_text, "/alt"_text}, {}};
  domain.fid_subobjs = entries;

  EXPECT_EQ(0, build(domain));

  EXPECT_THAT(trace(),
              ElementsAre(made("/alt"), mounted("/alt"), traced(2, "Warning : private data is missing for node."),
                          traced(3, "buildAltTree succeeded")));
  ASSERT_NE(nullptr, domain.fid_private);
  // A node of the same name shares them.
  EXPECT_EQ("<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>/dev/qm/dsk/dg1/vol1</SUBOBJ>\n<ALTOBJ>/alt</ALTOBJ>\n",
            stateOf(restoredNode("/data", "/dev/qm/dsk/dg1/vol1")));
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
    EXPECT_EQ(0, build(domain));
    EXPECT_EQ("/data_alt15112026141530", alternateName());
    EXPECT_THAT(trace(), ElementsAre(traced(3, "No altname specified generated  : /data_alt15112026141530"),
                                     made("/data_alt15112026141530"), mounted("/data_alt15112026141530"),
                                     traced(3, "buildAltTree succeeded")));
  }
}

TEST_F(AlternateTree, BuildGeneratesANameWithoutAnyEntryList) {
  stopClock();
  EXPECT_EQ(0, build(ownNode("/data")));
  EXPECT_EQ("/data_alt15112026141530", alternateName());
}

TEST_F(AlternateTree, AnEntryWhoseAlternateNameIsAnEmptyStringCountsAsAbsentAndANameIsGenerated) {
  stopClock();
  kfi_domain& domain = ownNode("/data");
  kfi_subobj_entry entries[] = {{"/data"_text, ""_text}, {}};
  domain.fid_subobjs = entries;
  EXPECT_EQ(0, build(domain));
  EXPECT_EQ("/data_alt15112026141530", alternateName());
}

TEST_F(AlternateTree, BuildNamesTheTreeAfterTheNodesOwnName) {
  stopClock();
  kfi_domain& domain = ownNode("/data");
  domain.fid_name = "/own"_text;
  EXPECT_EQ(0, build(domain));
  EXPECT_EQ("/own_alt15112026141530", alternateName());
}

TEST_F(AlternateTree, BuildTakesTheIdentifiersNameForANodeWithoutAName) {
  stopClock();
  kfi_domain& domain = ownNode("/data");
  domain.fid_name = nullptr;
  EXPECT_EQ(0, build(domain));
  EXPECT_EQ("/data_alt15112026141530", alternateName());
}

TEST_F(AlternateTree, TwoNamesGeneratedWithinTheSameSecondForTheSameNodeAreEqual) {
  stopClock();
  kfi_domain& domain = ownNode("/data");
  EXPECT_EQ(0, build(domain));
  const qmfi_objid* const first = alternate;
  EXPECT_EQ(0, build(domain));
  EXPECT_EQ(first, alternate);
  importedCalls().stopClock(1794732331);
  EXPECT_EQ(0, build(domain));
  EXPECT_EQ("/data_alt15112026141531", alternateName());
}

TEST_F(AlternateTree, TheTimeStampHasLeadingZeros) {
  importedCalls().stopClock(978286092);  // 31 December 2000, 18:08:12 UTC
  const TimeZone zone("TST-9:00");
  EXPECT_EQ(0, build(ownNode("/data")));
  EXPECT_EQ("/data_alt01012001030812", alternateName());
}

TEST_F(AlternateTree, TheNameIsOfTheTimeOfTheCall) {
  const std::time_t before = std::time(nullptr);
  EXPECT_EQ(0, build(ownNode("/data")));
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
    EXPECT_EQ(0, build(domain)) << provider;
  }
}

TEST_F(AlternateTree, AnotherProvidersNodeIsRefused) {
  for (const char* const provider : {"qmfsx", "qmfs", "QMFSFI", "", "other"}) {
    kfi_domain& domain = ownNode("/data");
    domain.fid_provider = const_cast<char*>(provider);
    forget();
    EXPECT_EQ(6, build(domain));
    const std::string text = std::string("buildAltTree() : Invalid prefix :") + provider;
    EXPECT_THAT(trace(), ElementsAre(traced(1, text)));
    expectCaughtError(messages(), text, "buildAltTree");
    EXPECT_THAT(programs.commands(), IsEmpty());
    EXPECT_EQ(nullptr, alternate);
  }
}

TEST_F(AlternateTree, BuildWithoutDomainOrFiidIsAnError) {
  qmfi_objid* snapObjects[] = {object(SNAPSHOT)};
  const std::vector<std::pair<kfi_domain*, char*>> cases = {
      {nullptr, "fiid"_text}, {&ownNode("/data"), nullptr}, {nullptr, nullptr}};
  for (const auto& [domain, fiid] : cases) {
    EXPECT_EQ(6, plugin.build_alttree(domain, fiid, nullptr, snapObjects, 1, &alternate));
    expectCaughtError(messages(), "buildAltTree(): Invalid session or fiid", "buildAltTree");
  }
  EXPECT_THAT(trace(), IsEmpty());
  EXPECT_THAT(programs.commands(), IsEmpty());
  EXPECT_EQ(nullptr, alternate);
}

TEST_F(AlternateTree, BuildWithAMissingArgumentIsInvalidBeforeAnythingIsDone) {
  qmfi_objid* const snapshot = object(SNAPSHOT);
  qmfi_objid nameless{};
  struct Call {
    std::function<void(kfi_domain&)> spoil = [](kfi_domain&) {};
    std::vector<qmfi_objid*> snapObjects;
    bool isListNull = false;
    bool isResultNull = false;
  };
  const Call calls[] = {
      {.spoil = [](kfi_domain& domain) { domain.fid_provider = nullptr; }, .snapObjects = {snapshot}},
      {.spoil = [](kfi_domain& domain) { domain.fid_objid = nullptr, domain.fid_name = nullptr; },
       .snapObjects = {snapshot}},
      {.spoil = [](kfi_domain& domain) { domain.fid_objid = nullptr; }, .snapObjects = {snapshot}},
      {.snapObjects = {}},
      {.snapObjects = {nullptr}},
      {.snapObjects = {&nameless}},
      {.snapObjects = {snapshot}, .isListNull = true},
      {.snapObjects = {snapshot}, .isResultNull = true},
  };
  for (const Call& call : calls) {
    kfi_domain& domain = ownNode("/data");
    call.spoil(domain);
    auto snapObjects = call.snapObjects;
    EXPECT_EQ(3, plugin.build_alttree(&domain, "fiid"_text, nullptr, call.isListNull ? nullptr : snapObjects.data(),
                                      static_cast<int>(snapObjects.size()), call.isResultNull ? nullptr : &alternate))
        << &call - calls;
    expectNothingDone();
    EXPECT_EQ(nullptr, alternate);
    EXPECT_EQ(nullptr, domain.fid_private);
  }
  EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(AlternateTree, BuildRefusesNamesThatACommandCannotCarry) {
  for (const std::string& path : UNUSABLE_PATHS) {
    kfi_domain& domain = ownNode("/data");
    EXPECT_EQ(3, build(domain, path)) << "device " << path;

    std::string given = path;
    kfi_subobj_entry entries[] = {{"/data"_text, given.data()}, {}};
    domain.fid_subobjs = entries;
    EXPECT_EQ(3, build(domain)) << "given name " << path;

    EXPECT_EQ(3, build(ownNode(path))) << "generated for " << path;
    expectNothingDone();
    EXPECT_EQ(nullptr, alternate);
  }
}

TEST_F(AlternateTree, BuildWhoseMountPointCannotBeMadeLeavesTwoTraceLinesAndMountsNothing) {
  kfi_domain& domain = ownNode("/data");
  kfi_subobj_entry entries[] = {{"/data"_text, "/alt"_text}, {}};
  domain.fid_subobjs = entries;
  programs.answer("/bin/mkdir", Answer().complains("no ").complains("room").exits(4));

  EXPECT_EQ(6, build(domain));

  EXPECT_THAT(programs.commands(), ElementsAre("/bin/mkdir -p /alt"));
  EXPECT_THAT(trace(),
              ElementsAre(made("/alt"), traced(1, "Command :/bin/mkdir -p  /alt failed with, return status :11"),
                          traced(1, "command '/bin/mkdir -p  /alt' failed with message 'no room'.")));
  expectExecPipeMessage("KFI_EXEC_PIPE_CMD_FAILED", "no room");
  EXPECT_EQ(nullptr, alternate);
  EXPECT_EQ(nullptr, domain.fid_private);
}

TEST_F(AlternateTree, BuildWhoseMountFailsLeavesTheDirectory) {
  const std::string path = makeDirectory("parent") + "/alt";
  kfi_domain& domain = ownNode("/data");
  std::string name = path;
  kfi_subobj_entry entries[] = {{"/data"_text, name.data()}, {}};
  domain.fid_subobjs = entries;
  programs.answer("/bin/mkdir", Answer().makesDirectory().prints("made"));
  programs.answer("/bin/mount", Answer().complains("wrong fs type").exits(32));

  EXPECT_EQ(6, build(domain));

  EXPECT_THAT(trace(), ElementsAre(made(path), mounted(path),
                                   traced(1, "command '/bin/mount -t qmfs  -o ro " + SNAPSHOT + " " + path +
                                                 "' failed with message 'wrong fs type'.")));
  expectExecPipeMessage("KFI_EXEC_PIPE_CMD_FAILED", "wrong fs type");
  EXPECT_TRUE(std::filesystem::is_directory(path));
  EXPECT_EQ(2u, programs.commands().size());
  EXPECT_EQ(nullptr, alternate);
}

TEST_F(AlternateTree, BuildWithoutAnIdentifierIsAnErrorAfterTheMount) {
  kfi_domain& domain = ownNode("/data");
  kfi_subobj_entry entries[] = {{"/data"_text, "/alt"_text}, {}};
  domain.fid_subobjs = entries;
  importedCalls().failIdentifier("/alt");

  EXPECT_EQ(6, build(domain));

  EXPECT_EQ(2u, programs.commands().size());
  EXPECT_THAT(trace(),
              ElementsAre(made("/alt"), mounted("/alt"), traced(1, "buildAltTree : Failed to get objid for :/alt")));
  expectCaughtError(messages(), "buildAltTree : Failed to get objid for :/alt", "buildAltTree");
  EXPECT_EQ(nullptr, alternate);
  EXPECT_EQ(nullptr, domain.fid_private);
}

TEST_F(AlternateTree, OperationsThatNeedPrivateDataAreInvalidAfterTheStop) {
  kfi_domain& domain = ownNode("/data");
  kfi_subobj_entry entries[] = {{"/data"_text, "/alt"_text}, {}};
  domain.fid_subobjs = entries;
  plugin.fini();
  EXPECT_EQ(3, build(domain));
  EXPECT_EQ(3, import(domain));
  EXPECT_THAT(programs.commands(), IsEmpty());
  EXPECT_EQ(nullptr, alternate);
}

// Import.

TraceRecord lookedUp(const std::string& path) {
  return {6, "Calling qmfs_getsubobj for :" + path};
}

TEST_F(AlternateTree, ImportMountsOnTheRememberedMountPoint) {
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

TEST_F(AlternateTree, ImportTakesTheFirstEntrysAlternateNameAndRemembersIt) {
  kfi_domain& domain = restoredNode("/data", "/dev/qm/dsk/dg1/vol1");
  kfi_subobj_entry entries[] = {{"/other"_text, "/first"_text}, {"/data"_text, "/second"_text}, {}};
  domain.fid_subobjs = entries;

  EXPECT_EQ(0, import(domain));

  EXPECT_EQ("/first", alternateName());
  EXPECT_THAT(trace(), ElementsAre(made("/first"), lookedUp("/first"), mounted("/first")));
  EXPECT_EQ("<MNT_OPTS>rw</MNT_OPTS>\n<SUBOBJ>/dev/qm/dsk/dg1/vol1</SUBOBJ>\n<ALTOBJ>/first</ALTOBJ>\n",
            stateOf(domain));
}

TEST_F(AlternateTree, ImportGeneratesANameFromTheFirstEntrysObject) {
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

TEST_F(AlternateTree, ImportingANodeWhoseAlternateMountPointIsMountedSucceedsWithoutMount) {
  kfi_domain& domain = restoredNode("/data", "/dev/qm/dsk/dg1/vol1", "rw", "/alt");
  table.add(SNAPSHOT, "/alt", "qmfs", "ro");

  EXPECT_EQ(0, import(domain));

  EXPECT_EQ(object("/alt"), alternate);
  EXPECT_THAT(programs.commands(), ElementsAre("/bin/mkdir -p /alt"));
  EXPECT_THAT(trace(), ElementsAre(made("/alt"), lookedUp("/alt")));
}

TEST_F(AlternateTree, ARepeatedImportReusesTheMount) {
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

TEST_F(AlternateTree, ImportMountsOverAFileSystemOfAnotherType) {
  kfi_domain& domain = restoredNode("/data", "/dev/qm/dsk/dg1/vol1", "rw", "/alt");
  table.add(SNAPSHOT, "/alt", "xfs", "ro");
  EXPECT_EQ(0, import(domain));
  EXPECT_EQ(2u, programs.commands().size());
}

TEST_F(AlternateTree, ImportWithAMountTableThatCannotBeReadFailsAfterTheDirectoryWasMade) {
  kfi_domain& domain = restoredNode("/data", "/dev/qm/dsk/dg1/vol1", "rw", "/alt");
  table.makeUnreadable();

  EXPECT_EQ(6, import(domain));

  EXPECT_THAT(programs.commands(), ElementsAre("/bin/mkdir -p /alt"));
  EXPECT_THAT(trace(), ElementsAre(made("/alt"), lookedUp("/alt"), traced(1, "Mount point entry lookup failed")));
  EXPECT_THAT(messages(), IsEmpty());
  EXPECT_EQ(nullptr, alternate);
}

TEST_F(AlternateTree, ImportWhoseMountPointCannotBeMadeStopsThere) {
  kfi_domain& domain = restoredNode("/data", "/dev/qm/dsk/dg1/vol1", "rw", "/alt");
  programs.answer("/bin/mkdir", Answer().complains("read-only").exits(1));

  EXPECT_EQ(6, import(domain));

  EXPECT_THAT(programs.commands(), ElementsAre("/bin/mkdir -p /alt"));
  EXPECT_THAT(trace(),
              ElementsAre(made("/alt"), traced(1, "command '/bin/mkdir -p  /alt' failed with message 'read-only'.")));
  expectExecPipeMessage("KFI_EXEC_PIPE_CMD_FAILED", "read-only");
  EXPECT_EQ(nullptr, alternate);
}

TEST_F(AlternateTree, ImportWhoseMountFailsIsAnError) {
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

TEST_F(AlternateTree, ImportWithoutAnIdentifierIsAnErrorAfterTheMount) {
  kfi_domain& domain = restoredNode("/data", "/dev/qm/dsk/dg1/vol1", "rw", "/alt");
  importedCalls().failIdentifier("/alt");

  EXPECT_EQ(6, import(domain));

  EXPECT_THAT(trace(), ElementsAre(made("/alt"), lookedUp("/alt"), mounted("/alt"),
                                   traced(1, "importTreeNode : Failed to get objid for :/alt")));
  expectCaughtError(messages(), "importTreeNode : Failed to get objid for :/alt", "importTreeNode");
  EXPECT_EQ(nullptr, alternate);
}

TEST_F(AlternateTree, ImportNeedsASnapshotObjectOnlyWhenItMustMount) {
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

TEST_F(AlternateTree, ImportWithAMissingArgumentIsInvalidBeforeAnythingIsDone) {
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

TEST_F(AlternateTree, ImportRefusesNamesThatACommandCannotCarry) {
  for (const std::string& path : UNUSABLE_PATHS) {
    kfi_domain& domain = node("/data");
    std::string text = path;
    kfi_subobj_entry entries[] = {{"/data"_text, "/alt"_text}, {}};
    domain.fid_subobjs = entries;
    EXPECT_EQ(3, import(domain, path)) << "device " << path;

    entries[0].kse_altname = text.data();
    EXPECT_EQ(3, import(domain)) << "given name " << path;

    entries[0] = {text.data(), nullptr};
    EXPECT_EQ(3, import(domain)) << "generated for " << path;

    EXPECT_EQ(3, import(restoredNode("/data", "/dev/qm/dsk/dg1/vol1", "rw", path))) << "remembered " << path;
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

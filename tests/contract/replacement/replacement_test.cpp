// The plug-in in another framework than the reference one: what it tells that framework, and a whole snapshot.
#include <dlfcn.h>

#include <cstdlib>
#include <deque>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "alternate_tree_fixture.h"
#include "build_tree.h"
#include "quiesce_fixture.h"
#include "record.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Without the line numbers of trace scopes.
std::string plain(const std::string& event) {
  const std::size_t place = event.find(" [");
  return event.find(" Function ") != std::string::npos && place != std::string::npos ? event.substr(0, place) : event;
}

class Replacement : public ::testing::Test {
 protected:
  Replacement() {
    frameworkRecord() = FrameworkRecord();
    m_library.emplace(QMFI_BINARY_DIR "/lib/libqmfsfi.so");
    plugin = PluginFunctions(*m_library);
    importedCalls().reset(m_library->handle());
  }

  ~Replacement() override {
    m_library.reset();
    EXPECT_EQ(::dlopen(QMFI_BINARY_DIR "/lib/libqmfsfi.so", RTLD_NOW | RTLD_NOLOAD), nullptr) << "it stays loaded";
    EXPECT_THAT(frameworkRecord().buffers, IsEmpty());
    EXPECT_THAT(frameworkRecord().wrongReleases, IsEmpty());
  }

  int start() {
    m_host.record.kcx_callback = [](kfi_context* context, const char* native, const char* defaulted,
                                    std::int32_t severity) {
      // The record is the first member.
      auto* const host = reinterpret_cast<Host*>(context);
      host->texts.push_back(std::string(native) + " | " + defaulted + " | " + std::to_string(severity));
    };
    m_host.record.kcx_language = &m_language;
    return plugin.init(&m_host.record, &version, "the host"_text);
  }

  qmfi_objid* object(const std::string& name) {
    return importedCalls().identifier(name.c_str(), static_cast<std::uint32_t>(name.size()), 1);
  }
  kfi_domain& node(const std::string& name) {
    kfi_domain& domain = m_nodes.emplace_back();
    domain.fid_objid = object(name);
    return domain;
  }

  // What happened since the last time, in order.
  static std::vector<std::string> takeEvents() {
    std::vector<std::string> events;
    for (const std::string& event : std::exchange(frameworkRecord().events, {})) events.push_back(plain(event));
    return events;
  }

  // The records of the trace log among it, without those of scopes.
  static std::vector<TraceRecord> takeTrace() {
    std::vector<TraceRecord> records;
    for (const std::string& event : takeEvents()) {
      const bool isRecord = event.size() > 3 && event[0] == 'L' && event[2] == ' ';
      if (isRecord && event.find(" Function ") == std::string::npos) {
        records.push_back(traced(event[1] - '0', event.substr(3)));
      }
    }
    return records;
  }

  static std::vector<std::string> takeCommands() { return std::exchange(frameworkRecord().commands, {}); }

  const std::vector<std::string>& texts() const { return m_host.texts; }

  TemporaryDirectory m_directory;
  PluginFunctions plugin;
  StandInPrograms programs;
  MountTableFile table;
  kfi_version version{};
  const std::string& mountPoint = m_directory.path();

 private:
  struct Host {
    kfi_context record{};
    std::vector<std::string> texts;
  };

  std::optional<PluginLibrary> m_library;
  Host m_host;
  char* m_language = "de"_text;
  std::deque<kfi_domain> m_nodes;
};

TEST_F(Replacement, IsWhatThePluginRunsIn) {
  EXPECT_EQ(::dlopen(QMFI_BINARY_DIR "/lib/libqmfi_pdk.so.4", RTLD_NOW | RTLD_NOLOAD), nullptr);
  void* const used = ::dlopen(QMFI_BINARY_DIR "/lib/replacement/libqmfi_pdk.so.4", RTLD_NOW | RTLD_NOLOAD);
  ASSERT_NE(used, nullptr);
  ::dlclose(used);
}

TEST_F(Replacement, IsToldAllByTheStartInOrder) {
  ASSERT_EQ(start(), 0);
  EXPECT_THAT(version.number, ElementsAre(7, 0, 0, 0));
  EXPECT_THAT(
      takeEvents(),
      ElementsAre(
          "CFiPluginBase()", "setProviderName(qmfsfi)", "setFimName(the host)", "setMessageIndexOffset(6000)",
          "CFiMessageCatalogManager()", "CFiErrorManager()", "initialize(qmfsfi, , , 1, false)",
          "setNativeLanguage(de)", "registerHandler()", "registerErrorManager() behind the trace log",
          "registerCatalogManager()", "registerPrivateDataManager() with a trace log", "registerSessionManager()",
          "L6 Entering Function init", "L6 Entering Function isInstalled",
          "L3 CQmFSPlugin::isInstalled : command : /bin/rpm -qa  | /bin/grep KRIBqmfs",
          "L6 Exiting Function isInstalled", "L3 QmFS install check passed.", "registerFactory(root, qmfsfi)",
          "CFiConfiguration(qmfsfi)", "L6 Entering Function importConfigData", "openSection(QUIESCENCE_INFO, 1)",
          "L6 CQmFSConfiguration::importConfigData - Successfully opend section QUIESCENCE_INFO",
          "L6 CQmFSConfiguration::importConfigData - could not find value for  QUIESCENCE_TIMEOUT",
          "L6 CQmFSConfiguration::importConfigData - could not find value for QUIESCENCE_SERIAL_QUIESCENCE",
          "L6 CQmFSConfiguration::importConfigData From File - configData.quiescenceTimeout = 2",
          "L6 CQmFSConfiguration::importConfigData From File - configData.allowSerialQuiescence = 0",
          "L6 Exiting Function importConfigData", "L3 QmFS plugin init successful", "L6 Exiting Function init"));
  EXPECT_THAT(takeCommands(), ElementsAre("/bin/rpm -qa  | /bin/grep KRIBqmfs"));
  plugin.fini();
}

TEST_F(Replacement, FindsInTheTraceLogItsMarkerAndTheErrorManager) {
  ASSERT_EQ(start(), 0);
  EXPECT_EQ(frameworkRecord().markerOfTheLog, 12345);
  EXPECT_NE(frameworkRecord().errorManagerOfTheLog, nullptr);
  EXPECT_EQ(frameworkRecord().errorManagerOfTheLog, frameworkRecord().errorManagerOfTheProvider);
  plugin.fini();
}

TEST_F(Replacement, MeetsNothingOfAStartWithoutAVersionRecord) {
  EXPECT_EQ(plugin.init(nullptr, nullptr, "the host"_text), 7);
  EXPECT_THAT(takeEvents(), IsEmpty());
}

TEST_F(Replacement, IsToldOfTheEndBeforeTheProviderIsFinished) {
  ASSERT_EQ(start(), 0);
  takeEvents();
  plugin.fini();
  // The scope holds the trace log, that the error manager, and the handler of that one the catalogs.
  EXPECT_THAT(takeEvents(), ElementsAre("L6 Entering Function qmfsfi_fi_pgn_fini", "isShuttingDown(true)",
                                        "L6 Entering Function fini", "L6 Exiting Function fini", "~CFiPluginBase()",
                                        "L6 Exiting Function qmfsfi_fi_pgn_fini", "~CFiErrorManager()",
                                        "~CFiMessageCatalogManager()"));
}

TEST_F(Replacement, IsGivenMessagesAndTheirTextsReachTheHost) {
  ASSERT_EQ(start(), 0);
  kfi_domain* configuration = &node("configuration");
  kfi_domain& domain = node("/not/mounted");
  EXPECT_EQ(plugin.init_node(&domain, &configuration, 1, nullptr), 6);
  EXPECT_THAT(frameworkRecord().messages, ElementsAre("MSG_ERROR_SUBOBJ_NOT_FOUND(/not/mounted) 2"));
  EXPECT_THAT(texts(), ElementsAre("de: MSG_ERROR_SUBOBJ_NOT_FOUND | root: MSG_ERROR_SUBOBJ_NOT_FOUND | 2"));
  plugin.deinit_node(&domain);
  plugin.fini();
}

// One file system, mounted and initialised as a node of a snapshot.
class ReplacementSnapshot : public Replacement {
 protected:
  void SetUp() override { table.add("/dev/qm/dsk/dg1/vol1", mountPoint); }

  // Starts the plug-in and initialises the node.
  void initialise() {
    ASSERT_EQ(start(), 0);
    domain = &node(mountPoint);
    configuration = &node("configuration");
    ASSERT_EQ(plugin.init_node(configuration, nullptr, 0, nullptr), 0);
    ASSERT_EQ(plugin.init_node(domain, &configuration, 1, nullptr), 0);
    ASSERT_NE(domain->fid_qnode, nullptr);
    EXPECT_STREQ(domain->fid_qnode->kqn_fitype, "qmfs");
    takeEvents();
    takeCommands();
  }

  void finish() {
    for (kfi_domain* const one : {domain, configuration}) plugin.deinit_node(one);
    plugin.fini();
  }

  void expectClaim() {
    qmfi_objid** groups = nullptr;
    int count = 0;
    EXPECT_EQ(plugin.claim(object(mountPoint), &groups, &count), 1);
    ASSERT_EQ(count, 1);
    EXPECT_STREQ(groups[0]->vid_name, "qmfs-quiesce");
    EXPECT_THAT(takeTrace(),
                ElementsAre(traced(3, "primaryObjid->vid_name : " + mountPoint), traced(6, "Calling qmfs_check_claim"),
                            traced(6, "qmfs_check_claim returned claim : 1"), traced(3, "claim : 1")));
  }

  void expectFreezeAndThaw(int seconds) {
    EXPECT_EQ(plugin.quiesce(domain->fid_qnode, nullptr, 0, nullptr), 0);
    EXPECT_THAT(takeTrace(), ElementsAre(timeout(seconds), openingContext(), freezingAll()));
    plugin.unquiesce(domain->fid_qnode, nullptr, 0);
    EXPECT_THAT(takeTrace(), ElementsAre(thawing(), closingContext()));
    EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll({mountPoint}, seconds), thaw(mountPoint)));
    EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close"));
  }

  void expectAlternateTree() {
    domain->fid_provider = "qmfsfi"_text;
    kfi_subobj_entry entries[] = {{domain->fid_name, "/data_copy"_text}, {}};
    domain->fid_subobjs = entries;
    qmfi_objid* snapshot = object(SNAPSHOT);
    qmfi_objid* alternate = nullptr;
    EXPECT_EQ(plugin.build_alttree(domain, "fiid"_text, nullptr, &snapshot, 1, &alternate), 0);
    domain->fid_subobjs = nullptr;
    EXPECT_EQ(alternate, object("/data_copy"));
    EXPECT_THAT(takeTrace(),
                ElementsAre(made("/data_copy"), mounted("/data_copy"), traced(3, "buildAltTree succeeded")));
    EXPECT_THAT(takeCommands(),
                ElementsAre("/bin/mkdir -p  /data_copy", "/bin/mount -t qmfs  -o ro " + SNAPSHOT + " /data_copy"));
  }

  void expectDeport() {
    table.add(SNAPSHOT, "/data_copy", "qmfs", "ro");
    EXPECT_EQ(plugin.deport_tree(domain, &node("/data_copy"), nullptr), 0);
    EXPECT_THAT(takeCommands(), ElementsAre("/opt/KRIB/bin/qmumount -o force  /data_copy", "/bin/rmdir  /data_copy"));
  }

  kfi_domain* domain = nullptr;
  kfi_domain* configuration = nullptr;
};

TEST_F(ReplacementSnapshot, RunsFromItsClaimToItsEnd) {
  ASSERT_NO_FATAL_FAILURE(initialise());
  expectClaim();
  expectFreezeAndThaw(2);
  expectAlternateTree();
  expectDeport();
  finish();
  EXPECT_THAT(frameworkRecord().messages, IsEmpty());
}

TEST_F(ReplacementSnapshot, TakesItsTimeoutFromTheConfiguration) {
  frameworkRecord().configuration = {{"QUIESCENCE_TIMEOUT", 30}};
  ASSERT_NO_FATAL_FAILURE(initialise());
  expectFreezeAndThaw(30);
  finish();
}

// A session with two nodes whose snapshots have the given names.
class ReplacementSession : public Replacement {
 protected:
  // Returns what make answers; what it hands out is kept.
  int make(const char* first, const char* second) {
    EXPECT_EQ(start(), 0);
    frameworkRecord().secondNames = {{"/a", first}, {"/b", second}};
    kfi_domain domains[2] = {};
    domains[0].fid_name = "/a"_text;
    domains[1].fid_name = "/b"_text;
    kfi_splitnode nodes[] = {{"/a"_text, &domains[0]}, {"/b"_text, &domains[1]}};
    kfi_splitnode* list[] = {&nodes[0], &nodes[1]};
    EXPECT_EQ(plugin.preselect(nullptr, "session"_text, list, 2), 0);
    const int status = plugin.make(nullptr, "session"_text, list, 2, &objects, &count);
    plugin.fini();
    return status;
  }

  qmfi_objid** objects = nullptr;
  int count = 0;
};

TEST_F(ReplacementSession, GetsTheSnapshotsInABufferOfTheirNumber) {
  EXPECT_EQ(make("/snap/a", "/snap/b"), 0);
  ASSERT_EQ(count, 2);
  EXPECT_STREQ(objects[0]->vid_name, "/snap/a");
  EXPECT_STREQ(objects[1]->vid_name, "/snap/b");
  ASSERT_EQ(frameworkRecord().buffers.size(), 1u);
  EXPECT_EQ(frameworkRecord().buffers[objects], 2 * sizeof(void*));
  EXPECT_THAT(importedCalls().identifierRequests(),
              ElementsAre(IdentifierRequest{"/snap/a", 8, 1}, IdentifierRequest{"/snap/b", 8, 1}));
  frameworkRecord().buffers.clear();
  std::free(objects);
}

TEST_F(ReplacementSession, GetsTheWholeBufferBackWhenANameHasNoIdentifier) {
  EXPECT_EQ(make("/snap/a", ""), 0);
  EXPECT_EQ(count, 2);
  EXPECT_EQ(objects, nullptr);
  EXPECT_THAT(frameworkRecord().wrongReleases, IsEmpty());
  EXPECT_THAT(frameworkRecord().buffers, IsEmpty());
}

}  // namespace

// The plug-in's start and stop, and what it says of itself.
#include <sys/stat.h>

#include <algorithm>

#include "plugin_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
using ::testing::StartsWith;
using ::testing::UnorderedElementsAre;

const char* const checkCommand = "/bin/rpm -qa  | /bin/grep KRIBqmfs";

TraceRecord checkTrace() {
  return traced(3, std::string("CQmFSPlugin::isInstalled : command : ") + checkCommand);
}

// What init traces between its install check and its end when the configuration is not there.
std::vector<TraceRecord> successfulStart(const std::vector<TraceRecord>& configuration) {
  std::vector<TraceRecord> records = {
      checkTrace(),
      traced(3, "QmFS install check passed."),
      traced(6, "CQmFSConfiguration::importConfigData - Successfully opend section QUIESCENCE_INFO"),
  };
  records.insert(records.end(), configuration.begin(), configuration.end());
  records.push_back(traced(3, "QmFS plugin init successful"));
  return records;
}

std::vector<std::string> namesOf(const std::vector<TraceScope>& scopes) {
  std::vector<std::string> names;
  for (const auto& scope : scopes) names.push_back((scope.entered ? "+" : "-") + scope.function);
  return names;
}

class Start : public LoadedPlugin {
 protected:
  // Pushes a message by a node that is not mounted.
  void pushMessage() {
    kfi_domain* configuration = &node("configuration");
    EXPECT_EQ(6, plugin.init_node(&node("/not/mounted"), &configuration, 1, nullptr));
  }
};

TEST_F(Start, WithoutVersionRecordReturns7AndCreatesNothing) {
  EXPECT_EQ(7, plugin.init(nullptr, nullptr, nullptr));
  EXPECT_FALSE(hasTraceLog());
  EXPECT_THAT(programs.commands(), IsEmpty());
  EXPECT_THAT(importedCalls().contextCalls(), IsEmpty());
}

TEST_F(Start, SucceedsAfterOneWithoutVersionRecord) {
  EXPECT_EQ(7, plugin.init(nullptr, nullptr, nullptr));
  EXPECT_EQ(0, startPlugin());
}

TEST_F(Start, ReportsInterfaceVersion7) {
  ASSERT_EQ(0, startPlugin());
  EXPECT_THAT(version.number, ElementsAre(7, 0, 0, 0));
}

TEST_F(Start, RunsTheInstallCheckAndReadsTheDefaults) {
  ASSERT_EQ(0, startPlugin());
  EXPECT_THAT(programs.commands(), UnorderedElementsAre("/bin/rpm -qa", "/bin/grep KRIBqmfs"));
  EXPECT_EQ(
      trace(),
      successfulStart(
          {traced(6, "CQmFSConfiguration::importConfigData - could not find value for  QUIESCENCE_TIMEOUT"),
           traced(6, "CQmFSConfiguration::importConfigData - could not find value for QUIESCENCE_SERIAL_QUIESCENCE"),
           traced(6, "CQmFSConfiguration::importConfigData From File - configData.quiescenceTimeout = 2"),
           traced(6, "CQmFSConfiguration::importConfigData From File - configData.allowSerialQuiescence = 0")}));
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Start, OpensNoScopeOfItsOwn) {
  ASSERT_EQ(0, startPlugin());
  EXPECT_THAT(namesOf(scopes()),
              ElementsAre("+init", "+isInstalled", "-isInstalled", "+importConfigData", "-importConfigData", "-init"));
}

TEST_F(Start, TakesOnlyTheTimeoutFromASectionThatHasOnlyThat) {
  configure("[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT = 10\n");
  ASSERT_EQ(0, startPlugin());
  EXPECT_EQ(
      trace(),
      successfulStart(
          {traced(6, "CQmFSConfiguration::importConfigData - could not find value for QUIESCENCE_SERIAL_QUIESCENCE"),
           traced(6, "CQmFSConfiguration::importConfigData From File - configData.quiescenceTimeout = 10"),
           traced(6, "CQmFSConfiguration::importConfigData From File - configData.allowSerialQuiescence = 0")}));
}

TEST_F(Start, TakesBothValuesFromTheConfiguration) {
  configure("[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT=30\nQUIESCENCE_SERIAL_QUIESCENCE=1\n");
  ASSERT_EQ(0, startPlugin());
  EXPECT_EQ(trace(),
            successfulStart(
                {traced(6, "CQmFSConfiguration::importConfigData From File - configData.quiescenceTimeout = 30"),
                 traced(6, "CQmFSConfiguration::importConfigData From File - configData.allowSerialQuiescence = 1")}));
}

TEST_F(Start, IgnoresTheValuesOfOtherSections) {
  configure("[OTHER]\nQUIESCENCE_TIMEOUT=30\nQUIESCENCE_SERIAL_QUIESCENCE=1\n");
  ASSERT_EQ(0, startPlugin());
  EXPECT_THAT(trace(), ::testing::Contains(traced(
                           6, "CQmFSConfiguration::importConfigData From File - configData.quiescenceTimeout = 2")));
}

TEST_F(Start, WithoutThePackageReturns30WithTheLevel1Line) {
  programs.answer("/bin/grep", Answer().exits(1));
  EXPECT_EQ(30, startPlugin());
  EXPECT_THAT(trace(), ElementsAre(checkTrace(),
                                   traced(1, std::string("command '") + checkCommand + "' failed with message ''."),
                                   traced(1, "CQmFSPlugin::init QmFS not installed.")));
  // The message's second argument, the first line that was printed, is empty.
  expectMessage(messages(), "MSG_ERROR_COMMAND_FAILED", std::string(checkCommand) + ", ");
}

TEST_F(Start, ReportsTheFirstLineThatAFailedInstallCheckPrinted) {
  programs.answer("/bin/grep", Answer().prints("first line").complains("second line").exits(2));
  EXPECT_EQ(30, startPlugin());
  EXPECT_THAT(trace(), ElementsAre(checkTrace(),
                                   traced(1, std::string("command '") + checkCommand +
                                                 "' failed with message 'first linesecond line'."),
                                   traced(1, "CQmFSPlugin::init QmFS not installed.")));
  expectMessage(messages(), "MSG_ERROR_COMMAND_FAILED", std::string(checkCommand) + ", first line");
}

TEST_F(Start, DecidesByTheStatusOfTheCheckAloneNotByItsOutput) {
  programs.answer("/bin/grep", Answer().prints("nothing of the name"));
  EXPECT_EQ(0, startPlugin());
}

TEST_F(Start, WithoutTheQueryProgramReturns30) {
  programs.remove("/bin/rpm");
  EXPECT_EQ(30, startPlugin());
  expectMessage(messages(), "MSG_ERROR_COMMAND_FAILED", std::string(checkCommand) + ", ");
}

TEST_F(Start, WithoutThePackageLeavesNodeOperationsInvalid) {
  programs.answer("/bin/grep", Answer().exits(1));
  ASSERT_EQ(30, startPlugin());
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a");
  kfi_domain* configuration = &node("configuration");
  kfi_domain& domain = node("/mnt/a");
  EXPECT_EQ(3, plugin.init_node(&domain, &configuration, 1, nullptr));
  EXPECT_EQ(nullptr, domain.fid_qnode);
  EXPECT_EQ(nullptr, domain.fid_private);
  kfi_blob blob{};
  EXPECT_EQ(3, plugin.process_providerstate(&domain, &blob, 1));
}

TEST_F(Start, WithoutContextWorksAndSwallowsMessages) {
  ASSERT_EQ(0, startPluginWithoutContext());
  pushMessage();
  expectMessage(messages(), "MSG_ERROR_SUBOBJ_NOT_FOUND", "/not/mounted");
}

TEST_F(Start, WithContextWithoutCallbackSwallowsMessages) {
  kfi_context context{};
  started = true;
  ASSERT_EQ(0, plugin.init(&context, &version, nullptr));
  pushMessage();
  expectMessage(messages(), "MSG_ERROR_SUBOBJ_NOT_FOUND", "/not/mounted");
}

TEST_F(Start, WithNullLanguageStillHandsMessagesOut) {
  ASSERT_EQ(0, startPlugin());
  pushMessage();
  ASSERT_EQ(1u, callbacks.size());
  EXPECT_THAT(callbacks[0].defaultText, HasSubstr("/not/mounted"));
  EXPECT_EQ(callbacks[0].defaultText, callbacks[0].nativeText);
  EXPECT_EQ(2, callbacks[0].severity);
}

TEST_F(Start, WithANativeLanguageHandsMessagesOutInBothLanguages) {
  language = "de";
  ASSERT_EQ(0, startPlugin());
  pushMessage();
  ASSERT_EQ(1u, callbacks.size());
  for (const std::string& text : {callbacks[0].nativeText, callbacks[0].defaultText}) {
    EXPECT_THAT(text, HasSubstr("/not/mounted"));
    EXPECT_THAT(text, Not(HasSubstr("MSG_ERROR_")));
  }
  EXPECT_NE(callbacks[0].defaultText, callbacks[0].nativeText);
}

TEST_F(Start, KeepsItsLogToItself) {
  ASSERT_EQ(0, startPlugin());
  struct stat status {};
  ASSERT_EQ(0, stat((std::string(getenv("QMFI_LOG_DIR")) + "/qmfsfi.log").c_str(), &status));
  EXPECT_EQ(0600u, status.st_mode & 07777u);
}

TEST_F(Start, TracesFailuresOnlyWhereNothingElseIsAskedFor) {
  unsetenv("QMFI_TRACE_LEVEL");
  programs.answer("/bin/grep", Answer().exits(1));
  EXPECT_EQ(30, startPlugin());
  EXPECT_THAT(trace(), ElementsAre(traced(1, std::string("command '") + checkCommand + "' failed with message ''."),
                                   traced(1, "CQmFSPlugin::init QmFS not installed.")));
  EXPECT_THAT(scopes(), IsEmpty());
}

class Stop : public StartedPlugin {};

TEST_F(Stop, RunsTheProvidersFiniThoughDelayedInitialisationNeverRan) {
  stopPlugin();
  EXPECT_THAT(namesOf(scopes()), ElementsAre("+qmfsfi_fi_pgn_fini", "+fini", "-fini", "-qmfsfi_fi_pgn_fini"));
  EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(Stop, WritesItsExitAlthoughTheLogIsDroppedBefore) {
  stopPlugin();
  const auto records = scopes();
  ASSERT_EQ(4u, records.size());
  EXPECT_EQ("qmfsfi_fi_pgn_fini", records.back().function);
  EXPECT_FALSE(records.back().entered);
  EXPECT_EQ(records.front().place, records.back().place);
  EXPECT_THAT(records.front().place, ::testing::EndsWith(", cfiapiexport.h"));
  EXPECT_THAT(records[1].place, ::testing::ContainsRegex("^[0-9]+, qmfs_plugin\\.cpp$"));
}

TEST_F(Stop, WithoutAStartBeforeItDoesNothing) {
  stopPlugin();
  forget();
  plugin.fini();
  EXPECT_THAT(trace(), IsEmpty());
  EXPECT_THAT(scopes(), IsEmpty());
  expectNothingDone("stop without a start");
}

TEST_F(Stop, LaterCallsMeetAFreshProviderWithoutPrivateData) {
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a");
  stopPlugin();
  qmfi_objid** groups = nullptr;
  int count = 0;
  EXPECT_EQ(1, plugin.claim(object("/mnt/a"), &groups, &count));
  kfi_domain* configuration = &node("configuration");
  EXPECT_EQ(3, plugin.init_node(&node("/mnt/a"), &configuration, 1, nullptr));
  kfi_quiescenode quiesceNode{"qmfs"_text, &node("/mnt/a"), configuration};
  EXPECT_EQ(3, plugin.quiesce(&quiesceNode, nullptr, 0, nullptr));
  EXPECT_EQ(3, plugin.online(nullptr, &node("/mnt/a"), 1, 0));
  EXPECT_EQ(3, plugin.init_altnode(nullptr, nullptr, &node("/mnt/a")));
  EXPECT_EQ(3, plugin.cache_disable(&node("/mnt/a")));
  EXPECT_EQ(3, plugin.subobj_list(&node("/mnt/a"), &groups, &count));
  kfi_blob blob{};
  EXPECT_EQ(3, plugin.process_providerstate(&node("/mnt/a"), &blob, 1));
  kfi_domain& ours = node("/mnt/a");
  ours.fid_provider = "qmfsfi"_text;
  qmfi_objid* snapshot = object("/dev/qm/dsk/dg1/snap");
  qmfi_objid* alternate = nullptr;
  EXPECT_EQ(3, plugin.build_alttree(&ours, "fiid"_text, nullptr, &snapshot, 1, &alternate));
  kfi_subobj_entry entries[] = {{"/mnt/a"_text, "/mnt/alt"_text}, {nullptr, nullptr}};
  ours.fid_subobjs = entries;
  EXPECT_EQ(3, plugin.import_tree(&ours, nullptr, &snapshot, 1, &alternate));
  EXPECT_EQ(nullptr, alternate);
  EXPECT_THAT(importedCalls().contextCalls(), IsEmpty());
}

TEST_F(Stop, IsNotNeededBeforeUnloading) {
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a");
  initialisedNode("/mnt/a");
  deinitialiseNodes();
  unloadPlugin();
}

TEST_F(Stop, TheProviderCanBeStartedAgain) {
  stopPlugin();
  EXPECT_EQ(0, startPlugin());
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a");
  EXPECT_EQ(0x802u, initialisedNode("/mnt/a").fid_attr);
}

class Identity : public StartedPlugin {};

TEST_F(Identity, ProviderInformationIsOneElementOfTypeQmfsAndVersion7) {
  kfi_provider_list* list = nullptr;
  ASSERT_EQ(0, plugin.get_provider_info(&list));
  ASSERT_NE(nullptr, list);
  EXPECT_EQ(nullptr, list->kpl_next);
  EXPECT_STREQ("qmfsfi", list->kpl_name);
  EXPECT_THAT(list->kpl_version.number, ElementsAre(7, 0, 0, 0));
  EXPECT_THAT(list->kpl_attr, ElementsAre(16, 2));
  EXPECT_EQ(nullptr, list->kpl_reserved);
  ASSERT_NE(nullptr, list->kpl_fitypes);
  EXPECT_STREQ("qmfs", list->kpl_fitypes->ksl_value);
  EXPECT_EQ(nullptr, list->kpl_fitypes->ksl_next);
  framework.qmfi_free_providerlist(list);
}

TEST_F(Identity, ProviderInformationThatCannotBeMadeLeavesNull) {
  importedCalls().failProviderList();
  kfi_provider_list stale{};
  kfi_provider_list* list = &stale;
  EXPECT_EQ(6, plugin.get_provider_info(&list));
  EXPECT_EQ(nullptr, list);
  const auto pushed = messages();
  ASSERT_EQ(1u, pushed.size());
  EXPECT_EQ("MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION", pushed[0].id);
  EXPECT_EQ(3, pushed[0].severity);
}

TEST_F(Identity, ProviderInformationWithoutAPlaceIsInvalid) {
  EXPECT_EQ(3, plugin.get_provider_info(nullptr));
}

TEST_F(Identity, SupportsFiTypeWrites0WhateverTheTypeIs) {
  for (char* type : {"qmfs"_text, "QMFS"_text, "xfs"_text, ""_text, static_cast<char*>(nullptr)}) {
    int answer = 77;
    kfi_domain& domain = node("/mnt/a");
    domain.fid_supported = &answer;
    EXPECT_EQ(0, plugin.supports_fitype(&domain, type));
    EXPECT_EQ(0, answer);
  }
}

TEST_F(Identity, SupportsFiTypeStoresNothingWhereThereIsNowhereTo) {
  EXPECT_EQ(0, plugin.supports_fitype(&node("/mnt/a"), "qmfs"_text));
  EXPECT_EQ(0, plugin.supports_fitype(nullptr, "qmfs"_text));
}

}  // namespace

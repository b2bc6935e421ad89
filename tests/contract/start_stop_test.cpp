// The plug-in's start and stop, and what it says of itself.
#include <sys/stat.h>

#include <algorithm>

#include "plugin_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;
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
    EXPECT_EQ(plugin.init_node(&node("/not/mounted"), &configuration, 1, nullptr), 6);
  }
};

TEST_F(Start, WithoutVersionRecordReturns7AndCreatesNothing) {
  EXPECT_EQ(plugin.init(nullptr, nullptr, nullptr), 7);
  EXPECT_FALSE(hasTraceLog());
  EXPECT_THAT(programs.commands(), IsEmpty());
  EXPECT_THAT(importedCalls().contextCalls(), IsEmpty());
}

TEST_F(Start, SucceedsAfterOneWithoutVersionRecord) {
  EXPECT_EQ(plugin.init(nullptr, nullptr, nullptr), 7);
  EXPECT_EQ(startPlugin(), 0);
}

TEST_F(Start, ReportsInterfaceVersion7) {
  ASSERT_EQ(startPlugin(), 0);
  EXPECT_THAT(version.number, ElementsAre(7, 0, 0, 0));
}

TEST_F(Start, RunsTheInstallCheckAndReadsTheDefaults) {
  ASSERT_EQ(startPlugin(), 0);
  EXPECT_THAT(programs.commands(), UnorderedElementsAre("/bin/rpm -qa", "/bin/grep KRIBqmfs"));
  EXPECT_EQ(
      successfulStart(
          {traced(6, "CQmFSConfiguration::importConfigData - could not find value for  QUIESCENCE_TIMEOUT"),
           traced(6, "CQmFSConfiguration::importConfigData - could not find value for QUIESCENCE_SERIAL_QUIESCENCE"),
           traced(6, "CQmFSConfiguration::importConfigData From File - configData.quiescenceTimeout = 2"),
           traced(6, "CQmFSConfiguration::importConfigData From File - configData.allowSerialQuiescence = 0")}),
      trace());
  EXPECT_THAT(messages(), IsEmpty());
}

TEST_F(Start, OpensNoScopeOfItsOwn) {
  ASSERT_EQ(startPlugin(), 0);
  EXPECT_THAT(namesOf(scopes()),
              ElementsAre("+init", "+isInstalled", "-isInstalled", "+importConfigData", "-importConfigData", "-init"));
}

TEST_F(Start, TakesOnlyTheTimeoutFromASectionThatHasOnlyThat) {
  configure("[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT = 10\n");
  ASSERT_EQ(startPlugin(), 0);
  EXPECT_EQ(
      successfulStart(
          {traced(6, "CQmFSConfiguration::importConfigData - could not find value for QUIESCENCE_SERIAL_QUIESCENCE"),
           traced(6, "CQmFSConfiguration::importConfigData From File - configData.quiescenceTimeout = 10"),
           traced(6, "CQmFSConfiguration::importConfigData From File - configData.allowSerialQuiescence = 0")}),
      trace());
}

TEST_F(Start, TakesBothValuesFromTheConfiguration) {
  configure("[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT=30\nQUIESCENCE_SERIAL_QUIESCENCE=1\n");
  ASSERT_EQ(startPlugin(), 0);
  EXPECT_EQ(successfulStart(
                {traced(6, "CQmFSConfiguration::importConfigData From File - configData.quiescenceTimeout = 30"),
                 traced(6, "CQmFSConfiguration::importConfigData From File - configData.allowSerialQuiescence = 1")}),
            trace());
}

TEST_F(Start, IgnoresTheValuesOfOtherSections) {
  configure("[OTHER]\nQUIESCENCE_TIMEOUT=30\nQUIESCENCE_SERIAL_QUIESCENCE=1\n");
  ASSERT_EQ(startPlugin(), 0);
  EXPECT_THAT(trace(), ::testing::Contains(traced(
                           6, "CQmFSConfiguration::importConfigData From File - configData.quiescenceTimeout = 2")));
}

TEST_F(Start, WithoutThePackageReturns30WithTheLevel1Line) {
  programs.answer("/bin/grep", Answer().exits(1));
  EXPECT_EQ(startPlugin(), 30);
  EXPECT_THAT(trace(), ElementsAre(checkTrace(),
                                   traced(1, std::string("command '") + checkCommand + "' failed with message ''."),
                                   traced(1, "CQmFSPlugin::init QmFS not installed.")));
  // The message's second argument, the first line that was printed, is empty.
  expectMessage(messages(), "MSG_ERROR_COMMAND_FAILED", std::string(checkCommand) + ", ");
}

TEST_F(Start, ReportsTheFirstLineThatAFailedInstallCheckPrinted) {
  programs.answer("/bin/grep", Answer().prints("first line").complains("second line").exits(2));
  EXPECT_EQ(startPlugin(), 30);
  EXPECT_THAT(trace(), ElementsAre(checkTrace(),
                                   traced(1, std::string("command '") + checkCommand +
                                                 "' failed with message 'first linesecond line'."),
                                   traced(1, "CQmFSPlugin::init QmFS not installed.")));
  expectMessage(messages(), "MSG_ERROR_COMMAND_FAILED", std::string(checkCommand) + ", first line");
}

TEST_F(Start, DecidesByTheStatusOfTheCheckAloneNotByItsOutput) {
  programs.answer("/bin/grep", Answer().prints("nothing of the name"));
  EXPECT_EQ(startPlugin(), 0);
}

TEST_F(Start, WithoutTheQueryProgramReturns30) {
  programs.remove("/bin/rpm");
  EXPECT_EQ(startPlugin(), 30);
  expectMessage(messages(), "MSG_ERROR_COMMAND_FAILED", std::string(checkCommand) + ", ");
}

TEST_F(Start, WithoutThePackageLeavesNodeOperationsInvalid) {
  programs.answer("/bin/grep", Answer().exits(1));
  ASSERT_EQ(startPlugin(), 30);
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a");
  kfi_domain* configuration = &node("configuration");
  kfi_domain& domain = node("/mnt/a");
  EXPECT_EQ(plugin.init_node(&domain, &configuration, 1, nullptr), 3);
  EXPECT_EQ(domain.fid_qnode, nullptr);
  EXPECT_EQ(domain.fid_private, nullptr);
  kfi_blob blob{};
  EXPECT_EQ(plugin.process_providerstate(&domain, &blob, 1), 3);
}

TEST_F(Start, WithoutContextWorksAndSwallowsMessages) {
  ASSERT_EQ(startPluginWithoutContext(), 0);
  pushMessage();
  expectMessage(messages(), "MSG_ERROR_SUBOBJ_NOT_FOUND", "/not/mounted");
}

TEST_F(Start, WithContextWithoutCallbackSwallowsMessages) {
  kfi_context context{};
  started = true;
  ASSERT_EQ(plugin.init(&context, &version, nullptr), 0);
  pushMessage();
  expectMessage(messages(), "MSG_ERROR_SUBOBJ_NOT_FOUND", "/not/mounted");
}

TEST_F(Start, WithNullLanguageStillHandsMessagesOut) {
  ASSERT_EQ(startPlugin(), 0);
  pushMessage();
  ASSERT_EQ(callbacks.size(), 1u);
  EXPECT_THAT(callbacks[0].defaultText, HasSubstr("/not/mounted"));
  EXPECT_EQ(callbacks[0].nativeText, callbacks[0].defaultText);
  EXPECT_EQ(callbacks[0].severity, 2);
}

TEST_F(Start, WithANativeLanguageHandsMessagesOutInBothLanguages) {
  language = "de";
  ASSERT_EQ(startPlugin(), 0);
  pushMessage();
  ASSERT_EQ(callbacks.size(), 1u);
  for (const std::string& text : {callbacks[0].nativeText, callbacks[0].defaultText}) {
    EXPECT_THAT(text, HasSubstr("/not/mounted"));
    EXPECT_THAT(text, Not(HasSubstr("MSG_ERROR_")));
  }
  EXPECT_NE(callbacks[0].nativeText, callbacks[0].defaultText);
}

TEST_F(Start, KeepsItsLogToItself) {
  ASSERT_EQ(startPlugin(), 0);
  struct stat status {};
  ASSERT_EQ(stat((std::string(getenv("QMFI_LOG_DIR")) + "/qmfsfi.log").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777u, 0600u);
}

TEST_F(Start, TracesFailuresOnlyWhereNothingElseIsAskedFor) {
  unsetenv("QMFI_TRACE_LEVEL");
  programs.answer("/bin/grep", Answer().exits(1));
  EXPECT_EQ(startPlugin(), 30);
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
  ASSERT_EQ(records.size(), 4u);
  EXPECT_EQ(records.back().function, "qmfsfi_fi_pgn_fini");
  EXPECT_FALSE(records.back().entered);
  EXPECT_EQ(records.back().place, records.front().place);
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
  EXPECT_EQ(plugin.claim(object("/mnt/a"), &groups, &count), 1);
  kfi_domain* configuration = &node("configuration");
  EXPECT_EQ(plugin.init_node(&node("/mnt/a"), &configuration, 1, nullptr), 3);
  kfi_quiescenode quiesceNode{"qmfs"_text, &node("/mnt/a"), configuration};
  EXPECT_EQ(plugin.quiesce(&quiesceNode, nullptr, 0, nullptr), 3);
  EXPECT_EQ(plugin.online(nullptr, &node("/mnt/a"), 1, 0), 3);
  EXPECT_EQ(plugin.init_altnode(nullptr, nullptr, &node("/mnt/a")), 3);
  EXPECT_EQ(plugin.cache_disable(&node("/mnt/a")), 3);
  EXPECT_EQ(plugin.subobj_list(&node("/mnt/a"), &groups, &count), 3);
  kfi_blob blob{};
  EXPECT_EQ(plugin.process_providerstate(&node("/mnt/a"), &blob, 1), 3);
  kfi_domain& ours = node("/mnt/a");
  ours.fid_provider = "qmfsfi"_text;
  qmfi_objid* snapshot = object("/dev/qm/dsk/dg1/snap");
  qmfi_objid* alternate = nullptr;
  EXPECT_EQ(plugin.build_alttree(&ours, "fiid"_text, nullptr, &snapshot, 1, &alternate), 3);
  kfi_subobj_entry entries[] = {{"/mnt/a"_text, "/mnt/alt"_text}, {nullptr, nullptr}};
  ours.fid_subobjs = entries;
  EXPECT_EQ(plugin.import_tree(&ours, nullptr, &snapshot, 1, &alternate), 3);
  EXPECT_EQ(alternate, nullptr);
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
  EXPECT_EQ(startPlugin(), 0);
  table.add("/dev/qm/dsk/dg1/vol1", "/mnt/a");
  EXPECT_EQ(initialisedNode("/mnt/a").fid_attr, 0x802u);
}

class Identity : public StartedPlugin {};

TEST_F(Identity, ProviderInformationIsOneElementOfTypeQmfsAndVersion7) {
  kfi_provider_list* list = nullptr;
  ASSERT_EQ(plugin.get_provider_info(&list), 0);
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(list->kpl_next, nullptr);
  EXPECT_STREQ(list->kpl_name, "qmfsfi");
  EXPECT_THAT(list->kpl_version.number, ElementsAre(7, 0, 0, 0));
  EXPECT_THAT(list->kpl_attr, ElementsAre(16, 2));
  EXPECT_EQ(list->kpl_reserved, nullptr);
  ASSERT_NE(list->kpl_fitypes, nullptr);
  EXPECT_STREQ(list->kpl_fitypes->ksl_value, "qmfs");
  EXPECT_EQ(list->kpl_fitypes->ksl_next, nullptr);
  framework.qmfi_free_providerlist(list);
}

TEST_F(Identity, ProviderInformationThatCannotBeMadeLeavesNull) {
  importedCalls().failProviderList();
  kfi_provider_list stale{};
  kfi_provider_list* list = &stale;
  EXPECT_EQ(plugin.get_provider_info(&list), 6);
  EXPECT_EQ(list, nullptr);
  const auto pushed = messages();
  ASSERT_EQ(pushed.size(), 1u);
  EXPECT_EQ(pushed[0].id, "MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION");
  EXPECT_EQ(pushed[0].severity, 3);
}

TEST_F(Identity, ProviderInformationWithoutAPlaceIsInvalid) {
  EXPECT_EQ(plugin.get_provider_info(nullptr), 3);
}

TEST_F(Identity, SupportsFiTypeWrites0WhateverTheTypeIs) {
  for (char* type : {"qmfs"_text, "QMFS"_text, "xfs"_text, ""_text, static_cast<char*>(nullptr)}) {
    int answer = 77;
    kfi_domain& domain = node("/mnt/a");
    domain.fid_supported = &answer;
    EXPECT_EQ(plugin.supports_fitype(&domain, type), 0);
    EXPECT_EQ(answer, 0);
  }
}

TEST_F(Identity, SupportsFiTypeStoresNothingWhereThereIsNowhereTo) {
  EXPECT_EQ(plugin.supports_fitype(&node("/mnt/a"), "qmfs"_text), 0);
  EXPECT_EQ(plugin.supports_fitype(nullptr, "qmfs"_text), 0);
}

}  // namespace

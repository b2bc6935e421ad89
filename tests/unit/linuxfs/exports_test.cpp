// The built library through its exports: what it answers without a file system of its own at hand.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "build_tree.h"
#include "support/environment.h"
#include "support/loaded_plugin.h"
#include "support/temporary_directory.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// A text for a parameter that is not const but only read.
char* readOnly(const char* text) {
  return const_cast<char*>(text);
}

class LinuxFSExports : public testing::Test {
 protected:
  LinuxFSExports() {
    EXPECT_EQ(m_plugin->fi_pgn_init(nullptr, &m_version, nullptr), 0);
    m_unnamed.fid_objid = nullptr;
    m_root.fid_objid = qmfi_get_objid("/proc", 5, KFI_OBJID_PATH);
  }
  ~LinuxFSExports() override {
    m_plugin->fi_pgn_deinit_node(&m_root);
    m_plugin->fi_pgn_fini();
  }

  // Identifiers of the messages that were pushed since the last time, newest first, with their texts.
  std::vector<std::string> takeMessages() {
    kfi_msg_info* list = nullptr;
    EXPECT_EQ(m_plugin->fi_pgn_get_last_error(&list), 0);
    std::vector<std::string> texts;
    for (kfi_msg_info* message = list; message != nullptr; message = message->kmi_next) {
      int length = 0;
      char* text = nullptr;
      EXPECT_EQ(m_plugin->fi_pgn_get_locale_message(&length, message, nullptr, &text), 0);
      texts.emplace_back(text, static_cast<std::size_t>(length));
      m_plugin->fi_pgn_del_locale_message(&text);
    }
    m_plugin->fi_pgn_del_last_error(&list);
    return texts;
  }

  TemporaryDirectory m_directory;
  EnvironmentVariable m_logDirectory{"QMFI_LOG_DIR", m_directory.path()};
  EnvironmentVariable m_traceLevel{"QMFI_TRACE_LEVEL", "6"};
  EnvironmentVariable m_catalogs{"QMFI_CATALOG_DIR", QMFI_BINARY_DIR "/share/qmfi/catalogs"};
  // Fails when one of the 77 is missing.
  LoadedPlugin m_plugin{QMFI_BINARY_DIR "/lib/liblinuxfsfi.so", "linuxfsfi"};
  kfi_version m_version{};
  kfi_domain m_unnamed{};
  kfi_domain m_root{};
};

TEST_F(LinuxFSExports, SayWhatTheProviderIs) {
  EXPECT_EQ(m_version.kv_major, 7);
  kfi_provider_list* list = nullptr;
  EXPECT_EQ(m_plugin->fi_pgn_get_provider_info(&list), 0);
  ASSERT_NE(list, nullptr);
  EXPECT_STREQ(list->kpl_name, "linuxfsfi");
  EXPECT_STREQ(list->kpl_fitypes->ksl_value, "xfs");
  EXPECT_STREQ(list->kpl_fitypes->ksl_next->ksl_value, "ext4");
  EXPECT_EQ(list->kpl_fitypes->ksl_next->ksl_next, nullptr);
  qmfi_free_providerlist(list);
}

TEST_F(LinuxFSExports, SupportTwoTypes) {
  int supported = -1;
  kfi_domain node{};
  node.fid_supported = &supported;
  for (const auto& [type, expected] : {std::pair{"xfs", 1}, {"ext4", 1}, {"ext3", 0}, {"qmfs", 0}, {"", 0}}) {
    EXPECT_EQ(m_plugin->fi_pgn_supports_fitype(&node, readOnly(type)), 0);
    EXPECT_EQ(supported, expected) << type;
  }
  EXPECT_EQ(m_plugin->fi_pgn_supports_fitype(nullptr, nullptr), 0);
}

TEST_F(LinuxFSExports, ClaimNothingElse) {
  qmfi_objid** groups = nullptr;
  int count = 0;
  for (const char* const path : {"/proc", "/proc/self", "/no/such/directory", "/dev/null"}) {
    EXPECT_EQ(m_plugin->fi_pgn_claim(qmfi_get_objid(path, 64, KFI_OBJID_PATH), &groups, &count), 0) << path;
  }
  EXPECT_EQ(groups, nullptr);
  int exists = -1;
  EXPECT_EQ(m_plugin->fi_pgn_check_node_existence(&m_root, &exists), 0);
  EXPECT_EQ(exists, 0);
  int isParent = -1;
  EXPECT_EQ(m_plugin->fi_pgn_is_parent_pgn(readOnly("/dev/null"), &isParent, 0), 0);
  EXPECT_EQ(isParent, 0);
  EXPECT_THAT(takeMessages(), IsEmpty());
}

TEST_F(LinuxFSExports, AnswerWhatTheProviderDoesNotDo) {
  EXPECT_EQ(m_plugin->fi_pgn_cache_disable(&m_root), 2);
  EXPECT_EQ(m_plugin->fi_pgn_reaccess_altnode(&m_root, nullptr, nullptr, nullptr, nullptr, nullptr, 0, 1), 2);
  EXPECT_EQ(m_plugin->fi_pgn_dispose(nullptr, nullptr, nullptr, KFI_DISPOSITION_KEEP), 0);
  EXPECT_EQ(m_plugin->fi_pgn_online(nullptr, nullptr, 3, KFI_DISPOSITION_KEEP), 0);
  EXPECT_EQ(m_plugin->fi_pgn_deport_tree(nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(m_plugin->fi_pgn_format(nullptr, 0, nullptr, nullptr, nullptr, 0, nullptr, nullptr), 0);
  EXPECT_EQ(m_plugin->fi_pgn_enable_access(nullptr, 0, 0, KFI_ACCESS_ENABLE_NOTHING), 0);
  EXPECT_THAT(takeMessages(), IsEmpty());
}

struct WrongCall {
  std::string name;
  int status;
  std::string message;
  std::function<int()> call;
};

std::string needs(const std::string& what) {
  return "The framework has not given what the operation needs: " + what + ".";
}

TEST_F(LinuxFSExports, RefuseWhatIsMissingWithAMessage) {
  qmfi_objid** groups = nullptr;
  int count = 0;
  qmfi_objid nameless{nullptr, 0, KFI_OBJID_PATH};
  kfi_quiescenode quiesceNode{nullptr, &m_root, nullptr};
  kfi_quiescenode* quiesceNodes[] = {&quiesceNode};
  kfi_blob blob{};
  char* none[] = {nullptr};
  char* noDevice[] = {readOnly("/dev/null")};
  const std::string notADevice = "/dev/null is not the absolute path of a block device that a program can be given.";
  const std::vector<WrongCall> calls = {
      {"claim", 3, needs("object"), [&] { return m_plugin->fi_pgn_claim(nullptr, &groups, &count); }},
      {"claim nameless", 3, needs("object"), [&] { return m_plugin->fi_pgn_claim(&nameless, &groups, &count); }},
      {"existence", 3, needs("node"), [&] { return m_plugin->fi_pgn_check_node_existence(&m_unnamed, &count); }},
      {"init", 3, needs("node"), [&] { return m_plugin->fi_pgn_init_node(&m_unnamed, nullptr, 0, nullptr); }},
      {"init -1", 3, needs("configuration domains"),
       [&] { return m_plugin->fi_pgn_init_node(&m_root, nullptr, -1, nullptr); }},
      {"init alternate", 6, needs("target"), [&] { return m_plugin->fi_pgn_init_altnode(&m_root, &m_root, nullptr); }},
      {"init strange alternate", 6, "No whole xfs or ext4 file system is mounted on /proc, or another one than before.",
       [&] { return m_plugin->fi_pgn_init_altnode(&m_root, &m_root, &m_root); }},
      {"quiesce", 3, needs("list of nodes"), [&] { return m_plugin->fi_pgn_quiesce(nullptr, nullptr, 1, nullptr); }},
      {"quiesce -1", 3, needs("list of nodes"),
       [&] { return m_plugin->fi_pgn_quiesce(nullptr, quiesceNodes, -1, nullptr); }},
      {"quiesce without a domain", 3, needs("configuration domain"),
       [&] { return m_plugin->fi_pgn_quiesce(nullptr, quiesceNodes, 1, nullptr); }},
      {"build", 6, needs("node, or its session"),
       [&] { return m_plugin->fi_pgn_build_alttree(&m_root, nullptr, nullptr, nullptr, 0, groups); }},
      {"import", 3, needs("node"), [&] { return m_plugin->fi_pgn_import_tree(nullptr, nullptr, nullptr, 0, groups); }},
      {"online", 3, needs("node"),
       [&] { return m_plugin->fi_pgn_online(nullptr, &m_unnamed, KFI_ONLINE_BRING, KFI_DISPOSITION_KEEP); }},
      {"online without a device", 3, "The device of /proc is not known: the node has not been initialised.",
       [&] { return m_plugin->fi_pgn_online(nullptr, &m_root, KFI_ONLINE_BRING, KFI_DISPOSITION_KEEP); }},
      {"deport", 3, needs("name of the alternate node"),
       [&] { return m_plugin->fi_pgn_deport_tree(nullptr, &m_unnamed, nullptr); }},
      {"state", 3, needs("node"),
       [&] { return m_plugin->fi_pgn_process_providerstate(&m_unnamed, &blob, KFI_PROVIDERSTATE_FETCH); }},
      {"state without a blob", 3, needs("blob"),
       [&] { return m_plugin->fi_pgn_process_providerstate(&m_root, nullptr, KFI_PROVIDERSTATE_FETCH); }},
      {"no state", 6, "What is kept of /proc was not written by this provider.",
       [&] { return m_plugin->fi_pgn_process_providerstate(&m_root, nullptr, KFI_PROVIDERSTATE_STORE); }},
      {"disable", 6, needs("list of nodes"), [&] { return m_plugin->fi_pgn_disable_access(nullptr, 0); }},
      {"enable", 6, needs("list of nodes"), [&] { return m_plugin->fi_pgn_enable_access(nullptr, 0, 0, 0); }},
      {"format type", 3, "File systems of type qmfs are not this provider's; its types are xfs and ext4.",
       [&] { return m_plugin->fi_pgn_format(nullptr, 0, nullptr, readOnly("qmfs"), nullptr, 0, nullptr, nullptr); }},
      {"format", 3, needs("device"),
       [&] {
         return m_plugin->fi_pgn_format(none, 1, nullptr, nullptr, nullptr, KFI_FORMAT_DEVICE, nullptr, nullptr);
       }},
      {"format no device", 3, notADevice,
       [&] {
         return m_plugin->fi_pgn_format(noDevice, 1, nullptr, nullptr, nullptr, KFI_FORMAT_DEVICE, nullptr, nullptr);
       }},
  };
  for (const WrongCall& wrong : calls) {
    EXPECT_EQ(wrong.call(), wrong.status) << wrong.name;
    EXPECT_THAT(takeMessages(), ElementsAre(wrong.message)) << wrong.name;
  }
}

// By these names operations are found in the log.
TEST_F(LinuxFSExports, TraceEachOperationByItsName) {
  kfi_provider_list* list = nullptr;
  m_plugin->fi_pgn_get_provider_info(&list);
  qmfi_free_providerlist(list);
  m_plugin->fi_pgn_claim(nullptr, nullptr, nullptr);
  m_plugin->fi_pgn_check_node_existence(&m_unnamed, nullptr);
  m_plugin->fi_pgn_is_parent_pgn(nullptr, nullptr, 0);
  m_plugin->fi_pgn_init_node(&m_unnamed, nullptr, 0, nullptr);
  m_plugin->fi_pgn_init_altnode(&m_unnamed, nullptr, nullptr);
  m_plugin->fi_pgn_quiesce(nullptr, nullptr, 1, nullptr);
  m_plugin->fi_pgn_unquiesce(nullptr, nullptr, 0);
  m_plugin->fi_pgn_build_alttree(nullptr, nullptr, nullptr, nullptr, 0, nullptr);
  m_plugin->fi_pgn_import_tree(nullptr, nullptr, nullptr, 0, nullptr);
  m_plugin->fi_pgn_online(nullptr, &m_unnamed, KFI_ONLINE_BRING, KFI_DISPOSITION_KEEP);
  m_plugin->fi_pgn_deport_tree(nullptr, nullptr, nullptr);
  m_plugin->fi_pgn_process_providerstate(&m_unnamed, nullptr, KFI_PROVIDERSTATE_FETCH);
  m_plugin->fi_pgn_disable_access(nullptr, 0);
  m_plugin->fi_pgn_enable_access(nullptr, 0, 0, 0);
  m_plugin->fi_pgn_cache_enable(&m_root);
  m_plugin->fi_pgn_format(nullptr, 0, nullptr, nullptr, nullptr, 0, nullptr, nullptr);
  m_plugin->fi_pgn_online_resource(nullptr, 0, nullptr, nullptr, nullptr, nullptr, 0, nullptr, nullptr);
  const std::string log = m_directory.read("linuxfsfi.log");
  for (const char* const operation :
       {"init", "getProviderInfo", "claim", "checkNodeExistence", "isParentPgn", "initNode", "initAltNode", "quiesce",
        "unquiesce", "buildAltTree", "importTreeNode", "online", "deportTree", "processProviderState", "disableAccess",
        "enableAccess", "cacheEnable", "format", "onlineResource"}) {
    EXPECT_THAT(log, testing::HasSubstr(std::string("Entering Function ") + operation + " [")) << operation;
  }
}

TEST_F(LinuxFSExports, ResourcesWithoutADeviceAreRefused) {
  char* noDevice[] = {readOnly("/dev/null")};
  char** paths = nullptr;
  int count = -1;
  EXPECT_EQ(m_plugin->fi_pgn_online_resource(noDevice, 1, nullptr, nullptr, nullptr, nullptr, 0, &paths, &count), 3);
  EXPECT_EQ(paths, nullptr);
  EXPECT_EQ(count, 0);
  EXPECT_THAT(takeMessages(),
              ElementsAre("/dev/null is not the absolute path of a block device that a program can be given."));
}

}  // namespace

// What a provider has from its base: answers for operations it does not implement, private data, and errors.
#include <gtest/gtest.h>

#include <cstring>

#include "build_tree.h"
#include "cfipluginbase.h"
#include "recording_handler.h"
#include "support/environment.h"
#include "support/plain_provider.h"

namespace {

using namespace qmfi_pdk_4_4;

class PluginBaseTest : public testing::Test {
 protected:
  PluginBaseTest() {
    m_privateDataManager->setDefaultFactory(
        CFiPrivateDataFactorySPtr(new CFiPrivateDataConcreteFactory<CFiPrivateData>()));
    m_provider.registerErrorManager(m_errorManager);
    m_provider.registerCatalogManager(CFiMessageCatalogManagerSPtr(true));
    m_provider.registerPrivateDataManager(m_privateDataManager);
    m_provider.registerSessionManager(CFiSessionManagerSPtr(true));
    m_node.fid_objid = qmfi_get_objid("/data", 5, 1);
  }
  ~PluginBaseTest() override { m_provider.deInitNode(&m_node); }

  CFiPrivateDataFactorySPtr factory() const { return m_privateDataManager->getDefaultFactory(); }

  const CFiErrorManagerSPtr m_errorManager{true};
  const CFiPrivateDataManagerSPtr m_privateDataManager{new CFiPrivateDataManager()};
  PlainProvider m_provider;
  kfi_domain m_node{};
};

TEST_F(PluginBaseTest, SupportsNothingThatAProviderDoesNotImplement) {
  CFiObjctlArgs arguments;
  const CFiSessionSPtr session;
  CFiPluginBase& base = m_provider;
  const int statuses[] = {
      base.claim(nullptr, nullptr, nullptr),
      base.supportsFiType(nullptr, nullptr),
      base.deportTree(nullptr, nullptr, nullptr),
      base.importTreeNode(nullptr, nullptr, nullptr, 0, nullptr),
      base.initNode(nullptr, nullptr, 0, nullptr),
      base.initAltNode(nullptr, nullptr, nullptr, true),
      base.reAccessTmpObj(nullptr, nullptr, nullptr, nullptr, nullptr, 0),
      base.reAccessAltNode(nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, 0, 0),
      base.dispose(nullptr, nullptr, nullptr, 0),
      base.online(nullptr, nullptr, 1, 0),
      base.buildAltTree(nullptr, nullptr, nullptr, nullptr, 0, nullptr),
      base.quiesce(nullptr, 0, nullptr),
      base.unquiesce(nullptr, 0),
      base.makeSnapshots(session),
      base.prepareSnapshots(session),
      base.selectSnapshots(session),
      base.isReady(nullptr, nullptr, 0),
      base.cacheDisable(nullptr, 0),
      base.cacheEnable(nullptr, 0),
      base.cacheFlush(nullptr, 0),
      base.interpose(nullptr, nullptr, nullptr, nullptr),
      base.getAttr(nullptr, nullptr, nullptr, nullptr),
      base.getProviderInfo(nullptr),
      base.enumerateNodes(nullptr, nullptr, 0, nullptr),
      base.enumerateAssociations(nullptr),
      base.enumerateGroupNodes(nullptr),
      base.enumerateFims(nullptr),
      base.isValidNodeAssociation(nullptr, nullptr),
      base.getAssociatedNodes(nullptr, nullptr),
      base.checkNodeExistence(nullptr, nullptr),
      base.objctl("", arguments),
      base.processProviderState(nullptr, nullptr, 0),
      base.enableAccess(nullptr, 0, 0, 0),
      base.disableAccess(nullptr, 0),
      base.restore(nullptr, nullptr, 0, nullptr, nullptr, nullptr, nullptr, 0, nullptr),
      base.resync(nullptr, nullptr, 0, nullptr, nullptr, 0, nullptr),
      base.getStatus(nullptr, nullptr, 0, nullptr, 0, nullptr),
      base.prePrepare(nullptr),
      base.queryValidSecondaries(nullptr, nullptr, nullptr),
      base.resourceStatus(nullptr, 0, nullptr, nullptr),
      base.revisitPluginNodes(nullptr),
      base.verifyQSCombos(nullptr, 0),
      base.setImportOptions(nullptr, 0, nullptr, 0, nullptr),
      base.startBuildAltTree(nullptr, nullptr, nullptr),
      base.translateResourceNames(nullptr, 0, nullptr),
      base.enumerateEnclosures(nullptr, nullptr, nullptr),
      base.importResource(nullptr, nullptr, nullptr, nullptr, 0, nullptr, nullptr),
      base.format(nullptr, 0, nullptr, nullptr, nullptr, 0, nullptr, nullptr),
      base.enumerateHostNodes(nullptr, nullptr, nullptr),
      base.onlineResource(nullptr, 0, nullptr, nullptr, nullptr, nullptr, 0, nullptr, nullptr),
      base.deportResource(nullptr, nullptr, nullptr, nullptr, 0),
      base.isParentPgn(nullptr, nullptr, 0),
      base.unformat(nullptr, 0, 0),
      base.preDeportResource(nullptr, 0, nullptr),
      base.refreshTree(nullptr, 0, 0, nullptr, 0, nullptr, nullptr, 0),
      base.getBackupset(nullptr, 0, nullptr, 0, nullptr),
      base.getAppStatus(nullptr, 0, nullptr),
      base.setOpStatus(nullptr, 0),
      base.setCompStatus(nullptr, 0, nullptr, 0),
      base.setRestorepaths(nullptr, nullptr, 0),
      base.createSnapReplicaNode(nullptr, nullptr),
      base.updateSnapshotId(nullptr, nullptr, nullptr, 0),
      base.getSnapshotSetId(nullptr, nullptr),
      base.preselect(nullptr, nullptr, nullptr, 0),
      base.updateSnapshotHandle(session, nullptr),
      base.getSnapdiff(nullptr, nullptr, nullptr, nullptr),
      base.postDeport(nullptr, nullptr),
  };
  for (std::size_t i = 0; i < std::size(statuses); ++i) EXPECT_EQ(statuses[i], CFI_STATUS_NOT_SUPPORTED) << i;
}

TEST_F(PluginBaseTest, AsksForTheSessionForm) {
  EXPECT_EQ(m_provider.make(nullptr, nullptr, 0, nullptr, nullptr), CFI_STATUS_USE_SESSION);
  EXPECT_EQ(m_provider.prepare(nullptr, nullptr, 0, 0), CFI_STATUS_USE_SESSION);
  EXPECT_EQ(m_provider.select(nullptr, nullptr, 0), CFI_STATUS_USE_SESSION);
}

// What a provider sees of what its framework was told.
class NamedProvider : public PlainProvider {
 public:
  using CFiPluginBase::fimName;
  using CFiPluginBase::messageIndexOffset;
  using CFiPluginBase::providerName;
};

TEST(NamedProviderTest, HasTheNamesAndTheOffsetThatItIsGiven) {
  NamedProvider provider;
  EXPECT_STREQ(provider.providerName().c_str(), "");
  EXPECT_STREQ(provider.fimName().c_str(), "");
  EXPECT_EQ(provider.messageIndexOffset(), 0);
  provider.setProviderName("sample");
  provider.setFimName("fim");
  provider.setMessageIndexOffset(6000);
  EXPECT_STREQ(provider.providerName().c_str(), "sample");
  EXPECT_STREQ(provider.fimName().c_str(), "fim");
  EXPECT_EQ(provider.messageIndexOffset(), 6000);
  provider.setFimName(nullptr);
  EXPECT_STREQ(provider.fimName().c_str(), "");
}

TEST_F(PluginBaseTest, StaysUsableWhenItIsToldOfTheEnd) {
  CFiPluginBase::isShuttingDown(true);
  EXPECT_EQ(m_provider.make(nullptr, nullptr, 0, nullptr, nullptr), CFI_STATUS_USE_SESSION);
  EXPECT_TRUE(factory()->allocate(&m_node, false));
  EXPECT_EQ(m_provider.deInitNode(&m_node), CFI_STATUS_SUCCESS);
  EXPECT_EQ(m_node.fid_private, nullptr);
}

TEST_F(PluginBaseTest, HasASentenceForEveryStatus) {
  const std::pair<int, const char*> cases[] = {
      {0, "The operation was successful."},
      {1, "The provider could not be prepared for its first operation."},
      {2, "The provider does not support the operation."},
      {3, "An argument of the operation is invalid, or the node has not been initialised."},
      {4, "The operation is to be called in its form for sessions."},
      {5, "Not enough memory is available."},
      {6, "The operation failed; the messages of the provider say why."},
      {7, "The version record is missing."},
      {18, "The status of a file could not be read."},
      {19, "The name has an invalid prefix."},
      {30, "The software of the file system is not installed."},
      {32, "The device is still busy and was not unmounted."},
      {1024, "The object identifier is missing."},
      {1088, "The device is already mounted on another mount point."},
      {-1, "The operation failed with a status that has no description."},
      {4711, "The operation failed with a status that has no description."},
  };
  for (const auto& [status, expected] : cases) {
    const char* text = nullptr;
    EXPECT_EQ(m_provider.errMsg(status, &text), 0);
    EXPECT_STREQ(text, expected) << status;
  }
  EXPECT_EQ(m_provider.errMsg(0, nullptr), CFI_STATUS_INVALID_ARGUMENT);
}

TEST_F(PluginBaseTest, HandsOutPushedMessagesNewestFirst) {
  m_errorManager->pushError(messageWithId("first"));
  const icu::Formattable arguments[] = {icu::Formattable(icu::UnicodeString("/data")), icu::Formattable(5)};
  m_errorManager->pushError(CFiMessageSPtr(
      new CFiIcuMessage("second", arguments, 2, KFI_SEVERITY_UNHANDLED_EXCEPTION, "qmfs_plugin.cpp", 77)));
  kfi_msg_info* list = nullptr;
  ASSERT_EQ(m_provider.getLastError(&list), 0);
  ASSERT_NE(list, nullptr);
  EXPECT_STREQ(list->kmi_id, "second");
  EXPECT_STREQ(list->kmi_args, "[\"/data\",5]");
  EXPECT_STREQ(list->kmi_file, "qmfs_plugin.cpp");
  EXPECT_EQ(list->kmi_line, 77);
  EXPECT_EQ(list->kmi_severity, KFI_SEVERITY_UNHANDLED_EXCEPTION);
  ASSERT_NE(list->kmi_next, nullptr);
  EXPECT_STREQ(list->kmi_next->kmi_id, "first");
  EXPECT_STREQ(list->kmi_next->kmi_args, "[]");
  EXPECT_EQ(list->kmi_next->kmi_next, nullptr);

  EXPECT_EQ(m_provider.delLastError(&list), 0);
  EXPECT_EQ(list, nullptr);
  ASSERT_EQ(m_provider.getLastError(&list), 0);
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(m_provider.delLastError(&list), 0);
}

TEST_F(PluginBaseTest, RefusesErrorCallsWithoutAPlaceForTheAnswer) {
  m_errorManager->pushError(messageWithId("kept"));
  EXPECT_EQ(m_provider.getLastError(nullptr), CFI_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(m_provider.delLastError(nullptr), CFI_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(m_provider.delLocaleMessage(nullptr), CFI_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(m_errorManager->messages().size(), 1U);

  kfi_msg_info record{};
  int length = 4711;
  char* text = nullptr;
  EXPECT_EQ(m_provider.getLocaleMessage(nullptr, &record, "de", &text), CFI_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(m_provider.getLocaleMessage(&length, nullptr, "de", &text), CFI_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(m_provider.getLocaleMessage(&length, &record, "de", nullptr), CFI_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(length, 4711);
  EXPECT_EQ(text, nullptr);
}

TEST_F(PluginBaseTest, TurnsARecordIntoTextOfALanguage) {
  const EnvironmentVariable variable("QMFI_CATALOG_DIR", QMFI_BINARY_DIR "/tests/unit/runtime/catalogs");
  const CFiMessageCatalogManagerSPtr manager(true);
  manager->registerFactory(CFiMessageCatalogFactorySPtr(new CFiIcuMessageCatalogFactory("root", "sample")));
  m_provider.registerCatalogManager(manager);
  char id[] = "GREETING";
  char args[] = "[\"Anna\",7]";
  kfi_msg_info record{id, args, nullptr, 0, 0, nullptr, nullptr};
  const std::pair<const char*, const char*> cases[] = {{"de", "Grüß Gott Anna, Sie sind Nummer 7."},
                                                       {"", "Hello Anna, you are number 7."},
                                                       {nullptr, "Hello Anna, you are number 7."}};
  for (const auto& [language, expected] : cases) {
    int length = -1;
    char* text = nullptr;
    ASSERT_EQ(m_provider.getLocaleMessage(&length, &record, language, &text), 0);
    EXPECT_STREQ(text, expected);
    EXPECT_EQ(length, static_cast<int>(std::strlen(expected)));
    EXPECT_EQ(m_provider.delLocaleMessage(&text), 0);
    EXPECT_EQ(text, nullptr);
  }
}

TEST_F(PluginBaseTest, AnswersWithoutManagersToo) {
  PlainProvider bare;
  char id[] = "ID";
  char args[] = "[1,\"a\"]";
  kfi_msg_info record{id, args, nullptr, 0, 0, nullptr, nullptr};
  int length = -1;
  char* text = nullptr;
  EXPECT_EQ(bare.getLocaleMessage(&length, &record, "de", &text), 0);
  EXPECT_STREQ(text, "ID: 1, a");
  EXPECT_EQ(bare.delLocaleMessage(&text), 0);
  kfi_msg_info* list = &record;
  EXPECT_EQ(bare.getLastError(&list), 0);
  EXPECT_EQ(list, nullptr);
  EXPECT_EQ(bare.delLastError(&list), 0);

  qmfi_objid** objects = nullptr;
  int count = 0;
  kfi_confspec spec{};
  EXPECT_EQ(bare.subobjList(&m_node, &objects, &count), CFI_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(bare.config(&m_node, 0, nullptr, &spec), CFI_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(bare.deInitNode(&m_node), 0);
}

TEST_F(PluginBaseTest, HandsOutTheSubObjectsOfANode) {
  const CFiPrivateDataSPtr data = factory()->allocate(&m_node, false);
  qmfi_objid** objects = reinterpret_cast<qmfi_objid**>(&m_node);
  int count = -1;
  ASSERT_EQ(m_provider.subobjList(&m_node, &objects, &count), 0);
  EXPECT_EQ(objects, nullptr);
  EXPECT_EQ(count, 0);

  qmfi_objid* const first = qmfi_get_objid("/dev/one", 8, 3);
  qmfi_objid* const second = qmfi_get_objid("/dev/two", 8, 3);
  data->addSubObject(first);
  data->addSubObject(second);
  ASSERT_EQ(m_provider.subobjList(&m_node, &objects, &count), 0);
  ASSERT_EQ(count, 2);
  EXPECT_EQ(objects[0], first);
  EXPECT_EQ(objects[1], second);
  qmfi_free_buf(objects, 2 * sizeof(void*));
}

TEST_F(PluginBaseTest, RefusesSubObjectsWithoutPrivateDataOrAPlace) {
  qmfi_objid** objects = nullptr;
  int count = 4711;
  EXPECT_EQ(m_provider.subobjList(&m_node, &objects, &count), CFI_STATUS_INVALID_ARGUMENT);
  factory()->allocate(&m_node, false);
  EXPECT_EQ(m_provider.subobjList(nullptr, &objects, &count), CFI_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(m_provider.subobjList(&m_node, nullptr, &count), CFI_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(m_provider.subobjList(&m_node, &objects, nullptr), CFI_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(count, 4711);
}

class PluginBaseConfigTest : public PluginBaseTest {
 protected:
  PluginBaseConfigTest() {
    CFiConfigParamInfo info;
    info.name = "first";
    info.choices = {"1", "2"};
    m_provider.globalConfigInfoList(0, true).addParamInfo(info);
    info.name = "second";
    m_provider.globalConfigInfoList(0, true).addParamInfo(info);
    info.name = "other";
    m_provider.globalConfigInfoList(1, true).addParamInfo(info);
    m_data = factory()->allocate(&m_node, false);
  }

  CFiPrivateDataSPtr m_data;
  char m_first[6] = "first";
  char m_second[7] = "second";
  char m_one[2] = "1";
  char m_two[2] = "2";
};

TEST_F(PluginBaseConfigTest, StoresDeclaredParameters) {
  kfi_confspec last{m_second, m_two, nullptr};
  kfi_confspec spec{m_first, m_one, &last};
  ASSERT_EQ(m_provider.config(&m_node, 0, nullptr, &spec), 0);
  const CFiConfigDataList& values = *m_data->configDataList(0);
  ASSERT_EQ(values.size(), 2U);
  EXPECT_STREQ(values.at("first").value.c_str(), "1");
  EXPECT_EQ(values.at("first").choices, (std::vector<std::string>{"1", "2"}));
  EXPECT_STREQ(values.at("second").value.c_str(), "2");
  EXPECT_FALSE(m_data->hasConfigDataList(1));

  kfi_confspec again{m_first, m_two, nullptr};
  ASSERT_EQ(m_provider.config(&m_node, 0, nullptr, &again), 0);
  EXPECT_STREQ(m_data->configDataList(0)->at("first").value.c_str(), "2");
  EXPECT_EQ(m_data->configDataList(0)->size(), 2U);
}

TEST_F(PluginBaseConfigTest, StoresNothingWhenOneParameterIsWrong) {
  char other[] = "other";
  kfi_confspec undeclared{other, m_one, nullptr};
  kfi_confspec withoutName{nullptr, m_one, nullptr};
  kfi_confspec withoutValue{m_second, nullptr, nullptr};
  for (kfi_confspec* const wrong : {&undeclared, &withoutName, &withoutValue}) {
    kfi_confspec spec{m_first, m_one, wrong};
    EXPECT_EQ(m_provider.config(&m_node, 0, nullptr, &spec), CFI_STATUS_INVALID_ARGUMENT);
    EXPECT_TRUE(m_data->configDataList(0)->empty());
  }
}

TEST_F(PluginBaseConfigTest, RefusesWhatItCannotStore) {
  kfi_confspec spec{m_first, m_one, nullptr};
  for (const int category : {-1, 1, 2}) {
    EXPECT_EQ(m_provider.config(&m_node, category, nullptr, &spec), CFI_STATUS_INVALID_ARGUMENT) << category;
  }
  EXPECT_EQ(m_provider.config(nullptr, 0, nullptr, &spec), CFI_STATUS_INVALID_ARGUMENT);
  EXPECT_EQ(m_provider.config(&m_node, 0, nullptr, nullptr), CFI_STATUS_INVALID_ARGUMENT);
  kfi_domain fresh{};
  fresh.fid_objid = m_node.fid_objid;
  EXPECT_EQ(m_provider.config(&fresh, 0, nullptr, &spec), CFI_STATUS_INVALID_ARGUMENT);
}

TEST_F(PluginBaseTest, DeInitialisesANode) {
  factory()->allocate(&m_node, false);
  m_node.fid_qnode = static_cast<kfi_quiescenode*>(qmfi_alloc_buf(sizeof(kfi_quiescenode)));
  m_node.fid_qnode->kqn_fitype = strdup("qmfs");
  EXPECT_EQ(m_provider.deInitNode(&m_node), 0);
  EXPECT_EQ(m_node.fid_qnode, nullptr);
  EXPECT_EQ(m_node.fid_private, nullptr);
  EXPECT_TRUE(factory()->getPrivateDataList(false).empty());
  EXPECT_EQ(m_provider.deInitNode(&m_node), 0);
  EXPECT_EQ(m_provider.deInitNode(nullptr), CFI_STATUS_INVALID_ARGUMENT);
}

TEST_F(PluginBaseTest, PrefersTheProvidersFactory) {
  const CFiPrivateDataFactorySPtr provider(new CFiPrivateDataConcreteFactory<CFiPrivateData>());
  m_privateDataManager->setProviderFactory(provider);
  provider->allocate(&m_node, false);
  EXPECT_EQ(m_provider.deInitNode(&m_node), 0);
  EXPECT_TRUE(provider->getPrivateDataList(false).empty());
}

}  // namespace

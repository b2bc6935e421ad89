// The provider's start, with the installation check answered by the test.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "cficontextsingleton.h"
#include "qmfs_plugin.h"
#include "recorded_commands.h"
#include "support/environment.h"
#include "support/pushed_messages.h"
#include "support/temporary_directory.h"

namespace {

using namespace qmfi_pdk_4_4;
using testing::ElementsAre;
using testing::IsEmpty;

using Errors = CFiContextSingleton<CFiErrorManager, FI_PLUGIN_NAME>;
using PrivateData = CFiContextSingleton<CFiPrivateDataManager, FI_PLUGIN_NAME>;

constexpr const char* check = "/bin/rpm -qa  | /bin/grep KRIBqmfs";

class Start : public testing::Test {
 protected:
  Start() {
    recordedCommands = &m_commands;
    CQmFSPlugin::isCfsInstalled = true;
  }
  ~Start() override {
    recordedCommands = nullptr;
    CQmFSPlugin::isCfsInstalled = false;
    Errors::instance(true);
    PrivateData::instance(true);
    CFiContextSingleton<CFiMessageCatalogManager, FI_PLUGIN_NAME>::instance(true);
  }

  // The pushed messages, newest first, without their places.
  static std::vector<PushedMessage> pushed() {
    std::vector<PushedMessage> messages = describe(Errors::instance(false)->messages());
    for (PushedMessage& message : messages) message.line = 0;
    return messages;
  }

  // Their identifiers.
  static std::vector<std::string> pushedIds() {
    std::vector<std::string> ids;
    for (const PushedMessage& message : pushed()) ids.push_back(message.id);
    return ids;
  }

  RecordedCommands m_commands;
  CQmFSPlugin m_plugin;

 private:
  TemporaryDirectory m_directory;
  EnvironmentVariable m_configuration{"QMFI_CONF_DIR", m_directory.path()};
};

TEST_F(Start, ChecksTheInstallationWithinTenMinutes) {
  EXPECT_EQ(m_plugin.init(), 0);
  ASSERT_EQ(m_commands.commands().size(), 1U);
  const RecordedCommand& command = m_commands.commands()[0];
  EXPECT_EQ(command.line, check);
  EXPECT_EQ(command.timeoutSeconds, 600);
  EXPECT_EQ(command.reserved, "");
  EXPECT_THAT(pushed(), IsEmpty());
}

TEST_F(Start, FindsNoClusterFileSystem) {
  EXPECT_EQ(m_plugin.init(), 0);
  EXPECT_FALSE(CQmFSPlugin::isCfsInstalled);
}

TEST_F(Start, DeclaresTheFreezeTimeoutInTheFirstListOfTheSecondArray) {
  EXPECT_EQ(m_plugin.init(), 0);
  const auto& declared = m_plugin.globalConfigInfoList(0, true).infos();
  ASSERT_EQ(declared.size(), 1U);
  const CFiConfigParamInfo& parameter = declared.begin()->second;
  EXPECT_EQ(declared.begin()->first, "qmfsFreezeTimeout");
  EXPECT_EQ(parameter.name, "qmfsFreezeTimeout");
  EXPECT_EQ(parameter.description, "");
  EXPECT_EQ(parameter.defaultValue, "2");
  EXPECT_EQ(parameter.flag, 1);
  EXPECT_THAT(parameter.choices, IsEmpty());
  EXPECT_THAT(m_plugin.globalConfigInfoList(1, true).infos(), IsEmpty());
  EXPECT_THAT(m_plugin.globalConfigInfoList(0, false).infos(), IsEmpty());
  EXPECT_THAT(m_plugin.globalConfigInfoList(1, false).infos(), IsEmpty());
}

TEST_F(Start, InstallsItsPrivateDataFactory) {
  EXPECT_EQ(m_plugin.init(), 0);
  const CFiPrivateDataFactorySPtr factory = PrivateData::instance(false)->getProviderFactory();
  EXPECT_NE(dynamic_cast<CFiPrivateDataConcreteFactory<CQmFSPrivateData>*>(factory.get()), nullptr);
}

TEST_F(Start, WithoutTheSoftwareIsThirtyAndTellsOfTheCheckOnly) {
  m_commands.answerNext({KFI_EXEC_PIPE_CMD_FAILED, 1, {"first line", "second line"}, nullptr});
  EXPECT_EQ(m_plugin.init(), 30);
  EXPECT_THAT(pushed(),
              ElementsAre(PushedMessage{
                  "MSG_ERROR_COMMAND_FAILED", {std::string("s:") + check, "s:first line"}, 2, "qmfs_plugin.cpp", 0}));
  EXPECT_FALSE(PrivateData::instance(false)->getProviderFactory());
  EXPECT_THAT(m_plugin.globalConfigInfoList(0, true).infos(), IsEmpty());
}

TEST_F(Start, ThatThrowsIsSixAndTellsOfBothFailures) {
  m_commands.answerNext({0, 0, {}, [] { throw std::runtime_error("broken"); }});
  EXPECT_EQ(m_plugin.init(), 6);
  EXPECT_THAT(pushedIds(), ElementsAre("MSG_ERROR_INITIALIZATION_FAILED", "MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION"));
  EXPECT_EQ(pushed()[0], (PushedMessage{"MSG_ERROR_INITIALIZATION_FAILED", {}, 2, "qmfs_plugin.cpp", 0}));
  EXPECT_EQ(pushed()[1].severity, 3);
}

TEST_F(Start, ThatThrowsWhatTheLadderDoesNotKnowTellsNothingItself) {
  m_commands.answerNext({0, 0, {}, [] { throw 5L; }});
  EXPECT_THROW(m_plugin.init(), long);
  EXPECT_THAT(pushed(), IsEmpty());
}

}  // namespace

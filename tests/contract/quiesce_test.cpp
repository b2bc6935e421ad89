// Freezing file systems together or one by one, and thawing them.
#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>

#include "plugin_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Traces that several ends of a quiesce have in common.
TraceRecord timeout(int seconds) {
  return traced(3, "CQmFSPlugin::quiesce - freezeTimeout = " + std::to_string(seconds));
}
TraceRecord openingContext() {
  return traced(6, "CQmFSPlugin::quiesce : Calling qmfi_create_context for split operations");
}
TraceRecord freezingAll() {
  return traced(6, "CQmFSPlugin::qmFreezeAll : calling ioctl QM_FREEZE_ALL");
}
TraceRecord freezeAllFailed(int error) {
  return traced(1, "CQmFSPlugin::qmFreezeAll : ioctl QM_FREEZE_ALL failed with errno : " + std::to_string(error) + " ");
}
TraceRecord notFrozenTogether() {
  return traced(2, "CQmFSPlugin::quiesce : qmFreezeAll failed for the file system.");
}
TraceRecord notAllowed() {
  return traced(1, "CQmFSPlugin::quiesce - Could not quiesce as QM_FREEZE_ALL failed and QM_FREEZE is not allowed.");
}
TraceRecord bothFailed() {
  return traced(1, "CQmFSPlugin::quiesce - Could not quiesce as QM_FREEZE_ALL and QM_FREEZE calls failed.");
}
TraceRecord freezing(const std::string& path) {
  return traced(6, "CQmFSPlugin::qmFreeze - calling ioctl QM_FREEZE for " + path);
}
TraceRecord freezeFailed(const std::string& path, int error) {
  return traced(
      1, "CQmFSPlugin::qmFreeze : ioctl QM_FREEZE failed for " + path + " with errno : " + std::to_string(error) + " ");
}
TraceRecord thawing() {
  return traced(6, "CQmFSPlugin::unquiesce : calling ioctl QM_THAW");
}
TraceRecord closingContext() {
  return traced(6, "CQmFSPlugin::unquiesce : calling close_context");
}

class Quiesce : public LoadedPlugin {
 protected:
  void SetUp() override {
    LoadedPlugin::SetUp();
    start();
    for (const char* name : {"a", "b", "c", "d"}) {
      paths.push_back(makeDirectory(name));
      table.add(std::string("/dev/qm/dsk/dg1/") + name, paths.back());
      nodes.push_back(initialisedNode(paths.back()).fid_qnode);
    }
    forget();
  }

  virtual void start() { ASSERT_EQ(0, startPlugin()); }

  int quiesce(int count) { return plugin.quiesce(nullptr, nodes.data(), count, nullptr); }
  void unquiesce(int count) { plugin.unquiesce(nullptr, nodes.data(), count); }

  // Sets the freeze time-out of the configuration domain as a host does.
  void configureTimeout(char* value) {
    kfi_confspec spec{"qmfsFreezeTimeout"_text, value, nullptr};
    ASSERT_EQ(0, plugin.config(&configurationDomain(), 0, nullptr, &spec));
    forget();
  }

  // How many of the mount points have how many open descriptors.
  std::vector<std::size_t> openDescriptors() const {
    std::vector<std::size_t> open;
    for (const auto& path : paths) open.push_back(descriptorsOf(path).size());
    return open;
  }

  std::vector<std::string> first(int count) const { return {paths.begin(), paths.begin() + count}; }

  void expectIdle() {
    forget();
    EXPECT_EQ(0, quiesce(1));
    unquiesce(1);
    EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close"));
  }

  std::vector<std::string> paths;
  std::vector<kfi_quiescenode*> nodes;
};

TEST_F(Quiesce, FreezesAllFileSystemsWithOneRequestOnTheFirst) {
  EXPECT_EQ(0, quiesce(3));
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(3), 2)));
  EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create"));
  EXPECT_THAT(openDescriptors(), ElementsAre(1, 1, 1, 0));
  unquiesce(3);
  EXPECT_THAT(importedCalls().driverRequests(),
              ElementsAre(freezeAll(first(3), 2), thaw(paths[0]), thaw(paths[1]), thaw(paths[2])));
  EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close"));
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
  EXPECT_THAT(trace(), ElementsAre(timeout(2), openingContext(), freezingAll(), thawing(), thawing(), thawing(),
                                   closingContext()));
  EXPECT_THAT(messages(), IsEmpty());
  EXPECT_THAT(programs.commands(), IsEmpty());
}

TEST_F(Quiesce, OpensMountPointsReadOnlyAndClosesThemForCommands) {
  ASSERT_EQ(0, quiesce(1));
  const auto descriptors = descriptorsOf(paths[0]);
  ASSERT_EQ(1u, descriptors.size());
  EXPECT_EQ(O_RDONLY, fcntl(descriptors[0], F_GETFL) & O_ACCMODE);
  EXPECT_EQ(FD_CLOEXEC, fcntl(descriptors[0], F_GETFD) & FD_CLOEXEC);
  unquiesce(1);
}

TEST_F(Quiesce, TakesASingleNodeForAMissingList) {
  EXPECT_EQ(0, plugin.quiesce(nodes[1], nullptr, 0, "not read"_text));
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll({paths[1]}, 2)));
  plugin.unquiesce(nodes[1], nullptr, 0);
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
}

TEST_F(Quiesce, IgnoresASingleNodeBesideAList) {
  EXPECT_EQ(0, plugin.quiesce(nodes[3], nodes.data(), 2, nullptr));
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(2), 2)));
  unquiesce(2);
}

TEST_F(Quiesce, IgnoresASingleNodeBesideAListThatIsMissingOrEmpty) {
  EXPECT_EQ(3, plugin.quiesce(nodes[0], nullptr, 1, nullptr));
  EXPECT_EQ(3, plugin.quiesce(nodes[0], nodes.data(), 0, nullptr));
  EXPECT_THAT(importedCalls().contextCalls(), IsEmpty());
}

struct TimeoutCase {
  const char* configured;
  int seconds;
};

TEST_F(Quiesce, TakesTheTimeoutFromTheFirstNodesConfigurationDomain) {
  for (const TimeoutCase& tried : {
           TimeoutCase{"30", 30},
           TimeoutCase{"", 2},             // as good as none
           TimeoutCase{"soon", 0},         // no leading number
           TimeoutCase{"12 seconds", 12},  //
           TimeoutCase{"-5", -5},          //
           TimeoutCase{"99999999999", 2147483647},
       }) {
    configureTimeout(const_cast<char*>(tried.configured));
    EXPECT_EQ(0, quiesce(2));
    EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(2), tried.seconds)));
    unquiesce(2);
    EXPECT_EQ(timeout(tried.seconds), trace().front()) << tried.configured;
  }
}

TEST_F(Quiesce, ConsultsOnlyTheFirstNodesConfigurationDomain) {
  kfi_domain& other = node("other configuration");
  ASSERT_EQ(0, plugin.init_node(&other, nullptr, 0, nullptr));
  kfi_confspec spec{"qmfsFreezeTimeout"_text, "44"_text, nullptr};
  ASSERT_EQ(0, plugin.config(&other, 0, nullptr, &spec));
  kfi_quiescenode withOther = *nodes[1];
  withOther.kqn_config = &other;
  kfi_quiescenode withNone = *nodes[2];
  withNone.kqn_config = nullptr;
  kfi_quiescenode* mixed[] = {nodes[0], &withOther, &withNone};
  EXPECT_EQ(0, plugin.quiesce(nullptr, mixed, 3, nullptr));
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(3), 2)));
  plugin.unquiesce(nullptr, mixed, 3);
}

TEST_F(Quiesce, WithoutPrivateDataOfTheConfigurationDomainReturns3) {
  kfi_quiescenode quiesceNode = *nodes[0];
  quiesceNode.kqn_config = &node("never initialised");
  EXPECT_EQ(3, plugin.quiesce(&quiesceNode, nullptr, 0, nullptr));
  EXPECT_THAT(trace(), IsEmpty());
  EXPECT_THAT(messages(), IsEmpty());
  EXPECT_THAT(importedCalls().contextCalls(), IsEmpty());
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
}

TEST_F(Quiesce, WithoutANodeOrAConfigurationDomainReturns3) {
  kfi_quiescenode withoutNode = *nodes[0];
  withoutNode.kqn_node = nullptr;
  kfi_quiescenode withoutConfiguration = *nodes[0];
  withoutConfiguration.kqn_config = nullptr;
  kfi_domain unnamed{};
  kfi_quiescenode withoutName = *nodes[0];
  withoutName.kqn_node = &unnamed;
  kfi_quiescenode* second[] = {nodes[0], nullptr};
  kfi_quiescenode* secondWithoutName[] = {nodes[0], &withoutName};
  EXPECT_EQ(3, plugin.quiesce(nullptr, nullptr, 0, nullptr));
  EXPECT_EQ(3, plugin.quiesce(nullptr, nullptr, 2, nullptr));
  EXPECT_EQ(3, plugin.quiesce(nullptr, nodes.data(), -1, nullptr));
  EXPECT_EQ(3, plugin.quiesce(&withoutNode, nullptr, 0, nullptr));
  EXPECT_EQ(3, plugin.quiesce(&withoutConfiguration, nullptr, 0, nullptr));
  EXPECT_EQ(3, plugin.quiesce(&withoutName, nullptr, 0, nullptr));
  EXPECT_EQ(3, plugin.quiesce(nullptr, second, 2, nullptr));
  EXPECT_EQ(3, plugin.quiesce(nullptr, secondWithoutName, 2, nullptr));
  EXPECT_THAT(importedCalls().contextCalls(), IsEmpty());
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
  expectIdle();
}

TEST_F(Quiesce, WithoutASplitContextClosesItAndReturns6) {
  importedCalls().failContext(12);
  EXPECT_EQ(6, quiesce(2));
  EXPECT_THAT(trace(), ElementsAre(timeout(2), openingContext(),
                                   traced(1,
                                          "CQmFSPlugin::quiesce : create_context failed with error : 12, calling "
                                          "close_context")));
  EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close"));
  EXPECT_THAT(importedCalls().driverRequests(), IsEmpty());
  EXPECT_THAT(messages(), IsEmpty());
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
  expectIdle();
}

TEST_F(Quiesce, WhenTheFirstMountPointCannotBeOpenedClosesNothing) {
  std::filesystem::remove(paths[0]);
  EXPECT_EQ(6, quiesce(2));
  EXPECT_THAT(trace(), ElementsAre(timeout(2), openingContext(),
                                   traced(1, "CQmFSPlugin::quiesce : open failed for : " + paths[0] + " , errno =[" +
                                                 std::to_string(ENOENT) + "]")));
  expectMessage(messages(), "MSG_ERROR_FILE_OPEN_FOR_QUIESCE", paths[0]);
  EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close"));
  EXPECT_THAT(importedCalls().driverRequests(), IsEmpty());
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
}

TEST_F(Quiesce, WhenAMountPointCannotBeOpenedLeavesTheOneBeforeItOpen) {
  std::filesystem::remove(paths[3]);
  EXPECT_EQ(6, quiesce(4));
  expectMessage(messages(), "MSG_ERROR_FILE_OPEN_FOR_QUIESCE", paths[3]);
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 1, 0));
  EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close"));
  closeDescriptorsOf(paths[2]);
  expectIdle();
}

TEST_F(Quiesce, WhenTheSecondMountPointCannotBeOpenedLeavesTheFirstOpen) {
  std::filesystem::remove(paths[1]);
  EXPECT_EQ(6, quiesce(2));
  EXPECT_THAT(openDescriptors(), ElementsAre(1, 0, 0, 0));
  closeDescriptorsOf(paths[0]);
}

TEST_F(Quiesce, ThatFreezeAllRefusesEndsWhereSerialFreezingIsNotAllowed) {
  importedCalls().failDriver(QM_FREEZE_ALL, 1, EBUSY);
  EXPECT_EQ(6, quiesce(3));
  EXPECT_THAT(trace(), ElementsAre(timeout(2), openingContext(), freezingAll(), freezeAllFailed(EBUSY),
                                   notFrozenTogether(), notAllowed()));
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(3), 2)));
  EXPECT_THAT(messages(), IsEmpty());
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
  EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close"));
  expectIdle();
}

TEST_F(Quiesce, WhileOneIsOutstandingReturns6AndLeavesTheFirst) {
  ASSERT_EQ(0, quiesce(2));
  importedCalls().forget();
  EXPECT_EQ(6, quiesce(3));
  EXPECT_THAT(importedCalls().driverRequests(), IsEmpty());
  EXPECT_THAT(importedCalls().contextCalls(), IsEmpty());
  EXPECT_THAT(openDescriptors(), ElementsAre(1, 1, 0, 0));
  unquiesce(2);
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(thaw(paths[0]), thaw(paths[1])));
  const auto records = trace();
  // One line at level 1 of its own wording.
  EXPECT_EQ(1, std::count_if(records.begin(), records.end(), [](const auto& record) { return record.level == 1; }));
  EXPECT_THAT(messages(), IsEmpty());
  expectIdle();
}

TEST_F(Quiesce, WhileOneIsOutstandingReturns6BeforeItLooksAtItsArguments) {
  ASSERT_EQ(0, quiesce(1));
  EXPECT_EQ(6, plugin.quiesce(nullptr, nullptr, 0, nullptr));
  unquiesce(1);
}

TEST_F(Quiesce, IsThawedWhateverListUnquiesceIsGiven) {
  kfi_domain unnamed{};
  kfi_quiescenode wrong{nullptr, &unnamed, nullptr};
  kfi_quiescenode* wrongNodes[] = {&wrong, nullptr};
  const auto thawed = [&] { return ElementsAre(freezeAll(first(2), 2), thaw(paths[0]), thaw(paths[1])); };
  for (const int form : {0, 1, 2, 3, 4}) {
    forget();
    ASSERT_EQ(0, quiesce(2));
    switch (form) {
      case 0:
        plugin.unquiesce(nullptr, nullptr, 0);
        break;
      case 1:
        plugin.unquiesce(nullptr, wrongNodes, 2);
        break;
      case 2:
        plugin.unquiesce(nullptr, nodes.data(), -3);
        break;
      case 3:
        plugin.unquiesce(nullptr, nodes.data(), 4);
        break;
      default:
        plugin.unquiesce(nodes[3], nullptr, 0);
    }
    EXPECT_THAT(importedCalls().driverRequests(), thawed()) << form;
    EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0)) << form;
    EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close")) << form;
  }
}

TEST_F(Quiesce, KeepsItsRecordsUntilTheContextIsClosed) {
  ASSERT_EQ(0, quiesce(2));
  // The log may lie on a file system that is frozen now: only what came before the context is written.
  EXPECT_THAT(trace(), ElementsAre(timeout(2), openingContext()));
  unquiesce(2);
  EXPECT_THAT(trace(),
              ElementsAre(timeout(2), openingContext(), freezingAll(), thawing(), thawing(), closingContext()));
}

TEST_F(Quiesce, RemainsThawableAfterItsNodesAreGone) {
  ASSERT_EQ(0, quiesce(1));
  plugin.deinit_node(nodes[0]->kqn_node);
  plugin.unquiesce(nullptr, nullptr, 0);
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(1), 2), thaw(paths[0])));
}

TEST_F(Quiesce, IsThawedByFini) {
  ASSERT_EQ(0, quiesce(2));
  stopPlugin();
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(2), 2), thaw(paths[0]), thaw(paths[1])));
  EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close"));
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
}

TEST_F(Quiesce, ThawedByFiniIsNotThawedAgain) {
  ASSERT_EQ(0, quiesce(1));
  stopPlugin();
  plugin.unquiesce(nullptr, nullptr, 0);
  plugin.fini();
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(1), 2), thaw(paths[0])));
  EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close"));
}

TEST_F(Quiesce, IsThawedByUnloading) {
  ASSERT_EQ(0, quiesce(2));
  deinitialiseNodes();
  unloadPlugin();
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(2), 2), thaw(paths[0]), thaw(paths[1])));
  EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close"));
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
}

TEST_F(Quiesce, ThatAnExceptionEndsClosesTheContext) {
  importedCalls().doInContext([] { throw std::runtime_error("no context today"); });
  EXPECT_EQ(6, quiesce(2));
  EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close"));
  EXPECT_THAT(trace(), ElementsAre(timeout(2), openingContext(),
                                   traced(1, "CQmFSPlugin::quiesce : caught exception, calling close_context")));
  expectCaught(messages(), "MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION", "std::runtime_error, no context today");
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
  expectIdle();
}

TEST_F(Quiesce, ThatAnythingElseEndsClosesTheContext) {
  importedCalls().doInContext([] { throw "a text"; });
  EXPECT_EQ(6, quiesce(2));
  EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close"));
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
  expectIdle();
}

class SerialQuiesce : public Quiesce {
 protected:
  void start() override {
    configure("[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT=7\nQUIESCENCE_SERIAL_QUIESCENCE=1\n");
    ASSERT_EQ(0, startPlugin());
    importedCalls().failDriver(QM_FREEZE_ALL, 1, ENOTTY);
  }

  std::vector<TraceRecord> refused() const {
    return {timeout(7), openingContext(), freezingAll(), freezeAllFailed(ENOTTY), notFrozenTogether()};
  }

  // The traces of a quiesce that freezes file systems one by one until one fails.
  std::vector<TraceRecord> failedAt(int number, int error) const {
    auto records = refused();
    for (int i = 0; i <= number; ++i) records.push_back(freezing(paths[static_cast<std::size_t>(i)]));
    records.push_back(freezeFailed(paths[static_cast<std::size_t>(number)], error));
    return records;
  }
};

TEST_F(SerialQuiesce, FreezesOneByOneWhatCannotBeFrozenTogether) {
  EXPECT_EQ(0, quiesce(2));
  EXPECT_THAT(importedCalls().driverRequests(),
              ElementsAre(freezeAll(first(2), 7), freeze(paths[0], 7), freeze(paths[1], 7)));
  EXPECT_THAT(openDescriptors(), ElementsAre(1, 1, 0, 0));
  unquiesce(2);
  auto expected = refused();
  for (const auto& record : {freezing(paths[0]), freezing(paths[1]), thawing(), thawing(), closingContext()}) {
    expected.push_back(record);
  }
  EXPECT_EQ(expected, trace());
  EXPECT_THAT(messages(), IsEmpty());
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
}

TEST_F(SerialQuiesce, IsNotTriedWhereFreezingTogetherWorks) {
  ASSERT_EQ(0, quiesce(1));
  unquiesce(1);
  // The driver refused the first request only.
  forget();
  EXPECT_EQ(0, quiesce(2));
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(2), 7)));
  unquiesce(2);
}

TEST_F(SerialQuiesce, ThatFailsOnTheFirstThawsNothing) {
  importedCalls().failDriver(QM_FREEZE, 1, EIO);
  EXPECT_EQ(6, quiesce(2));
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(2), 7), freeze(paths[0], 7)));
  auto expected = failedAt(0, EIO);
  expected.push_back(bothFailed());
  EXPECT_EQ(expected, trace());
  expectMessage(messages(), "MSG_ERROR_FREEZE", paths[0]);
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
  EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close"));
  expectIdle();
}

TEST_F(SerialQuiesce, ThatFailsLaterThawsAllBeforeButTheLast) {
  importedCalls().failDriver(QM_FREEZE, 4, EIO);
  EXPECT_EQ(6, quiesce(4));
  EXPECT_THAT(importedCalls().driverRequests(),
              ElementsAre(freezeAll(first(4), 7), freeze(paths[0], 7), freeze(paths[1], 7), freeze(paths[2], 7),
                          freeze(paths[3], 7), thaw(paths[0]), thaw(paths[1])));
  auto expected = failedAt(3, EIO);
  expected.push_back(bothFailed());
  EXPECT_EQ(expected, trace());
  expectMessage(messages(), "MSG_ERROR_FREEZE", paths[3]);
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
}

TEST_F(SerialQuiesce, ThatFailsGoesOnThawingPastAFailure) {
  importedCalls().failDriver(QM_FREEZE, 4, EIO);
  importedCalls().failDriver(QM_THAW, 1, EINVAL);
  EXPECT_EQ(6, quiesce(4));
  auto expected = failedAt(3, EIO);
  expected.push_back(traced(1, "CQmFSPlugin::thawFileSystemList : ioctl QM_THAW failed for " + paths[0] +
                                   " with errno : " + std::to_string(EINVAL) + " "));
  expected.push_back(bothFailed());
  EXPECT_EQ(expected, trace());
  EXPECT_EQ(thaw(paths[1]), importedCalls().driverRequests().back());
  expectMessage(messages(), "MSG_ERROR_FREEZE", paths[3]);
}

class OtherSerialSetting : public Quiesce {
 protected:
  void start() override {
    configure("[QUIESCENCE_INFO]\nQUIESCENCE_SERIAL_QUIESCENCE=2\n");
    ASSERT_EQ(0, startPlugin());
  }
};

TEST_F(OtherSerialSetting, AllowsNoSerialFreezing) {
  importedCalls().failDriver(QM_FREEZE_ALL, 1, EBUSY);
  EXPECT_EQ(6, quiesce(2));
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(2), 2)));
  EXPECT_EQ(notAllowed(), trace().back());
}

class Unquiesce : public Quiesce {};

TEST_F(Unquiesce, SaysNothingOfAFreezeThatEndedByItsTimeout) {
  ASSERT_EQ(0, quiesce(2));
  importedCalls().failDriver(QM_THAW, 1, ETIMEDOUT);
  unquiesce(2);
  EXPECT_THAT(trace(),
              ElementsAre(timeout(2), openingContext(), freezingAll(), thawing(), thawing(), closingContext()));
  EXPECT_THAT(messages(), IsEmpty());
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
}

TEST_F(Unquiesce, ReportsAFailedThawAndGoesOn) {
  ASSERT_EQ(0, quiesce(3));
  importedCalls().failDriver(QM_THAW, 2, EIO);
  unquiesce(3);
  EXPECT_THAT(importedCalls().driverRequests(),
              ElementsAre(freezeAll(first(3), 2), thaw(paths[0]), thaw(paths[1]), thaw(paths[2])));
  EXPECT_THAT(trace(), ElementsAre(timeout(2), openingContext(), freezingAll(), thawing(), thawing(),
                                   traced(1, "CQmFSPlugin::unquiesce : ioctl QM_THAW failed, errno=[" +
                                                 std::to_string(EIO) + "]"),
                                   thawing(), closingContext()));
  expectMessage(messages(), "MSG_ERROR_THAW", paths[1]);
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
  EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close"));
}

TEST_F(Unquiesce, HandsItsMessagesOutWhenTheContextCloses) {
  ASSERT_EQ(0, quiesce(2));
  importedCalls().failDriver(QM_THAW, 1, EIO);
  importedCalls().failDriver(QM_THAW, 2, EIO);
  unquiesce(2);
  ASSERT_EQ(2u, callbacks.size());
  EXPECT_THAT(callbacks[0].defaultText, ::testing::HasSubstr(paths[0]));
  EXPECT_THAT(callbacks[1].defaultText, ::testing::HasSubstr(paths[1]));
  const auto pushed = messages();
  ASSERT_EQ(2u, pushed.size());
  EXPECT_EQ(paths[1], pushed[0].arguments);
  EXPECT_EQ(paths[0], pushed[1].arguments);
}

TEST_F(Unquiesce, WithoutAQuiesceBeforeItDoesNothing) {
  unquiesce(2);
  plugin.unquiesce(nodes[0], nullptr, 0);
  EXPECT_THAT(importedCalls().driverRequests(), IsEmpty());
  EXPECT_THAT(importedCalls().contextCalls(), IsEmpty());
  EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(Unquiesce, AfterAFailedQuiesceDoesNothing) {
  importedCalls().failDriver(QM_FREEZE_ALL, 1, EBUSY);
  ASSERT_EQ(6, quiesce(2));
  forget();
  unquiesce(2);
  EXPECT_THAT(importedCalls().driverRequests(), IsEmpty());
  EXPECT_THAT(importedCalls().contextCalls(), IsEmpty());
}

TEST_F(Unquiesce, TwiceDoesNothingTheSecondTime) {
  ASSERT_EQ(0, quiesce(1));
  unquiesce(1);
  forget();
  unquiesce(1);
  EXPECT_THAT(importedCalls().driverRequests(), IsEmpty());
  EXPECT_THAT(importedCalls().contextCalls(), IsEmpty());
}

}  // namespace

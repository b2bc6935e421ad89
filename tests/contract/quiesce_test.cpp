// Freezing file systems together.
#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <stdexcept>

#include "quiesce_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST_F(Quiesce, FreezesAllFileSystemsWithOneRequestOnTheFirst) {
  EXPECT_EQ(quiesce(3), 0);
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
  ASSERT_EQ(quiesce(1), 0);
  const auto descriptors = descriptorsOf(paths[0]);
  ASSERT_EQ(descriptors.size(), 1u);
  EXPECT_EQ(fcntl(descriptors[0], F_GETFL) & O_ACCMODE, O_RDONLY);
  EXPECT_EQ(fcntl(descriptors[0], F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
  unquiesce(1);
}

TEST_F(Quiesce, TakesASingleNodeForAMissingList) {
  EXPECT_EQ(plugin.quiesce(nodes[1], nullptr, 0, "not read"_text), 0);
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll({paths[1]}, 2)));
  plugin.unquiesce(nodes[1], nullptr, 0);
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
}

TEST_F(Quiesce, IgnoresASingleNodeBesideAList) {
  EXPECT_EQ(plugin.quiesce(nodes[3], nodes.data(), 2, nullptr), 0);
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(2), 2)));
  unquiesce(2);
}

TEST_F(Quiesce, IgnoresASingleNodeBesideAListThatIsMissingOrEmpty) {
  EXPECT_EQ(plugin.quiesce(nodes[0], nullptr, 1, nullptr), 3);
  EXPECT_EQ(plugin.quiesce(nodes[0], nodes.data(), 0, nullptr), 3);
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
    EXPECT_EQ(quiesce(2), 0);
    EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(2), tried.seconds)));
    unquiesce(2);
    EXPECT_EQ(trace().front(), timeout(tried.seconds)) << tried.configured;
  }
}

class TunedTimeout : public Quiesce {
 protected:
  void start() override {
    configure("[QUIESCENCE_INFO]\nQUIESCENCE_TIMEOUT=7\n");
    ASSERT_EQ(startPlugin(), 0);
  }
};

// It is the setting of the provider, not the declared default of the parameter, which is 2.
TEST_F(TunedTimeout, ServesWhereNoneIsConfiguredOrAnEmptyOne) {
  ASSERT_EQ(quiesce(1), 0);
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(1), 7)));
  unquiesce(1);
  configureTimeout(""_text);
  ASSERT_EQ(quiesce(1), 0);
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(1), 7)));
  unquiesce(1);
}

TEST_F(TunedTimeout, GivesWayToAConfiguredOne) {
  configureTimeout("3"_text);
  ASSERT_EQ(quiesce(1), 0);
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(1), 3)));
  unquiesce(1);
}

TEST_F(Quiesce, ConsultsOnlyTheFirstNodesConfigurationDomain) {
  kfi_domain& other = node("other configuration");
  ASSERT_EQ(plugin.init_node(&other, nullptr, 0, nullptr), 0);
  kfi_confspec spec{"qmfsFreezeTimeout"_text, "44"_text, nullptr};
  ASSERT_EQ(plugin.config(&other, 0, nullptr, &spec), 0);
  kfi_quiescenode withOther = *nodes[1];
  withOther.kqn_config = &other;
  kfi_quiescenode withNone = *nodes[2];
  withNone.kqn_config = nullptr;
  kfi_quiescenode* mixed[] = {nodes[0], &withOther, &withNone};
  EXPECT_EQ(plugin.quiesce(nullptr, mixed, 3, nullptr), 0);
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(3), 2)));
  plugin.unquiesce(nullptr, mixed, 3);
}

TEST_F(Quiesce, WithoutPrivateDataOfTheConfigurationDomainReturns3) {
  kfi_quiescenode quiesceNode = *nodes[0];
  quiesceNode.kqn_config = &node("never initialised");
  EXPECT_EQ(plugin.quiesce(&quiesceNode, nullptr, 0, nullptr), 3);
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
  EXPECT_EQ(plugin.quiesce(nullptr, nullptr, 0, nullptr), 3);
  EXPECT_EQ(plugin.quiesce(nullptr, nullptr, 2, nullptr), 3);
  EXPECT_EQ(plugin.quiesce(nullptr, nodes.data(), -1, nullptr), 3);
  EXPECT_EQ(plugin.quiesce(&withoutNode, nullptr, 0, nullptr), 3);
  EXPECT_EQ(plugin.quiesce(&withoutConfiguration, nullptr, 0, nullptr), 3);
  EXPECT_EQ(plugin.quiesce(&withoutName, nullptr, 0, nullptr), 3);
  EXPECT_EQ(plugin.quiesce(nullptr, second, 2, nullptr), 3);
  EXPECT_EQ(plugin.quiesce(nullptr, secondWithoutName, 2, nullptr), 3);
  EXPECT_THAT(importedCalls().contextCalls(), IsEmpty());
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
  expectIdle();
}

TEST_F(Quiesce, WithoutASplitContextClosesItAndReturns6) {
  importedCalls().failContext(12);
  EXPECT_EQ(quiesce(2), 6);
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
  EXPECT_EQ(quiesce(2), 6);
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
  EXPECT_EQ(quiesce(4), 6);
  expectMessage(messages(), "MSG_ERROR_FILE_OPEN_FOR_QUIESCE", paths[3]);
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 1, 0));
  EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close"));
  closeDescriptorsOf(paths[2]);
  expectIdle();
}

TEST_F(Quiesce, WhenTheSecondMountPointCannotBeOpenedLeavesTheFirstOpen) {
  std::filesystem::remove(paths[1]);
  EXPECT_EQ(quiesce(2), 6);
  EXPECT_THAT(openDescriptors(), ElementsAre(1, 0, 0, 0));
  closeDescriptorsOf(paths[0]);
}

TEST_F(Quiesce, ThatFreezeAllRefusesEndsWhereSerialFreezingIsNotAllowed) {
  importedCalls().failDriver(QM_FREEZE_ALL, 1, EBUSY);
  EXPECT_EQ(quiesce(3), 6);
  EXPECT_THAT(trace(), ElementsAre(timeout(2), openingContext(), freezingAll(), freezeAllFailed(EBUSY),
                                   notFrozenTogether(), notAllowed()));
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(3), 2)));
  EXPECT_THAT(messages(), IsEmpty());
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
  EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close"));
  expectIdle();
}

TEST_F(Quiesce, WhileOneIsOutstandingReturns6AndLeavesTheFirst) {
  ASSERT_EQ(quiesce(2), 0);
  importedCalls().forget();
  EXPECT_EQ(quiesce(3), 6);
  EXPECT_THAT(importedCalls().driverRequests(), IsEmpty());
  EXPECT_THAT(importedCalls().contextCalls(), IsEmpty());
  EXPECT_THAT(openDescriptors(), ElementsAre(1, 1, 0, 0));
  unquiesce(2);
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(thaw(paths[0]), thaw(paths[1])));
  const auto records = trace();
  // One line at level 1 of its own wording.
  EXPECT_EQ(std::count_if(records.begin(), records.end(), [](const auto& record) { return record.level == 1; }), 1);
  EXPECT_THAT(messages(), IsEmpty());
  expectIdle();
}

TEST_F(Quiesce, WhileOneIsOutstandingReturns6BeforeItLooksAtItsArguments) {
  ASSERT_EQ(quiesce(1), 0);
  EXPECT_EQ(plugin.quiesce(nullptr, nullptr, 0, nullptr), 6);
  unquiesce(1);
}

TEST_F(Quiesce, KeepsItsRecordsUntilTheContextIsClosed) {
  ASSERT_EQ(quiesce(2), 0);
  // The log may lie on a file system that is frozen now: only what came before the context is written.
  EXPECT_THAT(trace(), ElementsAre(timeout(2), openingContext()));
  unquiesce(2);
  EXPECT_THAT(trace(),
              ElementsAre(timeout(2), openingContext(), freezingAll(), thawing(), thawing(), closingContext()));
}

TEST_F(Quiesce, ThatAnExceptionEndsClosesTheContext) {
  importedCalls().doInContext([] { throw std::runtime_error("no context today"); });
  EXPECT_EQ(quiesce(2), 6);
  EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close"));
  EXPECT_THAT(trace(), ElementsAre(timeout(2), openingContext(),
                                   traced(1, "CQmFSPlugin::quiesce : caught exception, calling close_context")));
  expectCaught(messages(), "MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION", "std::runtime_error, no context today");
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
  expectIdle();
}

// Opening a mount point is where such a thread ends.
TEST_F(Quiesce, OnACancelledThreadLeavesNothingBehind) {
  EXPECT_FALSE(finishesThoughCancelled([&] { quiesce(3); }));
  EXPECT_THAT(importedCalls().driverRequests(), IsEmpty());
  EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close"));
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
  expectIdle();
}

TEST_F(Quiesce, ThatAnythingElseEndsClosesTheContext) {
  importedCalls().doInContext([] { throw "a text"; });
  EXPECT_EQ(quiesce(2), 6);
  EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close"));
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
  expectIdle();
}

}  // namespace

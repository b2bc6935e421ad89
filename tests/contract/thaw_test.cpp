// Thawing what is frozen: by unquiesce, by fini and by unloading.
#include <signal.h>

#include <cerrno>

#include "quiesce_fixture.h"

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

class Thaw : public Quiesce {};

TEST_F(Thaw, IsOfAllWhateverListIsGiven) {
  kfi_domain unnamed{};
  kfi_quiescenode wrong{nullptr, &unnamed, nullptr};
  kfi_quiescenode* wrongNodes[] = {&wrong, nullptr};
  const auto thawed = [&] { return ElementsAre(freezeAll(first(2), 2), thaw(paths[0]), thaw(paths[1])); };
  for (const int form : {0, 1, 2, 3, 4}) {
    forget();
    ASSERT_EQ(quiesce(2), 0);
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

TEST_F(Thaw, WorksAfterTheNodesAreGone) {
  ASSERT_EQ(quiesce(1), 0);
  plugin.deinit_node(nodes[0]->kqn_node);
  plugin.unquiesce(nullptr, nullptr, 0);
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(1), 2), thaw(paths[0])));
}

TEST_F(Thaw, IsDoneByFini) {
  ASSERT_EQ(quiesce(2), 0);
  stopPlugin();
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(2), 2), thaw(paths[0]), thaw(paths[1])));
  EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close"));
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
}

TEST_F(Thaw, ByFiniIsNotRepeated) {
  ASSERT_EQ(quiesce(1), 0);
  stopPlugin();
  plugin.unquiesce(nullptr, nullptr, 0);
  plugin.fini();
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(1), 2), thaw(paths[0])));
  EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close"));
}

TEST_F(Thaw, IsDoneByUnloading) {
  ASSERT_EQ(quiesce(2), 0);
  deinitialiseNodes();
  unloadPlugin();
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(2), 2), thaw(paths[0]), thaw(paths[1])));
  EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close"));
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
}

TEST_F(Thaw, SaysNothingOfAFreezeThatEndedByItsTimeout) {
  ASSERT_EQ(quiesce(2), 0);
  importedCalls().failDriver(QM_THAW, 1, ETIMEDOUT);
  unquiesce(2);
  EXPECT_THAT(trace(),
              ElementsAre(timeout(2), openingContext(), freezingAll(), thawing(), thawing(), closingContext()));
  EXPECT_THAT(messages(), IsEmpty());
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
}

TEST_F(Thaw, ReportsAFailedThawAndGoesOn) {
  ASSERT_EQ(quiesce(3), 0);
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

// A signal handler of the host's that interrupted a thaw would leave the file system frozen until its time-out.
TEST_F(Thaw, IsNotInterrupted) {
  sigset_t before;
  pthread_sigmask(SIG_BLOCK, nullptr, &before);
  ASSERT_EQ(sigismember(&before, SIGALRM), 0);
  ASSERT_EQ(quiesce(2), 0);
  unquiesce(2);
  EXPECT_EQ(importedCalls().interruptibleThaws(), 0);
  sigset_t after;
  pthread_sigmask(SIG_BLOCK, nullptr, &after);
  EXPECT_EQ(sigismember(&after, SIGALRM), 0);
}

TEST_F(Thaw, IsWholeOnACancelledThread) {
  ASSERT_EQ(quiesce(3), 0);
  EXPECT_TRUE(finishesThoughCancelled([&] { unquiesce(3); }));
  EXPECT_THAT(importedCalls().driverRequests(),
              ElementsAre(freezeAll(first(3), 2), thaw(paths[0]), thaw(paths[1]), thaw(paths[2])));
  EXPECT_THAT(openDescriptors(), ElementsAre(0, 0, 0, 0));
  EXPECT_THAT(importedCalls().contextCalls(), ElementsAre("create", "close"));
  expectIdle();
}

TEST_F(Thaw, ByFiniReportsWhatStaysFrozen) {
  ASSERT_EQ(quiesce(2), 0);
  importedCalls().failDriver(QM_THAW, 1, EIO);
  stopPlugin();
  ASSERT_EQ(callbacks.size(), 1u);
  EXPECT_THAT(callbacks[0].defaultText, ::testing::HasSubstr(paths[0]));
  EXPECT_THAT(importedCalls().driverRequests(), ElementsAre(freezeAll(first(2), 2), thaw(paths[0]), thaw(paths[1])));
}

TEST_F(Thaw, HandsItsMessagesOutWhenTheContextCloses) {
  ASSERT_EQ(quiesce(2), 0);
  importedCalls().failDriver(QM_THAW, 1, EIO);
  importedCalls().failDriver(QM_THAW, 2, EIO);
  unquiesce(2);
  ASSERT_EQ(callbacks.size(), 2u);
  EXPECT_THAT(callbacks[0].defaultText, ::testing::HasSubstr(paths[0]));
  EXPECT_THAT(callbacks[1].defaultText, ::testing::HasSubstr(paths[1]));
  const auto pushed = messages();
  ASSERT_EQ(pushed.size(), 2u);
  EXPECT_EQ(pushed[0].arguments, paths[1]);
  EXPECT_EQ(pushed[1].arguments, paths[0]);
}

TEST_F(Thaw, WithoutAQuiesceBeforeItDoesNothing) {
  unquiesce(2);
  plugin.unquiesce(nodes[0], nullptr, 0);
  EXPECT_THAT(importedCalls().driverRequests(), IsEmpty());
  EXPECT_THAT(importedCalls().contextCalls(), IsEmpty());
  EXPECT_THAT(trace(), IsEmpty());
}

TEST_F(Thaw, AfterAFailedQuiesceDoesNothing) {
  importedCalls().failDriver(QM_FREEZE_ALL, 1, EBUSY);
  ASSERT_EQ(quiesce(2), 6);
  forget();
  unquiesce(2);
  EXPECT_THAT(importedCalls().driverRequests(), IsEmpty());
  EXPECT_THAT(importedCalls().contextCalls(), IsEmpty());
}

TEST_F(Thaw, TwiceDoesNothingTheSecondTime) {
  ASSERT_EQ(quiesce(1), 0);
  unquiesce(1);
  forget();
  unquiesce(1);
  EXPECT_THAT(importedCalls().driverRequests(), IsEmpty());
  EXPECT_THAT(importedCalls().contextCalls(), IsEmpty());
}

}  // namespace

// Freeze, split and thaw, in this order and whatever fails.
#include "snapshot/freeze_window.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <algorithm>
#include <deque>

#include "fake_provider.h"

namespace qmfi_host {
namespace {

using testing::ElementsAre;
using testing::ThrowsMessage;

constexpr std::chrono::seconds longTime(100);

// Two file systems of the machine stand for those that are frozen; nobody really does it.
class FreezeWindowTest : public testing::Test {
 protected:
  FreezeWindowTest() {
    m_groups.push_back({&m_provider, longTime});
    addTarget("/proc");
    addTarget("/sys");
    m_journal.clear();
  }

  // To the last group.
  void addTarget(const std::string& mountPoint) {
    m_nodes.emplace_back(*m_groups.back().provider, mountPoint).initialise(nullptr);
    const std::string device = "/dev" + mountPoint;
    m_groups.back().targets.push_back({&m_nodes.back(), device, m_splitter.prepare({device, {}, {}, {}, {}})});
  }

  std::chrono::microseconds run() { return splitFrozen(m_groups); }

  Journal m_journal;
  FakeProvider m_fake{m_journal};
  FakeSplitter m_splitter{m_journal};
  Provider m_provider{m_fake.entryPoints(), "sample", ""};
  std::deque<Node> m_nodes;
  std::vector<FreezeGroup> m_groups;
};

TEST_F(FreezeWindowTest, WritesOutThenFreezesSplitsAndThaws) {
  EXPECT_GE(run().count(), 0);
  EXPECT_THAT(m_journal.calls(), ElementsAre("flush /dev/proc", "flush /dev/sys", "quiesce /proc /sys",
                                             "split /dev/proc", "split /dev/sys", "unquiesce /proc /sys"));
}

TEST_F(FreezeWindowTest, NeitherSplitsNorThawsWhatCouldNotBeFrozen) {
  m_fake.statuses["quiesce"] = 6;
  m_fake.messages["quiesce"] = {{"MSG_ERROR_FREEZE", "not this one"}};
  try {
    run();
    FAIL() << "it did not fail";
  } catch (const ProviderError& error) {
    EXPECT_STREQ(error.what(), "the file systems could not be frozen: status 6");
    ASSERT_EQ(error.messages().size(), 1U);
    EXPECT_EQ(error.messages()[0].id, "MSG_ERROR_FREEZE");
  }
  EXPECT_EQ(m_journal.calls().back(), "quiesce /proc /sys");
}

TEST_F(FreezeWindowTest, ThawsWhenAVolumeCannotBeSplitAndLeavesTheOthers) {
  m_splitter.splitError = ENOSPC;
  EXPECT_THAT([&] { run(); },
              ThrowsMessage<HostError>("the volume /dev/proc could not be split: No space left on device"));
  EXPECT_THAT(m_journal.calls(), ElementsAre("flush /dev/proc", "flush /dev/sys", "quiesce /proc /sys",
                                             "split /dev/proc", "unquiesce /proc /sys"));
}

TEST_F(FreezeWindowTest, CallsNoSnapshotConsistentWhenTheTimeoutMayHaveEndedTheFreeze) {
  m_groups.front().timeout = std::chrono::seconds(0);
  EXPECT_THAT([&] { run(); },
              ThrowsMessage<HostError>(testing::MatchesRegex(
                  "the snapshot is not consistent: freezing and splitting took [0-9]+ ms, and the freeze time-out of 0 "
                  "s may have ended the freeze before; --freeze-timeout sets a longer one")));
  EXPECT_EQ(m_journal.calls().back(), "unquiesce /proc /sys");
}

TEST_F(FreezeWindowTest, NeedsNoTimeWhereAFreezeDoesNotEndByItself) {
  m_groups.front().timeout.reset();
  EXPECT_NO_THROW(run());
}

TEST_F(FreezeWindowTest, BeginsWithNothingThatAProviderMadeNoQuiesceNodeFor) {
  m_fake.leavesOut = "init_node";
  addTarget("/dev");
  m_journal.clear();
  EXPECT_THAT([&] { run(); },
              ThrowsMessage<HostError>("the provider sample does not say how /dev is frozen: it made no "
                                       "quiesce node"));
  EXPECT_THAT(m_journal.calls(), testing::IsEmpty());
}

// What a second provider freezes beside the first.
class TwoGroupsTest : public FreezeWindowTest {
 protected:
  TwoGroupsTest() {
    m_groups.push_back({&m_other, longTime});
    addTarget("/dev");
    m_journal.clear();
  }
  // Nodes end before their providers.
  ~TwoGroupsTest() override {
    m_groups.clear();
    m_nodes.clear();
  }

  std::vector<std::string> callsFromTheFreezeOn() const {
    const std::vector<std::string>& calls = m_journal.calls();
    return {std::find(calls.begin(), calls.end(), "quiesce /proc /sys"), calls.end()};
  }

  // The messages of the fake provider are all the first one's.
  static ProviderEntryPoints withoutMessages(ProviderEntryPoints entryPoints) {
    entryPoints.fi_pgn_get_last_error = [](kfi_msg_info** list) {
      *list = nullptr;
      return 0;
    };
    entryPoints.fi_pgn_del_last_error = [](kfi_msg_info**) { return 0; };
    return entryPoints;
  }

  const ProviderEntryPoints m_otherEntryPoints = withoutMessages(m_fake.entryPoints());
  Provider m_other{m_otherEntryPoints, "unlike", ""};
};

TEST_F(TwoGroupsTest, AreFrozenOneAfterTheOtherAndThawedTheLastOneFirst) {
  run();
  EXPECT_THAT(callsFromTheFreezeOn(),
              ElementsAre("quiesce /proc /sys", "quiesce /dev", "split /dev/proc", "split /dev/sys", "split /dev/dev",
                          "unquiesce /dev", "unquiesce /proc /sys"));
}

TEST_F(TwoGroupsTest, FirstIsThawedWhenTheSecondCannotBeFrozen) {
  m_fake.statuses["quiesce /dev"] = 6;
  EXPECT_THAT([&] { run(); }, ThrowsMessage<ProviderError>("the file systems could not be frozen: status 6"));
  EXPECT_THAT(callsFromTheFreezeOn(), ElementsAre("quiesce /proc /sys", "quiesce /dev", "unquiesce /proc /sys"));
}

TEST_F(TwoGroupsTest, SecondIsNotTouchedWhenTheFirstCannotBeFrozen) {
  m_fake.statuses["quiesce /proc /sys"] = 6;
  EXPECT_THROW(run(), ProviderError);
  EXPECT_THAT(callsFromTheFreezeOn(), ElementsAre("quiesce /proc /sys"));
}

TEST_F(TwoGroupsTest, AreBothThawedWhenAVolumeCannotBeSplit) {
  m_splitter.splitError = EIO;
  EXPECT_THROW(run(), HostError);
  EXPECT_THAT(callsFromTheFreezeOn(), ElementsAre("quiesce /proc /sys", "quiesce /dev", "split /dev/proc",
                                                  "unquiesce /dev", "unquiesce /proc /sys"));
}

TEST_F(TwoGroupsTest, FailedThawOfOneIsAFailureAndTheOtherIsThawedAllTheSame) {
  m_fake.messages["unquiesce /proc /sys"] = {{"MSG_ERROR_THAW", "/proc"}};
  EXPECT_THAT([&] { run(); }, ThrowsMessage<ProviderError>("the file systems could not be thawed: status 6"));
  EXPECT_THAT(m_journal.calls(), testing::Contains("unquiesce /dev"));
}

TEST_F(TwoGroupsTest, FailedThawIsToldBesideTheFreezeThatFailed) {
  m_fake.statuses["quiesce /dev"] = 6;
  m_fake.messages["unquiesce /proc /sys"] = {{"MSG_ERROR_THAW", "/proc"}};
  testing::internal::CaptureStderr();
  EXPECT_THAT([&] { run(); }, ThrowsMessage<ProviderError>("the file systems could not be frozen: status 6"));
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "qmfi: the file systems could not be thawed: status 6\n  MSG_ERROR_THAW: /proc\n");
}

TEST_F(TwoGroupsTest, EachTimeoutIsCountedFromTheFreezeThatHasIt) {
  m_groups.front().timeout.reset();
  m_groups.back().timeout = std::chrono::seconds(0);
  EXPECT_THAT([&] { run(); }, ThrowsMessage<HostError>(testing::HasSubstr("the freeze time-out of 0 s")));
}

TEST_F(FreezeWindowTest, FailsWhenTheThawReportsAFailure) {
  m_fake.messages["unquiesce"] = {{"MSG_ERROR_THAW", "/proc"}};
  EXPECT_THAT([&] { run(); }, ThrowsMessage<ProviderError>("the file systems could not be thawed: status 6"));
}

TEST_F(FreezeWindowTest, CountsTheTimeUntilTheThawHasReturned) {
  constexpr std::chrono::milliseconds thawTime(20);
  m_journal.onCall = [&](const std::string& call) {
    if (!call.starts_with("unquiesce")) return;
    const auto end = std::chrono::steady_clock::now() + thawTime;
    while (std::chrono::steady_clock::now() < end) {
    }
  };
  EXPECT_GE(run(), thawTime);
}

TEST_F(FreezeWindowTest, LetsNoSignalInBetweenFreezeAndThaw) {
  std::vector<int> open;
  m_splitter.onSplit = [&] {
    sigset_t blocked;
    pthread_sigmask(SIG_BLOCK, nullptr, &blocked);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGALRM, SIGUSR1, SIGPIPE, SIGCHLD}) {
      if (sigismember(&blocked, signal) != 1) open.push_back(signal);
    }
  };
  run();
  EXPECT_THAT(open, testing::IsEmpty());
  sigset_t after;
  pthread_sigmask(SIG_BLOCK, nullptr, &after);
  EXPECT_EQ(sigismember(&after, SIGINT), 0);
}

}  // namespace
}  // namespace qmfi_host

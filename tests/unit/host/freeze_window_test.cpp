// Freeze, split and thaw, in this order and whatever fails.
#include "snapshot/freeze_window.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

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
    for (const char* mountPoint : {"/proc", "/sys"}) {
      m_nodes.emplace_back(m_provider, mountPoint).initialise(nullptr);
      const std::string device = std::string("/dev") + mountPoint;
      m_targets.push_back({&m_nodes.back(), device, m_splitter.prepare({device, {}, {}, {}})});
    }
    m_journal.clear();
  }

  std::chrono::microseconds run(std::chrono::seconds timeout = longTime) {
    return splitFrozen(m_provider, m_targets, timeout);
  }

  Journal m_journal;
  FakeProvider m_fake{m_journal};
  FakeSplitter m_splitter{m_journal};
  Provider m_provider{m_fake.entryPoints(), "sample", ""};
  std::deque<Node> m_nodes;
  std::vector<FreezeTarget> m_targets;
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
  EXPECT_THAT([&] { run(std::chrono::seconds(0)); },
              ThrowsMessage<HostError>(testing::MatchesRegex(
                  "the snapshot is not consistent: freezing and splitting took [0-9]+ ms, and the freeze time-out of 0 "
                  "s may have ended the freeze before; --freeze-timeout sets a longer one")));
  EXPECT_EQ(m_journal.calls().back(), "unquiesce /proc /sys");
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

// Freeze, split and thaw, in this order and whatever fails.
#include "snapshot/freeze_window.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <deque>
#include <filesystem>
#include <fstream>
#include <map>

#include "fake_provider.h"

namespace {

// The program is linked so that its calls of socketpair() pass through here.
bool socketsFail = false;

}  // namespace

extern "C" decltype(socketpair) __real_socketpair;
extern "C" int __wrap_socketpair(int domain, int type, int protocol, int ends[2]) {
  if (!socketsFail) return __real_socketpair(domain, type, protocol, ends);
  errno = EMFILE;
  return -1;
}

namespace qmfi_host {
namespace {

using testing::ElementsAre;
using testing::ThrowsMessage;

constexpr std::chrono::seconds longTime(100);

// The name of one that this process has; empty when it has none.
std::string nameOfAChild() {
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    std::ifstream status(entry.path() / "stat");
    std::string number;
    std::string name;
    char state = 0;
    pid_t parent = 0;
    if (status >> number >> name >> state >> parent && parent == getpid()) return name.substr(1, name.size() - 2);
  }
  return {};
}

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
    m_groups.back().targets.push_back({&m_nodes.back(), device, m_fileSystems.open({mountPoint, device})});
    m_splits.push_back(m_splitter.prepare({{device, {}, {}, {}, {}}}));
  }

  FreezeReceipt run() { return splitFrozen(m_groups, m_splits); }

  Journal m_journal;
  FakeProvider m_fake{m_journal};
  FakeSplitter m_splitter{m_journal};
  FakeFileSystems m_fileSystems;
  Provider m_provider{m_fake.entryPoints(), "sample", ""};
  std::deque<Node> m_nodes;
  std::vector<FreezeGroup> m_groups;
  std::vector<std::unique_ptr<GroupSplit>> m_splits;
};

// The second time for what was written during the first.
TEST_F(FreezeWindowTest, WritesOutTwiceThenFreezesSplitsAndThaws) {
  run();
  EXPECT_THAT(m_journal.calls(),
              ElementsAre("flush /dev/proc", "flush /dev/sys", "flush /dev/proc", "flush /dev/sys",
                          "quiesce /proc /sys", "split /dev/proc", "split /dev/sys", "unquiesce /proc /sys"));
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

class RefusedFreezeTest : public FreezeWindowTest {
 protected:
  RefusedFreezeTest() { m_fake.statuses["quiesce"] = 6; }

  std::string explanation() {
    try {
      run();
    } catch (const ProviderError& error) {
      return error.explanation();
    }
    return "it did not fail";
  }
};

TEST_F(RefusedFreezeTest, NamesTheFileSystemsInTheWay) {
  m_fileSystems.onSecondFreeze = [](const std::string& mountPoint) { return mountPoint == "/sys" ? EBUSY : 0; };
  EXPECT_EQ(explanation(), "/sys is frozen already, by somebody else: \"qmfi thaw /sys\" ends that");
  m_fileSystems.onSecondFreeze = [](const std::string& mountPoint) { return mountPoint == "/sys" ? EBUSY : EROFS; };
  EXPECT_EQ(
      explanation(),
      "/proc cannot be frozen: Read-only file system; /sys is frozen already, by somebody else: \"qmfi thaw /sys\" "
      "ends that");
}

TEST_F(RefusedFreezeTest, TellsWhenNoneIsInTheWayByItself) {
  m_fileSystems.onSecondFreeze = [](const std::string&) { return 0; };
  EXPECT_EQ(
      explanation(),
      "/proc, /sys: each can be frozen by itself; together they were refused, or a path has led elsewhere meanwhile");
}

TEST_F(RefusedFreezeTest, AsksNoneWhereTheProviderNamesIt) {
  m_fake.messages["quiesce"] = {{"MSG_ERROR_FREEZE", "/proc"}};
  bool isAsked = false;
  m_fileSystems.onSecondFreeze = [&](const std::string&) {
    isAsked = true;
    return 0;
  };
  EXPECT_EQ(explanation(), "The operation failed.");
  EXPECT_FALSE(isAsked);
}

TEST_F(FreezeWindowTest, ThawsWhenAVolumeCannotBeSplitAndLeavesTheOthers) {
  m_splitter.splitError = ENOSPC;
  EXPECT_THAT([&] { run(); },
              ThrowsMessage<HostError>("the volume /dev/proc could not be split: No space left on device"));
  EXPECT_THAT(m_journal.calls(), ElementsAre("flush /dev/proc", "flush /dev/sys", "flush /dev/proc", "flush /dev/sys",
                                             "quiesce /proc /sys", "split /dev/proc", "unquiesce /proc /sys"));
}

// Why a program failed is read only then.
TEST_F(FreezeWindowTest, AsksEverySplitAfterTheThawWhetherItFailed) {
  m_splitter.lateFailure = "the array is full";
  EXPECT_THAT([&] { run(); }, ThrowsMessage<HostError>("the array is full"));
  EXPECT_EQ(m_journal.calls().back(), "unquiesce /proc /sys");
}

TEST_F(FreezeWindowTest, CallsNoSnapshotConsistentWhenTheTimeoutMayHaveEndedTheFreeze) {
  m_groups.front().timeout = std::chrono::seconds(0);
  EXPECT_THAT([&] { run(); },
              ThrowsMessage<HostError>(testing::MatchesRegex(
                  "the snapshot is not consistent: freezing and splitting took [0-9]+ ms, and the freeze time-out of 0 "
                  "s may have ended the freeze before; --freeze-timeout sets a longer one")));
  EXPECT_EQ(m_journal.calls().back(), "unquiesce /proc /sys");
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

TEST_F(FreezeWindowTest, LetsASplitTakeAsLongAsTheTimeout) {
  const auto before = std::chrono::steady_clock::now();
  run();
  EXPECT_GE(m_splitter.deadline, before + longTime);
  EXPECT_LE(m_splitter.deadline, std::chrono::steady_clock::now() + longTime);
}

// A provider that thaws after the watchdog finds nothing frozen.
TEST_F(FreezeWindowTest, CallsAThawThatCameTooLateNoFailure) {
  m_groups.front().timeout = std::chrono::seconds(0);
  m_fake.messages["unquiesce"] = {{"MSG_ERROR_THAW", "/proc"}};
  EXPECT_THAT([&] { run(); }, ThrowsMessage<HostError>(testing::StartsWith("the snapshot is not consistent: ")));
  EXPECT_THAT(m_fileSystems.thawed, ElementsAre("/proc", "/sys"));
  EXPECT_THAT(m_fake.pushed, testing::IsEmpty());
}

// The process has no other children.
TEST_F(FreezeWindowTest, IsWatchedOverUntilItIsThawed) {
  std::string watchdog;
  m_journal.onCall = [&](const std::string& call) {
    if (call.starts_with("unquiesce")) watchdog = nameOfAChild();
  };
  run();
  EXPECT_EQ(watchdog, "freeze-watchdog");
  EXPECT_EQ(nameOfAChild(), "");
}

TEST_F(FreezeWindowTest, FreezesNothingThatCannotBeWatchedOver) {
  socketsFail = true;
  EXPECT_THAT([&] { run(); }, ThrowsMessage<HostError>("the freeze cannot be watched over, so nothing was frozen: Too "
                                                       "many open files"));
  socketsFail = false;
  EXPECT_THAT(m_journal.calls(), ElementsAre("flush /dev/proc", "flush /dev/sys", "flush /dev/proc", "flush /dev/sys"));
}

TEST_F(FreezeWindowTest, TellsOfTheTimeoutWhenASplitWasGivenUp) {
  m_splitter.splitError = ETIME;
  m_groups.front().timeout = std::chrono::seconds(0);
  EXPECT_THAT([&] { run(); }, ThrowsMessage<HostError>(testing::StartsWith("the snapshot is not consistent: ")));
  EXPECT_THAT(m_journal.calls(), ElementsAre("flush /dev/proc", "flush /dev/sys", "flush /dev/proc", "flush /dev/sys",
                                             "quiesce /proc /sys", "split /dev/proc", "unquiesce /proc /sys"));
}

TEST_F(FreezeWindowTest, CallsNoSnapshotConsistentThatWasGivenUpTooEarly) {
  m_splitter.splitError = ETIME;
  EXPECT_THAT([&] { run(); }, ThrowsMessage<HostError>("the volume /dev/proc could not be split: Timer expired"));
}

TEST_F(FreezeWindowTest, ProvesEveryFreezeBeforeTheFirstSplit) {
  m_fileSystems.onSecondFreeze = [&](const std::string& mountPoint) {
    m_journal.record("second freeze " + mountPoint);
    return EBUSY;
  };
  run();
  EXPECT_THAT(m_journal.calls(), ElementsAre("flush /dev/proc", "flush /dev/sys", "flush /dev/proc", "flush /dev/sys",
                                             "quiesce /proc /sys", "second freeze /proc", "second freeze /sys",
                                             "split /dev/proc", "split /dev/sys", "unquiesce /proc /sys"));
}

// The provider freezes by the name of the mount point.
TEST_F(FreezeWindowTest, SplitsNothingWhenAnotherFileSystemWasFrozen) {
  m_fileSystems.onSecondFreeze = [](const std::string& mountPoint) { return mountPoint == "/sys" ? 0 : EBUSY; };
  EXPECT_THAT([&] { run(); },
              ThrowsMessage<HostError>(
                  "the file system of /dev/sys on /sys was not frozen, though its provider said so: another one has "
                  "been mounted there meanwhile, or the path has been changed; everything is thawed, and \"findmnt "
                  "--target /sys\" shows what is there"));
  EXPECT_THAT(m_journal.calls(), ElementsAre("flush /dev/proc", "flush /dev/sys", "flush /dev/proc", "flush /dev/sys",
                                             "quiesce /proc /sys", "unquiesce /proc /sys"));
}

TEST_F(FreezeWindowTest, SplitsNothingWhenAFileSystemDoesNotTell) {
  m_fileSystems.onSecondFreeze = [](const std::string&) { return EOPNOTSUPP; };
  EXPECT_THAT([&] { run(); },
              ThrowsMessage<HostError>("the file system of /dev/proc on /proc does not tell whether it is frozen: "
                                       "Operation not supported"));
  EXPECT_EQ(m_journal.calls().back(), "unquiesce /proc /sys");
}

// It may have ended before the second freeze was asked for.
TEST_F(FreezeWindowTest, TellsOfTheTimeoutWhenItHasEndedTheFreeze) {
  m_fileSystems.onSecondFreeze = [](const std::string&) { return 0; };
  m_groups.front().timeout = std::chrono::seconds(0);
  EXPECT_THAT([&] { run(); }, ThrowsMessage<HostError>(testing::StartsWith("the snapshot is not consistent: ")));
}

TEST_F(FreezeWindowTest, ThawsWithoutTheProviderWhatThatCouldNotThaw) {
  m_fake.messages["unquiesce"] = {{"MSG_ERROR_THAW", "/proc"}};
  EXPECT_THROW(run(), ProviderError);
  EXPECT_THAT(m_fileSystems.thawed, ElementsAre("/proc", "/sys"));
}

ExitStatus statusOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const HostError& error) {
    return error.exitStatus();
  }
  return ExitStatus::done;
}

TEST_F(FreezeWindowTest, ThatLastedTooLongEndsWithTheStatusOfThat) {
  m_groups.front().timeout = std::chrono::seconds(0);
  EXPECT_EQ(statusOf([&] { run(); }), ExitStatus::timedOut);
}

TEST_F(FreezeWindowTest, ThatIsThawedPastTheProviderHasOnlyFailed) {
  m_fake.messages["unquiesce"] = {{"MSG_ERROR_THAW", "/proc"}};
  EXPECT_EQ(statusOf([&] { run(); }), ExitStatus::failed);
}

TEST_F(FreezeWindowTest, ThatNobodyCanThawEndsWithTheStatusOfThat) {
  m_fake.messages["unquiesce"] = {{"MSG_ERROR_THAW", "/proc"}};
  m_fileSystems.thawError = EIO;
  testing::internal::CaptureStderr();
  EXPECT_EQ(statusOf([&] { run(); }), ExitStatus::freezeUncertain);
  EXPECT_EQ(
      testing::internal::GetCapturedStderr(),
      "qmfi: the file system on /proc could not be thawed: Input/output error; the file system on /sys could not be "
      "thawed: Input/output error\n");
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
            "qmfi: the file systems could not be thawed: status 6\n  The operation failed.\n  MSG_ERROR_THAW: /proc\n");
}

TEST_F(TwoGroupsTest, WhatMayBeFrozenIsTheFailureAndTheOneBeforeIsTold) {
  m_fake.statuses["quiesce /dev"] = 6;
  m_fake.messages["quiesce /dev"] = {{"MSG_X", "/dev"}};
  m_fake.messages["unquiesce /proc /sys"] = {{"MSG_ERROR_THAW", "/proc"}};
  m_fileSystems.thawError = EIO;
  testing::internal::CaptureStderr();
  EXPECT_THAT([&] { run(); }, ThrowsMessage<ProviderError>("the file systems could not be thawed: status 6"));
  EXPECT_THAT(testing::internal::GetCapturedStderr(),
              testing::HasSubstr("qmfi: the file systems could not be frozen: status 6\n"));
}

TEST_F(TwoGroupsTest, VolumesAreSplitUntilTheFirstTimeout) {
  m_groups.back().timeout = longTime / 2;
  const auto before = std::chrono::steady_clock::now();
  run();
  EXPECT_GE(m_splitter.deadline, before + longTime / 2);
  EXPECT_LE(m_splitter.deadline, std::chrono::steady_clock::now() + longTime / 2);
}

TEST_F(TwoGroupsTest, EachTimeoutIsCountedFromTheFreezeThatHasIt) {
  m_groups.back().timeout = std::chrono::seconds(0);
  EXPECT_THAT([&] { run(); }, ThrowsMessage<HostError>(testing::HasSubstr("the freeze time-out of 0 s")));
}

// Every moment that the receipt tells of lies between those at which the test saw the same happen.
TEST_F(TwoGroupsTest, AreInTheReceiptWithTheMomentsAtWhichItHappened) {
  using Clock = std::chrono::steady_clock;
  std::map<std::string, Clock::time_point> seen;
  m_journal.onCall = [&](const std::string& call) { seen[call] = Clock::now(); };
  m_fileSystems.onSecondFreeze = [&](const std::string& mountPoint) {
    m_journal.record("second freeze " + mountPoint);
    return EBUSY;
  };
  const FreezeReceipt receipt = run();
  m_journal.onCall = nullptr;
  const auto at = [&](const std::string& call) {
    return std::chrono::floor<FreezeReceipt::Moment>(seen.at(call).time_since_epoch()) - receipt.sinceStart;
  };
  ASSERT_EQ(receipt.fileSystems.size(), 3U);
  const FileSystemReceipt& proc = receipt.fileSystems[0];
  const FileSystemReceipt& sys = receipt.fileSystems[1];
  const FileSystemReceipt& dev = receipt.fileSystems[2];
  EXPECT_LE(proc.freezeAsked, at("quiesce /proc /sys"));
  EXPECT_GE(proc.frozen, at("quiesce /proc /sys"));
  EXPECT_EQ(sys.freezeAsked, proc.freezeAsked);
  EXPECT_EQ(sys.frozen, proc.frozen);
  EXPECT_GE(dev.freezeAsked, proc.frozen);
  EXPECT_GE(dev.frozen, at("quiesce /dev"));
  EXPECT_GE(proc.proven, at("second freeze /proc"));
  EXPECT_LE(proc.proven, at("second freeze /sys") + FreezeReceipt::Moment(2));
  EXPECT_GE(sys.proven, at("second freeze /sys"));
  EXPECT_GE(dev.proven, at("second freeze /dev"));
  EXPECT_LE(dev.proven, receipt.splitBegan);
  EXPECT_LE(receipt.splitBegan, at("split /dev/proc") + FreezeReceipt::Moment(2));
  EXPECT_GE(receipt.splitEnded, at("split /dev/dev"));
  EXPECT_LE(dev.thawAsked, at("unquiesce /dev") + FreezeReceipt::Moment(2));
  EXPECT_GE(dev.thawed, at("unquiesce /dev"));
  EXPECT_GE(proc.thawAsked, dev.thawed);
  EXPECT_GE(proc.thawed, at("unquiesce /proc /sys"));
  EXPECT_GE(receipt.over, proc.thawed);
  for (const FileSystemReceipt& one : receipt.fileSystems) EXPECT_EQ(one.thaw, ThawAnswer::noFailure);
  EXPECT_EQ(levelOf(receipt), ProofLevel::group);
}

TEST_F(TwoGroupsTest, MayEndByThemselvesWhenTheFirstTimeoutHasPassed) {
  m_groups.back().timeout = longTime / 2;
  const FreezeReceipt receipt = run();
  const FileSystemReceipt& dev = receipt.fileSystems[2];
  EXPECT_EQ(receipt.mayEnd, dev.freezeAsked + longTime / 2);
}

TEST_F(FreezeWindowTest, ReceiptTellsTheTimeOfDay) {
  const auto before = std::chrono::floor<std::chrono::microseconds>(std::chrono::system_clock::now());
  const FreezeReceipt receipt = run();
  EXPECT_GE(receipt.begin, before);
  EXPECT_GE(receipt.end, receipt.begin);
  EXPECT_LE(receipt.end, std::chrono::system_clock::now());
}

// The copy is consistent, but nobody knows whether the freeze had been ended by something else in between.
TEST_F(FreezeWindowTest, ThawThatCameTooLateLeavesNothingProven) {
  constexpr std::chrono::seconds timeout(5);
  m_groups.front().timeout = timeout;
  m_journal.onCall = [&](const std::string& call) {
    if (!call.starts_with("unquiesce")) return;
    const auto end = std::chrono::steady_clock::now() + timeout;
    while (std::chrono::steady_clock::now() < end) {
    }
  };
  const FreezeReceipt receipt = run();
  for (const FileSystemReceipt& one : receipt.fileSystems) EXPECT_EQ(one.thaw, ThawAnswer::unknown);
  EXPECT_EQ(levelOf(receipt), ProofLevel::none);
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
  const FreezeReceipt receipt = run();
  EXPECT_GE(receipt.over, thawTime);
  EXPECT_GE(receipt.over, receipt.fileSystems.at(0).thawed);
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

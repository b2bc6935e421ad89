// Claims on single things of a state directory.
#include "state/work_claim.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>

#include "failure/host_error.h"
#include "german_texts.h"
#include "state/state_lock.h"
#include "state/state_store.h"
#include "support/temporary_directory.h"

namespace qmfi_host {
namespace {

using testing::AllOf;
using testing::ElementsAre;
using testing::MatchesRegex;
using testing::Optional;
using testing::Property;
using testing::Throws;
using testing::ThrowsMessage;

class WorkClaimTest : public testing::Test {
 protected:
  std::optional<WorkClaim> take(const std::string& what) const {
    return WorkClaim::take(m_directory.path(), what, "snapshot delete");
  }
  std::optional<std::string> worker(const std::string& what) const { return workerOn(m_directory.path(), what); }

  // The names of the holders' files.
  std::vector<std::string> holderFiles() const {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(m_directory.path())) {
      const std::string name = entry.path().filename();
      if (name.starts_with("lock-")) names.push_back(name);
    }
    return names;
  }

  static std::string ownWord() { return "qmfi \\(process " + std::to_string(getpid()) + ", snapshot delete\\)"; }

  TemporaryDirectory m_directory;
  StateStore m_store{m_directory.path()};
};

TEST_F(WorkClaimTest, IsHadByOneUntilItsEnd) {
  {
    const std::optional<WorkClaim> first = take("/data");
    ASSERT_TRUE(first);
    EXPECT_FALSE(take("/data"));
    EXPECT_TRUE(take("/other"));
    EXPECT_THAT(worker("/data"), Optional(MatchesRegex(ownWord() + ", which has worked on /data for [0-9] s")));
    EXPECT_EQ(worker("/other"), std::nullopt);
    EXPECT_TRUE(isAnythingWorkedOn(m_directory.path()));
  }
  EXPECT_EQ(worker("/data"), std::nullopt);
  EXPECT_FALSE(isAnythingWorkedOn(m_directory.path()));
  EXPECT_TRUE(take("/data"));
  EXPECT_THAT(holderFiles(), ElementsAre());
}

TEST_F(WorkClaimTest, NeedsNoStateLockAfterwards) {
  const auto expectNoReport = [](const std::string& text) { ADD_FAILURE() << text; };
  StateLock lock(m_directory.path(), "snapshot delete", expectNoReport);
  const std::optional<WorkClaim> claim = take(workOnSnapshot("17b4f33e"));
  lock.release();
  const StateLock another(m_directory.path(), "snapshot create", expectNoReport);
  EXPECT_TRUE(take(workOnSnapshot("0a0a0a0a")));
  EXPECT_FALSE(take(workOnSnapshot("17b4f33e")));
}

TEST_F(WorkClaimTest, LastsWhileTheDatabaseIsUsed) {
  const std::optional<WorkClaim> claim = take("/data");
  m_store.save({"/data", "provider", "/dev/data", "state"});
  StateStore(m_directory.path()).removeDisabledAccess("/data");
  StateStore::readFrom(m_directory.path());
  EXPECT_FALSE(take("/data"));
}

TEST_F(WorkClaimTest, HoldsThoughItsFileIsRemoved) {
  const std::optional<WorkClaim> claim = take("/data");
  ASSERT_EQ(holderFiles().size(), 1U);
  std::filesystem::remove(m_directory.file(holderFiles().front()));
  EXPECT_FALSE(take("/data"));
  EXPECT_EQ(worker("/data"), "another process, which has worked on /data");
}

TEST_F(WorkClaimTest, IsTheSameInAllLanguages) {
  const std::optional<WorkClaim> claim = take(workOnSnapshot("17b4f33e"));
  const GermanTexts german;
  EXPECT_FALSE(take(workOnSnapshot("17b4f33e")));
  EXPECT_THAT(worker(workOnSnapshot("17b4f33e")),
              Optional(MatchesRegex("qmfi \\(Prozess " + std::to_string(getpid()) +
                                    ", snapshot delete\\), seit [0-9] s mit dem Snapshot 17b4f33e beschäftigt")));
}

TEST_F(WorkClaimTest, IsWaitedForWithAWordForWhom) {
  std::optional<WorkClaim> claim = take("/data");
  const timespec times[] = {{std::time(nullptr) - 3600, 0}, {std::time(nullptr) - 3600, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, m_directory.file(holderFiles().front()).c_str(), times, 0), 0);
  std::vector<std::string> told;
  const auto report = [&](const std::string& text) {
    told.push_back(text);
    claim.reset();
  };
  waitForWorker(m_directory.path(), "/other", report);
  waitForWorker(m_directory.path(), "/data", report);
  EXPECT_THAT(told, ElementsAre(MatchesRegex("waits for " + ownWord() + ", which has worked on /data for 360[0-9] s")));
  claim.emplace(*take("/data"));
  told.clear();
  waitForWorker(m_directory.path(), std::nullopt, report);
  EXPECT_THAT(told, ElementsAre(MatchesRegex("waits for " + ownWord() +
                                             ", which has worked on a part of the state for [0-9] s")));
}

TEST_F(WorkClaimTest, IsWaitedForNoLongerThanAsked) {
  const std::optional<WorkClaim> claim = take("/data");
  const auto wait = [&] {
    waitForWorker(
        m_directory.path(), "/data", [](const std::string& text) { ADD_FAILURE() << text; },
        std::chrono::steady_clock::now());
  };
  EXPECT_THAT(wait, Throws<HostError>(
                        AllOf(Property(&HostError::exitStatus, ExitStatus::locked),
                              Property(&HostError::what, MatchesRegex("does not wait longer for " + ownWord() +
                                                                      ", which has worked on /data for [0-9] s")))));
}

TEST_F(WorkClaimTest, OfAKilledProcessIsFreeAndItsFileIsRemovedLater) {
  const pid_t child = fork();
  if (child == 0) {
    const std::optional<WorkClaim> claim = take("/data");
    _exit(claim ? 0 : 1);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(worker("/data"), std::nullopt);
  ASSERT_EQ(holderFiles().size(), 1U);
  const std::optional<WorkClaim> other = take("/other");
  m_directory.write("lock-nothing", "");
  m_directory.write("lock-1234567z", "");
  m_directory.write("lock-123456789", "");
  removeLeftClaims(m_directory.path());
  EXPECT_EQ(holderFiles().size(), 4U);
  EXPECT_TRUE(worker("/other"));
  EXPECT_TRUE(take("/data"));
}

TEST_F(WorkClaimTest, WithoutADatabaseIsAFailureThatNamesIt) {
  const TemporaryDirectory empty;
  EXPECT_THAT(
      [&] { WorkClaim::take(empty.path(), "/data", "access enable"); },
      ThrowsMessage<HostError>("/data cannot be claimed in " + empty.file("state.db") + ": No such file or directory"));
  EXPECT_EQ(workerOn(empty.path(), "/data"), std::nullopt);
  EXPECT_FALSE(isAnythingWorkedOn(empty.path()));
}

}  // namespace
}  // namespace qmfi_host

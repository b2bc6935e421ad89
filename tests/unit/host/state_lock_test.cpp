// The lock of the state directory.
#include "state/state_lock.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>

#include <optional>

#include "failure/host_error.h"
#include "german_texts.h"
#include "support/temporary_directory.h"

namespace qmfi_host {
namespace {

using qmfi_system::Descriptor;
using testing::AllOf;
using testing::Property;
using testing::Throws;
using testing::ThrowsMessage;

void expectNoReport(const std::string& text) {
  ADD_FAILURE() << text;
}

Descriptor lockedByAnother(const std::string& directory) {
  Descriptor opened(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  EXPECT_EQ(flock(opened.get(), LOCK_EX | LOCK_NB), 0);
  return opened;
}

bool isStateLocked(const std::string& directory) {
  const Descriptor opened(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  EXPECT_TRUE(opened.valid());
  return flock(opened.get(), LOCK_SH | LOCK_NB) != 0;
}

// Lets a file look as if it had been written so many seconds ago.
void age(const std::string& file, int seconds) {
  const timespec then{std::time(nullptr) - seconds, 0};
  const timespec times[] = {then, then};
  ASSERT_EQ(utimensat(AT_FDCWD, file.c_str(), times, 0), 0);
}

// What is told while another one has the lock, which lets it go then.
std::string reportOfWaiting(const TemporaryDirectory& directory) {
  std::string told;
  Descriptor another = lockedByAnother(directory.path());
  const StateLock lock(directory.path(), "recover", [&](const std::string& text) {
    told = text;
    another.reset();
  });
  return told;
}

TEST(StateLock, IsHeldUntilItsEnd) {
  const TemporaryDirectory directory;
  EXPECT_FALSE(isStateLocked(directory.path()));
  {
    const StateLock lock(directory.path(), "recover", expectNoReport);
    EXPECT_TRUE(isStateLocked(directory.path()));
  }
  EXPECT_FALSE(isStateLocked(directory.path()));
}

TEST(StateLock, IsLentToOthers) {
  const TemporaryDirectory directory;
  StateLock lock(directory.path(), "recover", expectNoReport);
  lock.release();
  EXPECT_FALSE(isStateLocked(directory.path()));
  { const StateLock other(directory.path(), "snapshot delete", expectNoReport); }
  lock.acquire();
  EXPECT_TRUE(isStateLocked(directory.path()));
  EXPECT_EQ(directory.read("lock"), "process " + std::to_string(getpid()) + ", recover\n");
}

TEST(StateLock, LeavesTheWordOfWhoHasIt) {
  const TemporaryDirectory directory;
  directory.write("lock", "process 1, of an earlier command that was longer\n");
  const StateLock lock(directory.path(), "snapshot create", expectNoReport);
  EXPECT_EQ(directory.read("lock"), "process " + std::to_string(getpid()) + ", snapshot create\n");
}

TEST(StateLock, HoldsThoughItsFileIsRemoved) {
  const TemporaryDirectory directory;
  std::optional<StateLock> first(std::in_place, directory.path(), "recover", expectNoReport);
  std::filesystem::remove(directory.file("lock"));
  std::string told;
  const StateLock second(directory.path(), "recover", [&](const std::string& text) {
    told = text;
    first.reset();
  });
  EXPECT_EQ(told, "waits for another process, which has held the state directory " + directory.path());
}

TEST(StateLock, TellsForWhomItWaitsAndHowLongThatOneHasIt) {
  const TemporaryDirectory directory;
  age(directory.write("lock", "process 4711, snapshot create\n"), 3600);
  EXPECT_THAT(reportOfWaiting(directory),
              testing::MatchesRegex("waits for qmfi \\(process 4711, snapshot create\\), which has held the state "
                                    "directory " +
                                    directory.path() + " for 360[0-9] s"));
}

TEST(StateLock, TellsForWhomItWaitsInTheUsersLanguage) {
  const GermanTexts german;
  const TemporaryDirectory directory;
  age(directory.write("lock", "process 4711, snapshot create\n"), 3600);
  EXPECT_THAT(reportOfWaiting(directory),
              testing::MatchesRegex("wartet auf qmfi \\(Prozess 4711, snapshot create\\), seit 360[0-9] s im Besitz "
                                    "der Sperre des Zustandsverzeichnisses " +
                                    directory.path()));
}

TEST(StateLock, IsWaitedForNoLongerThanAsked) {
  const TemporaryDirectory directory;
  const Descriptor another = lockedByAnother(directory.path());
  EXPECT_THAT([&] { StateLock(directory.path(), "recover", expectNoReport, std::chrono::steady_clock::now()); },
              Throws<HostError>(
                  AllOf(Property(&HostError::exitStatus, ExitStatus::locked),
                        Property(&HostError::what, testing::StrEq("does not wait longer for another process, which "
                                                                  "has held the state directory " +
                                                                  directory.path())))));
}

TEST(StateLock, IsWaitedForWithoutEndWhereWorkIsToBeBroughtToItsEnd) {
  const TemporaryDirectory directory;
  Descriptor another;
  StateLock lock(
      directory.path(), "recover", [&](const std::string&) { another.reset(); }, std::chrono::steady_clock::now());
  lock.release();
  another = lockedByAnother(directory.path());
  lock.acquire();
  EXPECT_TRUE(isStateLocked(directory.path()));
}

TEST(StateLock, IsTakenOfTheDirectoryThatHasTheNameNow) {
  const TemporaryDirectory directory;
  const std::string path = directory.makeDirectory("state");
  Descriptor another = lockedByAnother(path);
  const StateLock lock(path, "recover", [&](const std::string&) {
    std::filesystem::rename(path, directory.file("former"));
    directory.makeDirectory("state");
    another.reset();
  });
  EXPECT_TRUE(isStateLocked(path));
  EXPECT_FALSE(isStateLocked(directory.file("former")));
}

TEST(StateLock, InADirectoryThatIsMissingIsAFailureThatNamesIt) {
  EXPECT_THAT([] { StateLock("/nonexistent", "recover", expectNoReport); },
              ThrowsMessage<HostError>("the state directory /nonexistent cannot be locked: No such file or directory"));
}

TEST(StateLock, WhoseFileIsALinkIsAFailureThatNamesIt) {
  const TemporaryDirectory directory;
  directory.write("elsewhere", "somebody else's");
  std::filesystem::create_symlink("elsewhere", directory.file("lock"));
  EXPECT_THAT([&] { StateLock(directory.path(), "recover", expectNoReport); },
              ThrowsMessage<HostError>("the file " + directory.file("lock") +
                                       " cannot be written: Too many levels of symbolic links"));
  EXPECT_EQ(directory.read("elsewhere"), "somebody else's");
}

}  // namespace
}  // namespace qmfi_host

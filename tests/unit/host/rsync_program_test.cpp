// How rsync is called, and what it says.
#include "snapshot/rsync_program.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <fstream>

#include "support/temporary_directory.h"
#include "support/text_file.h"

namespace qmfi_host {
namespace {

namespace fs = std::filesystem;

using qmfi_system::Descriptor;
using testing::ElementsAre;
using testing::IsEmpty;

// Behind the words that all calls begin with.
std::vector<std::string> wordsOf(const RsyncTask& task) {
  const std::vector<std::string> begin = {"/usr/bin/setpriv",
                                          "--pdeathsig",
                                          "KILL",
                                          "--",
                                          "/usr/bin/rsync",
                                          "-aAXHS",
                                          "--numeric-ids",
                                          "--one-file-system",
                                          "--modify-window=-1",
                                          "--no-inc-recursive"};
  std::vector<std::string> words = rsyncWords(task);
  const auto end = words.begin() + static_cast<std::ptrdiff_t>(begin.size());
  EXPECT_EQ(std::vector<std::string>(words.begin(), end), begin);
  return {end, words.end()};
}

TEST(RsyncWords, CopyAllOfADirectory) {
  EXPECT_THAT(wordsOf({.from = "/copy/mnt/a"}), ElementsAre("--", "/copy/mnt/a/", "./"));
}

TEST(RsyncWords, CopyAPathWithTheDirectoriesOnItsWay) {
  EXPECT_THAT(wordsOf({.from = "/copy", .what = "-x:/*\n\xff"}),
              ElementsAre("--relative", "--", "/copy/./-x:/*\n\xff", "./"));
}

TEST(RsyncWords, DeleteAndCompareWhereThatIsAskedFor) {
  EXPECT_THAT(wordsOf({.from = "/copy", .deletes = true, .compares = true}),
              ElementsAre("--delete", "--checksum", "--", "/copy/", "./"));
}

TEST(RsyncWords, TellWhatWouldBeDoneAlsoInADirectoryThatIsStillToBeMade) {
  EXPECT_THAT(wordsOf({.from = "/copy", .missing = "-d/mnt/a", .onlyTells = true}),
              ElementsAre("--dry-run", "--out-format=change %i %n", "--", "/copy/", "./-d/mnt/a/"));
}

TEST(RsyncNames, AreWithoutTheirEscapes) {
  EXPECT_EQ(unescapedName("plain"), "plain");
  EXPECT_EQ(unescapedName("a\\#012b\\#377"), "a\nb\xff");
  EXPECT_EQ(unescapedName("\\#134#012"), "\\#012");
  EXPECT_EQ(unescapedName("\\#"), "\\#");
  EXPECT_EQ(unescapedName("\\#12"), "\\#12");
  EXPECT_EQ(unescapedName("\\#129"), "\\#129");
  EXPECT_EQ(unescapedName("\\#777"), "\\#777");
  EXPECT_EQ(unescapedName(""), "");
}

// Files of one directory, to be copied into another.
class RsyncTest : public testing::Test {
 protected:
  RsyncTest() {
    fs::create_directories(from());
    fs::create_directories(to());
  }

  std::string from() const { return m_directory.file("from"); }
  std::string to() const { return m_directory.file("to"); }

  RsyncEnd run(const RsyncTask& task) {
    const Descriptor target(open(to().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    return runRsync(task, target, m_signals,
                    [&](const FileChange& change) { m_told.push_back(change.how + "|" + change.path); });
  }

  TemporaryDirectory m_directory;
  DeferredSignals m_signals;
  std::vector<std::string> m_told;
};

TEST_F(RsyncTest, NamesOfAnyBytesAreCopied) {
  const std::vector<std::string> names = {"-x", "a:b", "*", "[ab]", " blank ", "\n\xff", "\\#012", "host::module"};
  for (const std::string& name : names) std::ofstream(fs::path(from()) / name) << name;
  for (const std::string& name : names) {
    const RsyncEnd end = run({.from = from(), .what = name, .deletes = true});
    EXPECT_EQ(end.status, 0) << testing::PrintToString(end.messages);
    EXPECT_EQ(textOf(fs::path(to()) / name), name);
  }
  EXPECT_EQ(std::distance(fs::directory_iterator(to()), {}), static_cast<std::ptrdiff_t>(names.size()));
}

TEST_F(RsyncTest, ChangesAreToldWithTheirWholeNamesAndNotMade) {
  std::ofstream(from() + "/\\#012\n\xff") << "new";
  std::ofstream(to() + "/old ") << "old";
  const RsyncEnd end = run({.from = from(), .deletes = true, .onlyTells = true});
  EXPECT_EQ(end.status, 0);
  EXPECT_THAT(end.messages, IsEmpty());
  ASSERT_FALSE(m_told.empty());
  if (m_told.front().ends_with("|./")) m_told.erase(m_told.begin());
  EXPECT_THAT(m_told, ElementsAre("*deleting|old ", ">f+++++++++|\\#012\n\xff"));
  EXPECT_TRUE(fs::exists(to() + "/old "));
}

TEST_F(RsyncTest, ContentsThatWereChangedWithinASecondAreCopied) {
  std::ofstream(from() + "/file") << "one";
  std::ofstream(to() + "/file") << "two";
  const timespec fromTimes[] = {{1700000000, 1}, {1700000000, 1}};
  const timespec toTimes[] = {{1700000000, 2}, {1700000000, 2}};
  ASSERT_EQ(utimensat(AT_FDCWD, (from() + "/file").c_str(), fromTimes, 0), 0);
  ASSERT_EQ(utimensat(AT_FDCWD, (to() + "/file").c_str(), toTimes, 0), 0);
  EXPECT_EQ(run({.from = from()}).status, 0);
  EXPECT_EQ(textOf(to() + "/file"), "one");
}

TEST_F(RsyncTest, ContentsAreComparedWhereThatIsAskedFor) {
  const timespec times[] = {{1700000000, 1}, {1700000000, 1}};
  for (const std::string& directory : {from(), to()}) {
    std::ofstream(directory + "/file") << (directory == from() ? "one" : "two");
    ASSERT_EQ(utimensat(AT_FDCWD, (directory + "/file").c_str(), times, 0), 0);
  }
  EXPECT_EQ(run({.from = from()}).status, 0);
  EXPECT_EQ(textOf(to() + "/file"), "two");
  EXPECT_EQ(run({.from = from(), .compares = true}).status, 0);
  EXPECT_EQ(textOf(to() + "/file"), "one");
}

TEST_F(RsyncTest, WhatItSaysOfAFailureIsKept) {
  const RsyncEnd end = run({.from = from(), .what = "none"});
  EXPECT_EQ(end.status, 23);
  ASSERT_EQ(end.messages.size(), 1U);
  EXPECT_THAT(end.messages[0], testing::EndsWith("none\" failed: No such file or directory (2)"));
}

// A directory in the place of a file cannot be replaced without deleting.
TEST_F(RsyncTest, FileWithSeveralNamesThatCannotBeReplacedDoesNotKeepItFromEnding) {
  std::ofstream(from() + "/file") << "text";
  fs::create_directories(from() + "/inner");
  fs::create_hard_link(from() + "/file", from() + "/inner/file");
  fs::create_directories(to() + "/file/full");
  EXPECT_EQ(run({.from = from()}).status, 23);
}

TEST_F(RsyncTest, ManyMessagesAreCounted) {
  constexpr int files = 30;
  for (int i = 0; i < files; ++i) {
    std::ofstream(from() + "/" + std::to_string(i)) << i;
    fs::create_directories(to() + "/" + std::to_string(i) + "/full");
  }
  const RsyncEnd end = run({.from = from()});
  EXPECT_EQ(end.status, 23);
  ASSERT_EQ(end.messages.size(), 21U);
  EXPECT_THAT(end.messages.back(), testing::MatchesRegex("and [0-9]+ more"));
}

TEST_F(RsyncTest, SignalThatHasComeKeepsItFromBeginning) {
  std::ofstream(from() + "/file") << "text";
  raise(SIGTERM);
  EXPECT_TRUE(run({.from = from()}).isInterrupted);
  EXPECT_EQ(m_signals.pending(), "SIGTERM");
  EXPECT_FALSE(fs::exists(to() + "/file"));
  // It would end the test.
  int come = 0;
  EXPECT_EQ(sigwait(&DeferredSignals::all(), &come), 0);
}

}  // namespace
}  // namespace qmfi_host

// The trace log: where it lies, what passes, and what a record looks like.
#include "cfitracelog.h"

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <ctime>
#include <utility>

#include "K_time.h"
#include "cancelled_caller.h"
#include "trace_fixture.h"

namespace {

using namespace qmfi_pdk_4_4;
using testing::ElementsAre;
using testing::IsEmpty;

mode_t modeOf(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

class TraceLogTest : public testing::Test {
 protected:
  TraceDirectory m_place;
};

TEST_F(TraceLogTest, writesARecordWithTimeNumbersLevelAndText) {
  CFiTraceLog log;
  m_place.open(log, 3);
  const std::time_t before = std::time(nullptr);
  log.trace(3, "Command : %s", "/bin/mkdir -p  /data_alt");
  const std::time_t after = std::time(nullptr);

  const std::string content = m_place.content();
  std::tm time{};
  int microseconds = -1;
  int process = 0;
  int thread = 0;
  int end = -1;
  ASSERT_EQ(sscanf(content.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d.%6dZ %d.%d L3 %n", &time.tm_year, &time.tm_mon,
                   &time.tm_mday, &time.tm_hour, &time.tm_min, &time.tm_sec, &microseconds, &process, &thread, &end),
            9);
  time.tm_year -= 1900;
  time.tm_mon -= 1;
  const std::time_t written = K_timegm(&time);
  EXPECT_GE(written, before);
  EXPECT_LE(written, after);
  EXPECT_EQ(process, getpid());
  EXPECT_EQ(thread, gettid());
  EXPECT_EQ(content.substr(static_cast<std::size_t>(end)), "Command : /bin/mkdir -p  /data_alt\n");
  EXPECT_EQ(content.find('Z'), std::string("2026-11-21T06:07:08.123456").size());
}

TEST_F(TraceLogTest, keepsALineFeedInsideTheText) {
  CFiTraceLog log;
  m_place.open(log, 1);
  log.trace(1, "first\nsecond\n");
  EXPECT_THAT(m_place.texts(), ElementsAre("first", "second", ""));
}

TEST_F(TraceLogTest, writesEmptyAndVeryLongTextsWhole) {
  CFiTraceLog log;
  m_place.open(log, 1);
  std::vector<std::string> expected;
  for (const std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{100000}}) {
    expected.emplace_back(length, 'x');
  }
  for (std::size_t length = 1990; length <= 2060; ++length) expected.emplace_back(length, 'y');
  for (const std::string& text : expected) log.trace(1, "%s", text.c_str());
  EXPECT_EQ(m_place.texts(), expected);
}

TEST_F(TraceLogTest, writesLevelsUpToItsOwn) {
  CFiTraceLog log;
  m_place.open(log, 3);
  for (const int level : {1, 2, 3, 4, 6}) log.trace(level, "level %d", level);
  EXPECT_THAT(m_place.texts(), ElementsAre("level 1", "level 2", "level 3"));
}

struct LevelCase {
  const char* environment;
  int highest;
};

TEST_F(TraceLogTest, takesTheLevelFromTheEnvironmentWhenItIsValid) {
  const LevelCase cases[] = {{"1", 1}, {"4", 4}, {"6", 6}, {"0", 2}, {"7", 2}, {"", 2}, {"03", 2}, {"4 ", 2}, {"x", 2}};
  for (const LevelCase& levelCase : cases) {
    const ScopedEnvironment level("QMFI_TRACE_LEVEL", levelCase.environment);
    CFiTraceLog log;
    m_place.open(log, 2);
    EXPECT_TRUE(log.passes(levelCase.highest)) << levelCase.environment;
    EXPECT_FALSE(log.passes(levelCase.highest + 1)) << levelCase.environment;
  }
}

TEST_F(TraceLogTest, formatsNothingWhenTheLevelIsFiltered) {
  CFiTraceLog log;
  m_place.open(log, 1);
  // Whoever reads this text dies.
  void* const page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(page, MAP_FAILED);
  log.trace(2, "%s", static_cast<const char*>(page));
  munmap(page, 4096);
  EXPECT_EQ(m_place.content(), "");
}

TEST_F(TraceLogTest, formatsTheCallersErrnoAndKeepsIt) {
  CFiTraceLog log;
  m_place.open(log, 1);
  const std::string padding(5000, 'x');
  errno = ENOENT;
  log.trace(1, "%m");
  log.trace(1, "%s%m", padding.c_str());
  EXPECT_EQ(errno, ENOENT);
  EXPECT_THAT(m_place.texts(), ElementsAre("No such file or directory", padding + "No such file or directory"));
}

TEST_F(TraceLogTest, writesTheRecordOfACancelledThread) {
  CFiTraceLog log;
  m_place.open(log, 1);
  EXPECT_TRUE(finishesThoughCancelled([&log] { log.trace(1, "cancelled"); }));
  EXPECT_THAT(m_place.texts(), ElementsAre("cancelled"));
}

TEST_F(TraceLogTest, isClosedByACancelledThread) {
  EXPECT_TRUE(finishesThoughCancelled([this] {
    CFiTraceLog log;
    int ignored = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &ignored);
    m_place.open(log, 1);
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &ignored);
  }));
}

TEST_F(TraceLogTest, ignoresARecordWithoutAFormat) {
  CFiTraceLog log;
  m_place.open(log, 3);
  // Through a pointer, since the compiler lets nobody give a null format.
  void (CFiTraceLog::*const trace)(int, const char*, ...) = &CFiTraceLog::trace;
  (log.*trace)(3, nullptr);
  EXPECT_EQ(m_place.content(), "");
}

TEST_F(TraceLogTest, isNotOpenedByAnyOtherNameThanAPlainOne) {
  for (const std::string name : {"", ".", "..", ".hidden", "a/b", "/etc/passwd"}) {
    CFiTraceLog log;
    ACE_String_Base<char> directory;
    ACE_String_Base<char> second;
    log.initialize(name.c_str(), directory, second, 1, false);
    log.trace(1, "text");
    EXPECT_FALSE(log.passes(1)) << name;
  }
  CFiTraceLog log;
  ACE_String_Base<char> directory;
  ACE_String_Base<char> second;
  log.initialize(ACE_String_Base<char>("a\0b", 3), directory, second, 1, false);
  EXPECT_FALSE(log.passes(1));
}

TEST_F(TraceLogTest, ignoresATextThatCannotBeFormatted) {
  CFiTraceLog log;
  m_place.open(log, 1);
  const wchar_t noCharacter[] = {static_cast<wchar_t>(0x7fffffff), 0};
  log.trace(1, "%ls", noCharacter);
  log.trace(1, "next");
  EXPECT_THAT(m_place.texts(), ElementsAre("next"));
}

TEST_F(TraceLogTest, namesTheProcessAndThreadAfterAFork) {
  CFiTraceLog log;
  m_place.open(log, 1);
  log.trace(1, "parent");
  const pid_t child = fork();
  if (child == 0) {
    log.trace(1, "child");
    _exit(0);
  }
  ASSERT_GT(child, 0);
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  const auto records = m_place.records();
  ASSERT_EQ(records.size(), 2U);
  const std::string number = std::to_string(child);
  EXPECT_THAT(records[1].head, testing::HasSubstr(" " + number + "." + number + " L1"));
}

TEST_F(TraceLogTest, appendsToWhatIsThere) {
  m_place.directory().write("sample.log", "2026-11-21T06:07:08.123456Z 1.1 L1 before\n");
  CFiTraceLog log;
  m_place.open(log, 1);
  log.trace(1, "after");
  EXPECT_THAT(m_place.texts(), ElementsAre("before", "after"));
}

TEST_F(TraceLogTest, makesItsDirectoryAndFileForTheOwnerOnly) {
  const std::string directory = m_place.directory().file("made");
  const ScopedEnvironment place("QMFI_LOG_DIR", directory.c_str());
  CFiTraceLog log;
  m_place.open(log, 1);
  EXPECT_EQ(modeOf(directory), 0700U);
  EXPECT_EQ(modeOf(directory + "/sample.log"), 0600U);
}

TEST_F(TraceLogTest, handsBackTheDirectoriesThatItUses) {
  CFiTraceLog log;
  ACE_String_Base<char> directory;
  ACE_String_Base<char> second;
  log.initialize("sample", directory, second, 1, false);
  EXPECT_STREQ(directory.c_str(), m_place.directory().path().c_str());
  EXPECT_STREQ(second.c_str(), m_place.directory().path().c_str());
  EXPECT_TRUE(log.isInitialized());
}

TEST_F(TraceLogTest, usesTheGivenDirectoryWhenTheEnvironmentNamesNone) {
  const ScopedEnvironment place("QMFI_LOG_DIR", nullptr);
  CFiTraceLog log;
  ACE_String_Base<char> directory(m_place.directory().path().c_str());
  ACE_String_Base<char> second("/elsewhere");
  log.initialize("sample", directory, second, 1, false);
  log.trace(1, "here");
  EXPECT_THAT(m_place.texts(), ElementsAre("here"));
  EXPECT_STREQ(second.c_str(), "/elsewhere");
}

TEST_F(TraceLogTest, staysSilentWhenItIsNotInitialised) {
  CFiTraceLog log;
  for (const int level : {-1, 0, 1}) log.trace(level, "lost");
  EXPECT_FALSE(log.isInitialized());
  EXPECT_FALSE(std::filesystem::exists(m_place.directory().file("sample.log")));
}

TEST_F(TraceLogTest, staysSilentWhenItsDirectoryCannotBeMade) {
  const ScopedEnvironment place("QMFI_LOG_DIR", m_place.directory().file("missing/deeper").c_str());
  CFiTraceLog log;
  m_place.open(log, 6);
  for (const int level : {-1, 0, 1}) log.trace(level, "lost");
  EXPECT_FALSE(log.passes(1));
  EXPECT_FALSE(std::filesystem::exists(m_place.directory().file("missing")));
}

TEST_F(TraceLogTest, staysSilentForANameThatLeavesTheDirectory) {
  for (const char* const name : {"", "../outside", "a/b", "."}) {
    CFiTraceLog log;
    ACE_String_Base<char> directory;
    ACE_String_Base<char> second;
    log.initialize(name, directory, second, 6, false);
    EXPECT_FALSE(log.passes(1)) << name;
  }
}

TEST_F(TraceLogTest, keepsOthersOutOfALogThatIsThereAlready) {
  const std::pair<mode_t, mode_t> modes[] = {{0644, 0600}, {0666, 0600}, {0777, 0600},
                                             {0604, 0600}, {0600, 0600}, {0200, 0200}};
  for (const auto& [before, after] : modes) {
    m_place.directory().write("sample.log", "older\n");
    const std::string path = m_place.directory().file("sample.log");
    ASSERT_EQ(chmod(path.c_str(), before), 0);
    CFiTraceLog log;
    m_place.open(log, 1);
    EXPECT_TRUE(log.passes(1));
    EXPECT_EQ(modeOf(path), after) << std::oct << before;
    ASSERT_EQ(chmod(path.c_str(), 0600), 0);
    EXPECT_EQ(m_place.content(), "older\n");
  }
}

TEST_F(TraceLogTest, refusesASymbolicLink) {
  m_place.directory().write("target", "");
  std::filesystem::create_symlink("target", m_place.directory().file("sample.log"));
  CFiTraceLog log;
  m_place.open(log, 1);
  log.trace(1, "lost");
  EXPECT_EQ(m_place.content(), "");
}

TEST_F(TraceLogTest, refusesAFileThatHasAnotherName) {
  m_place.directory().write("target", "");
  std::filesystem::create_hard_link(m_place.directory().file("target"), m_place.directory().file("sample.log"));
  CFiTraceLog log;
  m_place.open(log, 1);
  log.trace(1, "lost");
  EXPECT_EQ(m_place.content(), "");
}

TEST_F(TraceLogTest, refusesAPipeEvenWhenSomebodyReadsIt) {
  const std::string path = m_place.directory().file("sample.log");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  CFiTraceLog unread;
  m_place.open(unread, 1);
  EXPECT_FALSE(unread.passes(1));
  const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(reader, 0);
  CFiTraceLog log;
  m_place.open(log, 1);
  EXPECT_FALSE(log.passes(1));
  close(reader);
}

TEST_F(TraceLogTest, refusesADirectory) {
  std::filesystem::create_directory(m_place.directory().file("sample.log"));
  CFiTraceLog log;
  m_place.open(log, 1);
  EXPECT_FALSE(log.passes(1));
}

TEST_F(TraceLogTest, isNotInheritedByPrograms) {
  CFiTraceLog log;
  m_place.open(log, 1);
  int logs = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code ignored;
    if (std::filesystem::read_symlink(entry, ignored) != m_place.directory().file("sample.log")) continue;
    ++logs;
    EXPECT_NE(fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC, 0);
  }
  EXPECT_EQ(logs, 1);
}

}  // namespace

// The trace log: where it lies, what passes, and what a record looks like.
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
#include "cfitracelog.h"
#include "support/cancelled_thread.h"
#include "support/trace_capture.h"

namespace {

using namespace qmfi_pdk_4_4;
using testing::ElementsAre;

mode_t modeOf(const std::string& path) {
  struct stat status {};
  return stat(path.c_str(), &status) == 0 ? status.st_mode & 07777 : 0;
}

std::time_t secondsNow() {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return now.tv_sec;
}

class TraceLogTest : public testing::Test {
 protected:
  TraceDirectory m_traces;
};

TEST_F(TraceLogTest, WritesARecordWithTimeNumbersLevelAndText) {
  CFiTraceLog log;
  m_traces.open(log, 3);
  // Of the clock that the record shows: std::time may be a tick behind it.
  const std::time_t before = secondsNow();
  log.trace(3, "Command : %s", "/bin/mkdir -p  /data_alt");
  const std::time_t after = secondsNow();

  const std::string content = m_traces.content();
  std::tm time{};
  int microseconds = -1;
  int process = 0;
  int thread = 0;
  int end = -1;
  // NOLINTNEXTLINE(cert-err34-c): the numbers are compared below.
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

TEST_F(TraceLogTest, KeepsALineFeedInsideTheText) {
  CFiTraceLog log;
  m_traces.open(log, 1);
  log.trace(1, "first\nsecond\n");
  EXPECT_THAT(m_traces.texts(), ElementsAre("first\nsecond\n"));
}

TEST_F(TraceLogTest, WritesEmptyAndVeryLongTextsWhole) {
  CFiTraceLog log;
  m_traces.open(log, 1);
  std::vector<std::string> expected;
  for (const std::size_t length : {std::size_t{0}, std::size_t{1}, std::size_t{100000}}) {
    expected.emplace_back(length, 'x');
  }
  for (std::size_t length = 1990; length <= 2060; ++length) expected.emplace_back(length, 'y');
  for (const std::string& text : expected) log.trace(1, "%s", text.c_str());
  EXPECT_EQ(m_traces.texts(), expected);
}

TEST_F(TraceLogTest, WritesLevelsUpToItsOwn) {
  CFiTraceLog log;
  m_traces.open(log, 3);
  for (const int level : {1, 2, 3, 4, 6}) log.trace(level, "level %d", level);
  EXPECT_THAT(m_traces.texts(), ElementsAre("level 1", "level 2", "level 3"));
}

struct LevelCase {
  const char* environment;
  int highest;
};

TEST_F(TraceLogTest, TakesTheLevelFromTheEnvironmentWhenItIsValid) {
  const LevelCase cases[] = {{"1", 1}, {"4", 4}, {"6", 6}, {"0", 2}, {"7", 2}, {"", 2}, {"03", 2}, {"4 ", 2}, {"x", 2}};
  for (const LevelCase& levelCase : cases) {
    const EnvironmentVariable level("QMFI_TRACE_LEVEL", levelCase.environment);
    CFiTraceLog log;
    m_traces.open(log, 2);
    EXPECT_TRUE(log.passes(levelCase.highest)) << levelCase.environment;
    EXPECT_FALSE(log.passes(levelCase.highest + 1)) << levelCase.environment;
  }
}

TEST_F(TraceLogTest, FormatsNothingWhenTheLevelIsFiltered) {
  CFiTraceLog log;
  m_traces.open(log, 1);
  // Whoever reads this text dies.
  void* const page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  ASSERT_NE(page, MAP_FAILED);
  log.trace(2, "%s", static_cast<const char*>(page));
  munmap(page, 4096);
  EXPECT_EQ(m_traces.content(), "");
}

TEST_F(TraceLogTest, FormatsTheCallersErrnoAndKeepsIt) {
  CFiTraceLog log;
  m_traces.open(log, 1);
  const std::string padding(5000, 'x');
  errno = ENOENT;
  log.trace(1, "%m");
  log.trace(1, "%s%m", padding.c_str());
  EXPECT_EQ(errno, ENOENT);
  EXPECT_THAT(m_traces.texts(), ElementsAre("No such file or directory", padding + "No such file or directory"));
}

TEST_F(TraceLogTest, WritesTheRecordOfACancelledThread) {
  CFiTraceLog log;
  m_traces.open(log, 1);
  EXPECT_TRUE(finishesThoughCancelled([&log] { log.trace(1, "cancelled"); }));
  EXPECT_THAT(m_traces.texts(), ElementsAre("cancelled"));
}

TEST_F(TraceLogTest, IsClosedByACancelledThread) {
  EXPECT_TRUE(finishesThoughCancelled([this] {
    CFiTraceLog log;
    int ignored = 0;
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &ignored);
    m_traces.open(log, 1);
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, &ignored);
  }));
}

TEST_F(TraceLogTest, IgnoresARecordWithoutAFormat) {
  CFiTraceLog log;
  m_traces.open(log, 3);
  // Through a pointer, since the compiler lets nobody give a null format.
  void (CFiTraceLog::*const trace)(int, const char*, ...) = &CFiTraceLog::trace;
  (log.*trace)(3, nullptr);
  EXPECT_EQ(m_traces.content(), "");
}

TEST_F(TraceLogTest, IsNotOpenedByAnyOtherNameThanAPlainOne) {
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

TEST_F(TraceLogTest, IgnoresATextThatCannotBeFormatted) {
  CFiTraceLog log;
  m_traces.open(log, 1);
  const wchar_t noCharacter[] = {static_cast<wchar_t>(0x7fffffff), 0};
  log.trace(1, "%ls", noCharacter);
  log.trace(1, "next");
  EXPECT_THAT(m_traces.texts(), ElementsAre("next"));
}

TEST_F(TraceLogTest, NamesTheProcessAndThreadAfterAFork) {
  CFiTraceLog log;
  m_traces.open(log, 1);
  log.trace(1, "parent");
  const pid_t child = fork();
  if (child == 0) {
    log.trace(1, "child");
    _exit(0);
  }
  ASSERT_GT(child, 0);
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  const auto records = m_traces.records();
  ASSERT_EQ(records.size(), 2U);
  const std::string number = std::to_string(child);
  EXPECT_EQ(records[1].numbers, number + "." + number);
  EXPECT_EQ(records[1].level, 1);
}

TEST_F(TraceLogTest, AppendsToWhatIsThere) {
  m_traces.directory().write("sample.log", "2026-11-21T06:07:08.123456Z 1.1 L1 before\n");
  CFiTraceLog log;
  m_traces.open(log, 1);
  log.trace(1, "after");
  EXPECT_THAT(m_traces.texts(), ElementsAre("before", "after"));
}

// The descriptor of a log that was just opened: the highest that is open on its file.
int descriptorOf(const std::string& path) {
  struct stat log {};
  if (stat(path.c_str(), &log) != 0) return -1;
  for (int descriptor = 1023; descriptor > STDERR_FILENO; --descriptor) {
    struct stat status {};
    if (fstat(descriptor, &status) != 0) continue;
    if (status.st_dev == log.st_dev && status.st_ino == log.st_ino) return descriptor;
  }
  return -1;
}

TEST_F(TraceLogTest, GoesOnInANewFileAfterItsOwnWasRenamedOrRemoved) {
  CFiTraceLog log;
  m_traces.open(log, 1);
  const std::string path = m_traces.directory().file("sample.log");
  const int descriptor = descriptorOf(path);
  log.trace(1, "first");
  ASSERT_EQ(rename(path.c_str(), m_traces.directory().file("sample.log.1").c_str()), 0);
  log.trace(1, "second");
  EXPECT_THAT(m_traces.texts(), ElementsAre("second"));
  EXPECT_THAT(m_traces.directory().read("sample.log.1"), testing::EndsWith(" L1 first\n"));
  EXPECT_EQ(modeOf(path), 0600U);
  ASSERT_EQ(unlink(path.c_str()), 0);
  log.trace(1, "third");
  EXPECT_THAT(m_traces.texts(), ElementsAre("third"));
  EXPECT_EQ(descriptorOf(path), descriptor);
}

TEST_F(TraceLogTest, KeepsItsFileWhereNoNewOneCanBeHad) {
  CFiTraceLog log;
  m_traces.open(log, 1);
  const std::string path = m_traces.directory().file("sample.log");
  const std::string moved = m_traces.directory().file("moved.log");
  ASSERT_EQ(rename(path.c_str(), moved.c_str()), 0);
  ASSERT_EQ(symlink("/dev/null", path.c_str()), 0);
  log.trace(1, "kept");
  EXPECT_THAT(m_traces.directory().read("moved.log"), testing::EndsWith(" L1 kept\n"));
}

TEST_F(TraceLogTest, NeitherWritesToNorClosesAFileThatTookItsDescriptor) {
  const std::string strangers = m_traces.directory().file("strangers");
  int descriptor = -1;
  {
    CFiTraceLog log;
    m_traces.open(log, 1);
    descriptor = descriptorOf(m_traces.directory().file("sample.log"));
    ASSERT_GT(descriptor, STDERR_FILENO);
    close(descriptor);
    ASSERT_EQ(open(strangers.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600), descriptor);
    log.trace(1, "mine");
    EXPECT_THAT(m_traces.texts(), ElementsAre("mine"));
    // Once more, while the log has an own descriptor again.
    log.trace(1, "also mine");
  }
  EXPECT_EQ(m_traces.directory().read("strangers"), "");
  EXPECT_THAT(m_traces.texts(), ElementsAre("mine", "also mine"));
  EXPECT_EQ(close(descriptor), 0);
}

TEST_F(TraceLogTest, LeavesADescriptorAloneThatIsAnothersWhenItEnds) {
  const std::string strangers = m_traces.directory().file("strangers");
  int descriptor = -1;
  {
    CFiTraceLog log;
    m_traces.open(log, 1);
    descriptor = descriptorOf(m_traces.directory().file("sample.log"));
    ASSERT_GT(descriptor, STDERR_FILENO);
    close(descriptor);
    ASSERT_EQ(open(strangers.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600), descriptor);
  }
  EXPECT_EQ(close(descriptor), 0);
}

TEST_F(TraceLogTest, MakesItsDirectoryAndFileForTheOwnerOnly) {
  const std::string directory = m_traces.directory().file("made");
  const EnvironmentVariable variable("QMFI_LOG_DIR", directory.c_str());
  CFiTraceLog log;
  m_traces.open(log, 1);
  EXPECT_EQ(modeOf(directory), 0700U);
  EXPECT_EQ(modeOf(directory + "/sample.log"), 0600U);
}

TEST_F(TraceLogTest, HandsBackTheDirectoriesThatItUses) {
  CFiTraceLog log;
  ACE_String_Base<char> directory;
  ACE_String_Base<char> second;
  log.initialize("sample", directory, second, 1, false);
  EXPECT_STREQ(directory.c_str(), m_traces.directory().path().c_str());
  EXPECT_STREQ(second.c_str(), m_traces.directory().path().c_str());
  EXPECT_TRUE(log.isInitialized());
}

TEST_F(TraceLogTest, UsesTheGivenDirectoryWhenTheEnvironmentNamesNone) {
  const EnvironmentVariable variable("QMFI_LOG_DIR", std::nullopt);
  CFiTraceLog log;
  ACE_String_Base<char> directory(m_traces.directory().path().c_str());
  ACE_String_Base<char> second("/elsewhere");
  log.initialize("sample", directory, second, 1, false);
  log.trace(1, "here");
  EXPECT_THAT(m_traces.texts(), ElementsAre("here"));
  EXPECT_STREQ(second.c_str(), "/elsewhere");
}

TEST_F(TraceLogTest, StaysSilentWhenItIsNotInitialised) {
  CFiTraceLog log;
  for (const int level : {-1, 0, 1}) log.trace(level, "lost");
  EXPECT_FALSE(log.isInitialized());
  EXPECT_FALSE(std::filesystem::exists(m_traces.directory().file("sample.log")));
}

TEST_F(TraceLogTest, StaysSilentWhenItsDirectoryCannotBeMade) {
  const EnvironmentVariable variable("QMFI_LOG_DIR", m_traces.directory().file("missing/deeper").c_str());
  CFiTraceLog log;
  m_traces.open(log, 6);
  for (const int level : {-1, 0, 1}) log.trace(level, "lost");
  EXPECT_FALSE(log.passes(1));
  EXPECT_FALSE(std::filesystem::exists(m_traces.directory().file("missing")));
}

TEST_F(TraceLogTest, StaysSilentForANameThatLeavesTheDirectory) {
  for (const char* const name : {"", "../outside", "a/b", "."}) {
    CFiTraceLog log;
    ACE_String_Base<char> directory;
    ACE_String_Base<char> second;
    log.initialize(name, directory, second, 6, false);
    EXPECT_FALSE(log.passes(1)) << name;
  }
}

TEST_F(TraceLogTest, KeepsOthersOutOfALogThatIsThereAlready) {
  const std::pair<mode_t, mode_t> modes[] = {{0644, 0600}, {0666, 0600}, {0777, 0600},
                                             {0604, 0600}, {0600, 0600}, {0200, 0200}};
  for (const auto& [before, after] : modes) {
    m_traces.directory().write("sample.log", "older\n");
    const std::string path = m_traces.directory().file("sample.log");
    ASSERT_EQ(chmod(path.c_str(), before), 0);
    CFiTraceLog log;
    m_traces.open(log, 1);
    EXPECT_TRUE(log.passes(1));
    EXPECT_EQ(modeOf(path), after) << std::oct << before;
    ASSERT_EQ(chmod(path.c_str(), 0600), 0);
    EXPECT_EQ(m_traces.content(), "older\n");
  }
}

TEST_F(TraceLogTest, RefusesASymbolicLink) {
  m_traces.directory().write("target", "");
  std::filesystem::create_symlink("target", m_traces.directory().file("sample.log"));
  CFiTraceLog log;
  m_traces.open(log, 1);
  log.trace(1, "lost");
  EXPECT_EQ(m_traces.content(), "");
}

TEST_F(TraceLogTest, RefusesAFileThatHasAnotherName) {
  m_traces.directory().write("target", "");
  std::filesystem::create_hard_link(m_traces.directory().file("target"), m_traces.directory().file("sample.log"));
  CFiTraceLog log;
  m_traces.open(log, 1);
  log.trace(1, "lost");
  EXPECT_EQ(m_traces.content(), "");
}

TEST_F(TraceLogTest, RefusesAPipeEvenWhenSomebodyReadsIt) {
  const std::string path = m_traces.directory().file("sample.log");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  CFiTraceLog unread;
  m_traces.open(unread, 1);
  EXPECT_FALSE(unread.passes(1));
  const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(reader, 0);
  CFiTraceLog log;
  m_traces.open(log, 1);
  EXPECT_FALSE(log.passes(1));
  close(reader);
}

TEST_F(TraceLogTest, RefusesADirectory) {
  std::filesystem::create_directory(m_traces.directory().file("sample.log"));
  CFiTraceLog log;
  m_traces.open(log, 1);
  EXPECT_FALSE(log.passes(1));
}

TEST_F(TraceLogTest, IsNotInheritedByPrograms) {
  CFiTraceLog log;
  m_traces.open(log, 1);
  int logs = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/fd")) {
    std::error_code ignored;
    if (std::filesystem::read_symlink(entry, ignored) != m_traces.directory().file("sample.log")) continue;
    ++logs;
    EXPECT_NE(fcntl(std::stoi(entry.path().filename()), F_GETFD) & FD_CLOEXEC, 0);
  }
  EXPECT_EQ(logs, 1);
}

}  // namespace

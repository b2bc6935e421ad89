// When a watchdog over a freeze thaws, and that none is left behind.
//
// A terminal with unread input stands for a file system that is frozen, and the request that throws the input away for
// its thaw: nothing here needs root.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <termios.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <thread>

#include "cfifreezewatchdog.h"
#include "system/descriptor.h"

namespace {

using namespace std::chrono_literals;
using qmfi_pdk_4_4::CFiFreezableFileSystem;
using qmfi_pdk_4_4::CFiFreezeWatchdog;
using qmfi_system::Descriptor;
using Clock = CFiFreezeWatchdog::Clock;

// Whether it becomes true within some seconds.
template <typename Condition>
bool becomes(Condition condition) {
  const auto end = Clock::now() + 10s;
  while (!condition()) {
    if (Clock::now() > end) return false;
    std::this_thread::yield();
  }
  return true;
}

// How often a process has waited for something.
long pausesOf(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  const std::string key = "voluntary_ctxt_switches:";
  for (std::string word; status >> word;) {
    long count = 0;
    if (word == key && status >> count) return count;
  }
  return -1;
}

class Freezable {
 public:
  Freezable() : m_controller(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    EXPECT_EQ(grantpt(m_controller.get()), 0);
    EXPECT_EQ(unlockpt(m_controller.get()), 0);
    std::array<char, 64> name{};
    EXPECT_EQ(ptsname_r(m_controller.get(), name.data(), name.size()), 0);
    m_terminal.reset(open(name.data(), O_RDWR | O_NOCTTY | O_CLOEXEC));
    termios settings{};
    EXPECT_EQ(tcgetattr(m_terminal.get(), &settings), 0);
    cfmakeraw(&settings);
    EXPECT_EQ(tcsetattr(m_terminal.get(), TCSANOW, &settings), 0);
  }

  void freeze() const {
    EXPECT_EQ(write(m_controller.get(), "x", 1), 1);
    EXPECT_TRUE(becomes([this] { return isFrozen(); }));
  }
  bool isFrozen() const {
    int unread = 0;
    EXPECT_EQ(ioctl(m_terminal.get(), FIONREAD, &unread), 0);
    return unread > 0;
  }
  bool isThawedSoon() const {
    return becomes([this] { return !isFrozen(); });
  }

  CFiFreezableFileSystem get() const { return {m_terminal.get(), TCFLSH}; }

 private:
  Descriptor m_controller;
  Descriptor m_terminal;
};

// Another process that starts a watchdog and then does nothing. What it leaves becomes a child of the test.
class Maker {
 public:
  Maker(const Freezable& freezable, std::optional<Clock::time_point> deadline) {
    prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0);
    std::array<int, 2> ends{};
    EXPECT_EQ(pipe2(ends.data(), O_CLOEXEC), 0);
    const Descriptor told(ends[0]);
    const Descriptor teller(ends[1]);
    m_process = fork();
    if (m_process == 0) make(freezable, deadline, teller.get());
    EXPECT_EQ(read(told.get(), &m_watchdog, sizeof m_watchdog), static_cast<ssize_t>(sizeof m_watchdog));
  }
  Maker(const Maker&) = delete;
  Maker& operator=(const Maker&) = delete;
  ~Maker() {
    end();
    EXPECT_EQ(waitpid(m_watchdog, nullptr, 0), m_watchdog);
  }

  void stop() const {
    EXPECT_EQ(kill(m_process, SIGSTOP), 0);
    EXPECT_EQ(waitpid(m_process, nullptr, WUNTRACED), m_process);
  }
  void end() {
    if (m_hasEnded) return;
    kill(m_process, SIGKILL);
    EXPECT_EQ(waitpid(m_process, nullptr, 0), m_process);
    m_hasEnded = true;
  }
  void waitForWatchdog() const {
    siginfo_t ended{};
    EXPECT_EQ(waitid(P_PID, static_cast<id_t>(m_watchdog), &ended, WEXITED | WNOWAIT), 0);
  }

 private:
  [[noreturn]] static void make(const Freezable& freezable, std::optional<Clock::time_point> deadline, int teller) {
    CFiFreezeWatchdog watchdog({freezable.get()});
    const pid_t pid = watchdog.pid();
    const bool watches = !deadline || watchdog.watchUntil(*deadline);
    if (watches && write(teller, &pid, sizeof pid) == static_cast<ssize_t>(sizeof pid)) pause();
    _exit(1);
  }

  pid_t m_process = -1;
  pid_t m_watchdog = -1;
  bool m_hasEnded = false;
};

TEST(FreezeWatchdogTest, ThawsAtTheDeadlineAndNotBefore) {
  const Freezable freezable;
  CFiFreezeWatchdog watchdog({freezable.get()});
  const auto deadline = Clock::now() + 200ms;
  ASSERT_TRUE(watchdog.watchUntil(deadline));
  freezable.freeze();
  EXPECT_TRUE(freezable.isThawedSoon());
  EXPECT_GE(Clock::now(), deadline);
}

TEST(FreezeWatchdogTest, ThawsEveryFileSystem) {
  const std::array<Freezable, 3> freezables;
  CFiFreezeWatchdog watchdog({freezables[0].get(), freezables[1].get(), freezables[2].get()});
  for (const Freezable& freezable : freezables) freezable.freeze();
  ASSERT_TRUE(watchdog.watchUntil(Clock::now()));
  for (const Freezable& freezable : freezables) EXPECT_TRUE(freezable.isThawedSoon());
}

TEST(FreezeWatchdogTest, ThawsAtOnceWhenItsMakerIsKilled) {
  const Freezable freezable;
  freezable.freeze();
  Maker maker(freezable, Clock::now() + 1h);
  EXPECT_TRUE(freezable.isFrozen());
  maker.end();
  EXPECT_TRUE(freezable.isThawedSoon());
}

TEST(FreezeWatchdogTest, ThawsAtTheDeadlineWhenItsMakerIsStopped) {
  const Freezable freezable;
  freezable.freeze();
  const auto deadline = Clock::now() + 200ms;
  const Maker maker(freezable, deadline);
  maker.stop();
  EXPECT_TRUE(freezable.isThawedSoon());
  EXPECT_GE(Clock::now(), deadline);
}

TEST(FreezeWatchdogTest, ThawsNothingThatItHasNotBeenToldToWatch) {
  const Freezable freezable;
  freezable.freeze();
  Maker maker(freezable, std::nullopt);
  maker.end();
  maker.waitForWatchdog();
  EXPECT_TRUE(freezable.isFrozen());
}

TEST(FreezeWatchdogTest, EndsWithoutAThawWhenItIsNeededNoMore) {
  const Freezable freezable;
  freezable.freeze();
  pid_t process = -1;
  {
    CFiFreezeWatchdog watchdog({freezable.get()});
    process = watchdog.pid();
    ASSERT_TRUE(watchdog.watchUntil(Clock::now() + 1h));
  }
  EXPECT_TRUE(freezable.isFrozen());
  EXPECT_EQ(waitpid(process, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
}

TEST(FreezeWatchdogTest, ThawsAgainAfterAnotherDeadline) {
  const Freezable freezable;
  CFiFreezeWatchdog watchdog({freezable.get()});
  for (int round = 0; round < 2; ++round) {
    freezable.freeze();
    ASSERT_TRUE(watchdog.watchUntil(Clock::now()));
    EXPECT_TRUE(freezable.isThawedSoon());
  }
}

// What it can never thaw keeps it trying; each try begins with a pause.
TEST(FreezeWatchdogTest, ThawsEachFileSystemOnceAfterADeadline) {
  const Freezable freezable;
  freezable.freeze();
  CFiFreezeWatchdog watchdog({freezable.get(), {-1}});
  ASSERT_TRUE(watchdog.watchUntil(Clock::now()));
  EXPECT_TRUE(freezable.isThawedSoon());
  const long before = pausesOf(watchdog.pid());
  freezable.freeze();
  EXPECT_TRUE(becomes([&] { return pausesOf(watchdog.pid()) > before + 3; }));
  EXPECT_TRUE(freezable.isFrozen());
}

TEST(FreezeWatchdogTest, IsNotEndedByTheSignalsThatEndItsMaker) {
  const Freezable freezable;
  freezable.freeze();
  CFiFreezeWatchdog watchdog({freezable.get()});
  for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGTSTP, SIGPIPE, SIGALRM}) {
    EXPECT_EQ(kill(watchdog.pid(), signal), 0);
  }
  EXPECT_EQ(getsid(watchdog.pid()), watchdog.pid());
  ASSERT_TRUE(watchdog.watchUntil(Clock::now()));
  EXPECT_TRUE(freezable.isThawedSoon());
}

TEST(FreezeWatchdogTest, HasNoneOfItsMakersOtherDescriptors) {
  const Freezable freezable;
  const Descriptor other(open("/dev/null", O_RDONLY | O_CLOEXEC));
  CFiFreezeWatchdog watchdog({freezable.get()});
  const std::string own = "/proc/self/fd/" + std::to_string(freezable.get().descriptor);
  std::vector<std::string> held;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/" + std::to_string(watchdog.pid()) + "/fd")) {
    held.push_back(std::filesystem::read_symlink(entry.path()).string());
  }
  EXPECT_THAT(
      held, testing::UnorderedElementsAre(std::filesystem::read_symlink(own).string(), testing::StartsWith("socket:")));
}

TEST(FreezeWatchdogTest, TellsWhenItIsNotThereAnyMore) {
  const Freezable freezable;
  CFiFreezeWatchdog watchdog({freezable.get()});
  ASSERT_EQ(kill(watchdog.pid(), SIGKILL), 0);
  siginfo_t ended{};
  ASSERT_EQ(waitid(P_PID, static_cast<id_t>(watchdog.pid()), &ended, WEXITED | WNOWAIT), 0);
  EXPECT_FALSE(watchdog.watchUntil(Clock::now() + 1h));
}

// The program is linked so that its calls of socketpair() pass through here.
bool socketsFail = false;

}  // namespace

extern "C" decltype(socketpair) __real_socketpair;
extern "C" int __wrap_socketpair(int domain, int type, int protocol, int ends[2]) {
  if (!socketsFail) return __real_socketpair(domain, type, protocol, ends);
  errno = EMFILE;
  return -1;
}

namespace {

TEST(FreezeWatchdogTest, CannotBeStartedWithoutDescriptors) {
  socketsFail = true;
  EXPECT_THROW(CFiFreezeWatchdog({}), std::system_error);
  socketsFail = false;
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
}

TEST(ThawTest, TellsWhetherThereWasSomethingToThaw) {
  const Freezable freezable;
  freezable.freeze();
  const auto thawed = thawFileSystem(freezable.get());
  EXPECT_TRUE(thawed.thawed);
  EXPECT_EQ(thawed.error, 0);
  EXPECT_FALSE(freezable.isFrozen());
}

TEST(ThawTest, FindsNothingToThawWhereTheRequestIsNotKnown) {
  const Descriptor nothing(open("/dev/null", O_RDONLY | O_CLOEXEC));
  const auto answer = qmfi_pdk_4_4::thawFileSystem({nothing.get(), TCFLSH});
  EXPECT_FALSE(answer.thawed);
  EXPECT_THAT(answer.error, testing::AnyOf(0, EPERM));
}

TEST(ThawTest, TellsWhyItFailed) {
  const auto answer = qmfi_pdk_4_4::thawFileSystem({-1, TCFLSH});
  EXPECT_FALSE(answer.thawed);
  EXPECT_EQ(answer.error, EBADF);
}

}  // namespace

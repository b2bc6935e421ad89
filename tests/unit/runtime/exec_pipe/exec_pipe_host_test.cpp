// What a run leaves behind in the host, and hosts that make it hard.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>

#include <cstring>
#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

#include "exec_pipe_fixture.h"
#include "system/descriptor.h"

namespace {

using namespace exec_pipe_test;
using qmfi_system::Descriptor;

std::ptrdiff_t openDescriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator());
}

// A lower limit of descriptors for as long as it lives.
class DescriptorLimit {
 public:
  explicit DescriptorLimit(rlim_t limit) {
    getrlimit(RLIMIT_NOFILE, &m_saved);
    const rlimit lower{limit, m_saved.rlim_max};
    setrlimit(RLIMIT_NOFILE, &lower);
  }
  ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &m_saved); }
  DescriptorLimit(const DescriptorLimit&) = delete;
  DescriptorLimit& operator=(const DescriptorLimit&) = delete;

 private:
  rlimit m_saved{};
};

TEST_F(ExecPipe, LeavesNoDescriptorOpen) {
  const auto before = openDescriptors();
  exec("/bin/true");
  exec("/bin/false | /bin/cat");
  exec("/no/such/program");
  exec("/tmp");
  exec("/bin/sleep 600 | /tmp");
  exec("|");
  EXPECT_EQ(openDescriptors(), before);
}

TEST_F(ExecPipe, FailsCleanlyWithHoweverFewDescriptors) {
  const std::string command = "/bin/echo a | /bin/cat";
  const auto before = openDescriptors();
  const Descriptor next(open("/dev/null", O_RDONLY | O_CLOEXEC));
  bool succeeded = false;
  for (int spare = 0; spare < 16 && !succeeded; ++spare) {
    Outcome run;
    {
      const DescriptorLimit limit(static_cast<rlim_t>(next.get() + 1 + spare));
      run = exec(command);
    }
    succeeded = run.code == 0;
    if (succeeded) {
      EXPECT_EQ(run.output, Lines{"a"});
    } else {
      EXPECT_EQ(run.code, 1) << spare;
      EXPECT_EQ(run.error.getCode(), 1) << spare;
      EXPECT_EQ(run.error.getText().find('\n'), std::string::npos) << spare;
      EXPECT_EQ(run.error.getText().rfind("/bin/", 0), 0u) << run.error.getText();
    }
    // A child that could not even be watched has been killed, and is reaped by the next run once it has ended.
    siginfo_t info{};
    if (waitid(P_ALL, 0, &info, WEXITED | WNOWAIT) == 0) exec("/bin/true");
  }
  EXPECT_TRUE(succeeded);
  EXPECT_EQ(openDescriptors(), before + 1);
}

TEST_F(ExecPipe, ReportsALostStatusWhenTheHostIgnoresChildSignals) {
  const struct {
    void (*handler)(int);
    int flags;
  } actions[] = {{SIG_IGN, 0}, {SIG_DFL, SA_NOCLDWAIT}};
  for (const auto& a : actions) {
    const ChildSignalAction action(a.handler, a.flags);
    for (const char* command : {"/bin/echo a", "/bin/echo a | /bin/cat", "/bin/echo a | /bin/cat | /bin/cat"}) {
      const Outcome run = exec(command);
      EXPECT_EQ(run.code, 13) << command;
      EXPECT_EQ(run.output, Lines{"a"}) << command;
      EXPECT_EQ(run.error.getCode(), 13) << command;
      EXPECT_EQ(run.error.getExitStatus(), 0) << command;
      const std::string program = std::strchr(command, '|') == nullptr ? "/bin/echo" : "/bin/cat";
      EXPECT_EQ(run.error.getText(), program + ": its exit status was lost") << command;
    }
    EXPECT_EQ(exec("/no/such/program").code, 7);
  }
}

TEST_F(ExecPipe, EndsACommandInTimeWhenTheHostIgnoresChildSignals) {
  const ChildSignalAction action(SIG_IGN, 0);
  const Outcome run = exec("/bin/sleep 600", 1);
  EXPECT_EQ(run.code, 5);
}

TEST_F(ExecPipe, NeverChangesTheHostsSignalState) {
  const ChildSignalAction action([](int) {}, SA_RESTART);
  sigset_t blocked, saved, after;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGCHLD);
  sigaddset(&blocked, SIGUSR1);
  pthread_sigmask(SIG_SETMASK, &blocked, &saved);
  std::vector<struct sigaction> actions(SIGRTMAX + 1);
  for (int signal = 1; signal <= SIGRTMAX; ++signal) sigaction(signal, nullptr, &actions[signal]);

  EXPECT_EQ(exec("/bin/echo a | /bin/cat").output, Lines{"a"});
  EXPECT_EQ(exec("/bin/sleep 600", 1).code, 5);

  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    struct sigaction now {};
    sigaction(signal, nullptr, &now);
    EXPECT_EQ(now.sa_handler, actions[signal].sa_handler) << signal;
    EXPECT_EQ(now.sa_flags, actions[signal].sa_flags) << signal;
  }
  pthread_sigmask(SIG_SETMASK, &saved, &after);
  for (int signal = 1; signal <= SIGRTMAX; ++signal) {
    EXPECT_EQ(sigismember(&after, signal), sigismember(&blocked, signal)) << signal;
  }
}

TEST_F(ExecPipe, IsNotDisturbedByAHandlerThatInterruptsIt) {
  const ChildSignalAction action([](int) {}, 0);
  const Outcome run = exec("/usr/bin/seq 1000 | /bin/cat | /usr/bin/tail -n 1");
  EXPECT_EQ(run.code, 0);
  EXPECT_EQ(run.output, Lines{"1000"});
}

TEST_F(ExecPipe, RunsOnAThreadWithASmallStack) {
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, std::size_t{64} << 10), 0);
  const auto start = [](void* run) -> void* {
    *static_cast<Outcome*>(run) = exec("/usr/bin/seq 100000 | /usr/bin/tail -n 50000");
    return nullptr;
  };
  Outcome run;
  pthread_t thread{};
  ASSERT_EQ(pthread_create(&thread, &attributes, start, &run), 0);
  pthread_attr_destroy(&attributes);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);
  EXPECT_EQ(run.code, 0);
  ASSERT_EQ(run.output.size(), 50000u);
  EXPECT_EQ(run.output.back(), "100000");
}

}  // namespace

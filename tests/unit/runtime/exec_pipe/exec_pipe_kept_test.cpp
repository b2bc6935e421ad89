// Programs whose status is kept by a program between them and the host, and hosts that take every child's status.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <sstream>
#include <string>
#include <thread>

#include "build_tree.h"
#include "exec_pipe_fixture.h"
#include "paths.h"

namespace {

// The keeper of the command pipe's programs; empty for none.
std::string& keeper() {
  static std::string path = std::getenv("STATUS_KEEPER") != nullptr ? std::getenv("STATUS_KEEPER") : "";
  return path;
}

}  // namespace

// In the place of the library's, which looks beside itself.
std::string qmfi_runtime::statusKeeper() {
  return keeper();
}

namespace {

using namespace exec_pipe_test;
using namespace std::chrono_literals;

class KeptStatus : public ExecPipe {
 protected:
  KeptStatus() { keeper() = QMFI_BINARY_DIR "/lib/qmfi/status-keeper"; }
  ~KeptStatus() override { keeper() = m_before; }

 private:
  const std::string m_before = keeper();
};

// Takes the status of every child that ends, as a thread of a host does that looks after all its children.
class ChildReaper {
 public:
  ~ChildReaper() {
    m_ends = true;
    m_thread.join();
  }

 private:
  void reap() {
    while (!m_ends) {
      if (waitpid(-1, nullptr, WNOHANG) <= 0) std::this_thread::yield();
    }
  }

  std::atomic<bool> m_ends{false};
  std::thread m_thread{[this] { reap(); }};
};

void expectStatuses(const std::string& fails, const std::string& ends) {
  const Outcome run = exec("/bin/echo a | /bin/cat");
  EXPECT_EQ(run.code, 0) << run.error.getText();
  EXPECT_EQ(run.output, Lines{"a"});
  const Outcome failed = exec(fails);
  EXPECT_EQ(failed.code, 11);
  EXPECT_EQ(failed.error.getExitStatus(), 3);
  EXPECT_EQ(failed.error.getText(), "out");
  EXPECT_EQ(exec(ends).code, 12);
  EXPECT_EQ(exec("/no/such/program").code, 7);
  const Outcome directory = exec("/tmp");
  EXPECT_EQ(directory.code, 4);
  EXPECT_EQ(directory.error.getText(), "/tmp: Permission denied");
}

TEST_F(KeptStatus, IsThePrograms) {
  expectStatuses(script("echo out; exit 3", "fails"), script("kill -9 $$", "ends"));
}

TEST_F(KeptStatus, IsKnownThoughTheHostIgnoresChildSignals) {
  for (int round = 0; round < 20; ++round) {
    const ChildSignalAction action(round % 2 == 0 ? SIG_IGN : SIG_DFL, round % 2 == 0 ? 0 : SA_NOCLDWAIT);
    expectStatuses(script("echo out; exit 3", "fails"), script("kill -9 $$", "ends"));
  }
}

TEST_F(KeptStatus, IsKnownThoughAThreadOfTheHostReapsAllChildren) {
  const ChildReaper reaper;
  for (int round = 0; round < 20; ++round) {
    expectStatuses(script("echo out; exit 3", "fails"), script("kill -9 $$", "ends"));
  }
}

// Ends the program's parent, which is its keeper, when that has told of the start and waits (in waitid) for the end.
TEST_F(KeptStatus, IsLostOnlyWithItsKeeper) {
  const std::string program = script("until grep -q '^247 ' /proc/$PPID/syscall; do :; done; kill -9 $PPID");
  const Outcome run = exec(program);
  EXPECT_EQ(run.code, 13);
  EXPECT_EQ(run.error.getText(), program + ": its exit status was lost");
}

// The program lets nobody wait for its output, and works on.
TEST_F(KeptStatus, IsNotLostBeforeTheProgramHasEnded) {
  keeper() = QMFI_BINARY_DIR "/bin/keeper_that_cannot_wait";
  const std::string program =
      script("exec >&- 2>&-; i=0; while [ $i -lt 100000 ]; do i=$((i + 1)); done; echo ended >" + path("end"));
  const Outcome run = exec(program);
  EXPECT_EQ(textOf(path("end")), "ended\n");
  EXPECT_EQ(run.code, 13);
  EXPECT_EQ(run.error.getText(), program + ": its exit status was lost");
}

TEST_F(KeptStatus, CannotBeKeptByAKeeperThatEndsBeforeItHasStartedTheProgram) {
  keeper() = "/bin/true";
  const Outcome run = exec("/bin/echo a");
  EXPECT_EQ(run.code, 1);
  EXPECT_EQ(run.output, Lines{});
  EXPECT_EQ(run.error.getText(), "/bin/echo: No child processes");
}

TEST_F(KeptStatus, BelongsToAProgramInAProcessGroupOfItsOwn) {
  const Outcome run = exec("/bin/cat /proc/self/stat");
  ASSERT_EQ(run.output.size(), 1u);
  std::istringstream fields(run.output[0]);
  std::string name;
  std::string state;
  pid_t pid = 0;
  pid_t parent = 0;
  pid_t group = 0;
  fields >> pid >> name >> state >> parent >> group;
  EXPECT_NE(parent, getpid());
  EXPECT_EQ(group, pid);
}

TEST_F(KeptStatus, EndsInTimeWithEverythingThatTheProgramStarted) {
  for (const bool ignored : {false, true}) {
    const ChildSignalAction action(ignored ? SIG_IGN : SIG_DFL, 0);
    const auto before = std::chrono::steady_clock::now();
    const Outcome run = exec(script("sleep 600 & sleep 600"), 1);
    EXPECT_EQ(run.code, 5);
    EXPECT_LT(std::chrono::steady_clock::now() - before, 10s);
  }
}

TEST_F(KeptStatus, LeavesAProgramWithoutAReaderToItsEnd) {
  const Outcome run = exec("/usr/bin/yes | /usr/bin/head -n 1");
  EXPECT_EQ(run.code, 0);
  EXPECT_EQ(run.output, Lines{"y"});
}

}  // namespace

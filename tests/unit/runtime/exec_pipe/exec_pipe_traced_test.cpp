// A host that is being debugged with all its children: the debugger gets to know of a child's end before the host does.
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>

#include "exec_pipe_fixture.h"

namespace {

using namespace exec_pipe_test;

constexpr int callStop = SIGTRAP | 0x80;

// Runs the host to its next stop; the wait status.
int nextStop(pid_t host) {
  ptrace(PTRACE_SYSCALL, host, nullptr, nullptr);
  int status = 0;
  waitpid(host, &status, __WALL);
  return status;
}

bool entersCall(pid_t host, int status, std::uint64_t number) {
  __ptrace_syscall_info info{};
  return WIFSTOPPED(status) && WSTOPSIG(status) == callStop &&
         ptrace(PTRACE_GET_SYSCALL_INFO, host, sizeof info, &info) > 0 && info.op == PTRACE_SYSCALL_INFO_ENTRY &&
         info.entry.nr == number;
}

// Lets the host run until it has started a child, and the child until its end, of which nobody is told yet.
pid_t letChildRun(pid_t host) {
  int status = 0;
  while (status >> 8 != (SIGTRAP | PTRACE_EVENT_VFORK << 8)) {
    status = nextStop(host);
    if (!WIFSTOPPED(status)) return -1;
  }
  unsigned long child = 0;
  ptrace(PTRACE_GETEVENTMSG, host, nullptr, &child);
  waitpid(static_cast<pid_t>(child), &status, __WALL);
  ptrace(PTRACE_CONT, static_cast<pid_t>(child), nullptr, nullptr);
  return static_cast<pid_t>(child);
}

TEST_F(ExecPipe, StatusIsNotLostWhenADebuggerLearnsOfTheEndFirst) {
  const std::string program = script("exit 3");
  const pid_t host = fork();
  if (host == 0) {
    raise(SIGSTOP);
    const Outcome run = exec(program);
    _exit(run.code == qmfi_pdk_4_4::KFI_EXEC_PIPE_CMD_FAILED ? run.error.getExitStatus() : 100 + run.code);
  }
  int status = 0;
  waitpid(host, &status, WUNTRACED);
  const std::uintptr_t options = PTRACE_O_EXITKILL | PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACEVFORK;
  ASSERT_EQ(ptrace(PTRACE_SEIZE, host, nullptr, options), 0);
  kill(host, SIGCONT);
  const pid_t child = letChildRun(host);
  ASSERT_GT(child, 0);
  do {
    status = nextStop(host);
  } while (WIFSTOPPED(status) && !entersCall(host, status, SYS_waitid));
  ptrace(PTRACE_CONT, host, nullptr, nullptr);
  waitpid(child, &status, __WALL);
  waitpid(host, &status, __WALL);
  while (WIFSTOPPED(status)) {
    ptrace(PTRACE_CONT, host, nullptr, nullptr);
    waitpid(host, &status, __WALL);
  }
  ASSERT_TRUE(WIFEXITED(status));
  EXPECT_EQ(WEXITSTATUS(status), 3);
}

}  // namespace

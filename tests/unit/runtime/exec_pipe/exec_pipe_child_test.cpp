// What a command finds around it, whatever the host has set up for itself.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>

#include "exec_pipe_fixture.h"
#include "system/descriptor.h"

namespace {

using namespace exec_pipe_test;
using qmfi_system::Descriptor;

// The first two real-time signals belong to the C library, which never leaves them to anybody.
constexpr std::uint64_t librarySignals = std::uint64_t{3} << 31;

// A set of signals out of a process's status, lowest signal lowest; all ones when it is not there.
std::uint64_t signalSet(const Lines& status, const std::string& name) {
  for (const std::string& line : status) {
    if (line.rfind(name, 0) == 0) return std::stoull(line.substr(name.size()), nullptr, 16);
  }
  return UINT64_MAX;
}

TEST_F(ExecPipe, GivesAFixedEnvironmentOnly) {
  setenv("EXEC_PIPE_TEST_SECRET", "x", 1);
  const Outcome run = exec("/usr/bin/env");
  unsetenv("EXEC_PIPE_TEST_SECRET");
  EXPECT_EQ(run.output, (Lines{"LC_ALL=C", "PATH=/usr/sbin:/usr/bin:/sbin:/bin"}));
}

TEST_F(ExecPipe, GivesAnEmptyStandardInput) {
  EXPECT_EQ(exec("/bin/readlink /proc/self/fd/0").output, Lines{"/dev/null"});
  EXPECT_EQ(exec("/bin/cat").output, Lines{});
}

TEST_F(ExecPipe, GivesNoDescriptorButTheStandardOnes) {
  // Descriptors that the host has forgotten to mark close-on-exec.
  const Descriptor low(open("/dev/zero", O_RDONLY));
  const Descriptor high(fcntl(low.get(), F_DUPFD, 700));
  ASSERT_TRUE(high.valid());
  // The directory that ls reads is the lowest free descriptor.
  EXPECT_EQ(exec("/bin/ls /proc/self/fd").output, (Lines{"0", "1", "2", "3"}));
  EXPECT_EQ(exec("/bin/true | /bin/ls /proc/self/fd").output, (Lines{"0", "1", "2", "3"}));
  EXPECT_EQ(exec("/bin/ls /proc/self/fd | /bin/cat").output, (Lines{"0", "1", "2", "3"}));
}

TEST_F(ExecPipe, GivesDefaultSignalActionsAndAnEmptyMask) {
  struct sigaction ignore {};
  ignore.sa_handler = SIG_IGN;
  struct sigaction savedPipe, savedTerm;
  sigaction(SIGPIPE, &ignore, &savedPipe);
  sigaction(SIGTERM, &ignore, &savedTerm);
  sigset_t blocked, savedMask;
  sigfillset(&blocked);
  pthread_sigmask(SIG_SETMASK, &blocked, &savedMask);
  const Outcome run = exec("/bin/cat /proc/self/status");
  pthread_sigmask(SIG_SETMASK, &savedMask, nullptr);
  sigaction(SIGPIPE, &savedPipe, nullptr);
  sigaction(SIGTERM, &savedTerm, nullptr);
  EXPECT_EQ(signalSet(run.output, "SigBlk:"), 0u);
  EXPECT_EQ(signalSet(run.output, "SigIgn:") & ~librarySignals, 0u);
  EXPECT_EQ(signalSet(run.output, "SigCgt:"), 0u);
}

TEST_F(ExecPipe, RunsEveryProgramInAProcessGroupOfItsOwn) {
  const Outcome run = exec("/bin/cat /proc/self/stat");
  ASSERT_EQ(run.output.size(), 1u);
  std::istringstream fields(run.output[0]);
  std::string name, state;
  pid_t pid = 0, parent = 0, group = 0;
  fields >> pid >> name >> state >> parent >> group;
  EXPECT_EQ(parent, getpid());
  EXPECT_EQ(group, pid);
}

TEST_F(ExecPipe, WorksWhenTheHostHasClosedItsStandardStreams) {
  for (const unsigned closed : {1u, 2u, 4u, 3u, 6u, 7u}) {
    std::array<Descriptor, 3> saved;
    for (int fd = 0; fd < 3; ++fd) {
      saved[fd].reset(fcntl(fd, F_DUPFD_CLOEXEC, 10));
      if ((closed >> fd & 1) != 0) close(fd);
    }
    const Outcome run = exec(script("echo out; echo err >&2; cat") + " | /usr/bin/tr o 0");
    for (int fd = 0; fd < 3; ++fd) {
      if (saved[fd].valid()) dup2(saved[fd].get(), fd);
    }
    EXPECT_EQ(run.code, 0) << closed;
    Lines lines = run.output;
    std::sort(lines.begin(), lines.end());
    EXPECT_EQ(lines, (Lines{"0ut", "err"})) << closed;
  }
}

}  // namespace

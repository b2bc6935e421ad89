// Child processes. The tests of the command pipe say more of those in a group of their own.
#include "system/child_process.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>

#include <array>
#include <cerrno>

#include "system/pipe.h"

namespace qmfi_system {
namespace {

using Words = std::vector<std::string>;
using Result = ChildProcess::StartResult;

// What a program prints, when it is started in a way.
std::string printedBy(const Words& words, ProcessGroup group, ProgramStreams streams = {},
                      const char* const* environment = plainEnvironment) {
  Pipe printed = makePipe();
  streams.output = printed.writeEnd.get();
  ChildProcess child;
  int error = 0;
  EXPECT_EQ(child.start(words, environment, streams, group, error), Result::started);
  printed.writeEnd.reset();
  std::string text;
  std::array<char, 4096> part;
  for (ssize_t length; (length = read(printed.readEnd.get(), part.data(), part.size())) > 0;) {
    text.append(part.data(), static_cast<std::size_t>(length));
  }
  int status = -1;
  EXPECT_EQ(child.waitAndReap(status), ChildEnd::exited);
  EXPECT_EQ(status, 0);
  return text;
}

// Runs for ever, and can be told to be there.
class Sleeper {
 public:
  explicit Sleeper(ProcessGroup group) {
    int error = 0;
    EXPECT_EQ(child.start({"/bin/sleep", "600"}, plainEnvironment, {}, group, error), Result::started);
  }

  ChildProcess child;
};

TEST(ChildProcess, TellsHowItEnded) {
  ChildProcess child;
  int error = 0;
  EXPECT_FALSE(child.started());
  ASSERT_EQ(child.start({"/bin/sh", "-c", "exit 7"}, plainEnvironment, {}, ProcessGroup::own, error), Result::started);
  EXPECT_TRUE(child.started());
  EXPECT_GT(child.pid(), 0);
  pollfd watched{child.watchFd(), POLLIN, 0};
  EXPECT_EQ(poll(&watched, 1, -1), 1);
  int status = 0;
  EXPECT_EQ(child.reap(status), ChildEnd::exited);
  EXPECT_EQ(status, 7);
  EXPECT_EQ(child.reap(status), ChildEnd::lost);
}

TEST(ChildProcess, IsKilled) {
  for (const auto group : {ProcessGroup::own, ProcessGroup::callers}) {
    Sleeper sleeper(group);
    int status = 0;
    EXPECT_EQ(sleeper.child.reap(status), ChildEnd::running);
    EXPECT_EQ(getpgid(sleeper.child.pid()), group == ProcessGroup::own ? sleeper.child.pid() : getpgrp());
    sleeper.child.kill();
    EXPECT_EQ(sleeper.child.waitAndReap(status), ChildEnd::killed);
    EXPECT_EQ(status, SIGKILL);
  }
}

TEST(ChildProcess, CannotBeStarted) {
  ChildProcess child;
  int error = 0;
  EXPECT_EQ(child.start({"/no/program"}, plainEnvironment, {}, ProcessGroup::own, error), Result::notStarted);
  EXPECT_EQ(error, ENOENT);
  EXPECT_FALSE(child.started());
  EXPECT_EQ(child.watchFd(), -1);
}

TEST(ChildProcess, CannotBeStartedWithoutItsDescriptors) {
  ChildProcess child;
  int error = 0;
  const ProgramStreams wrong = {.input = 1'000'000};
  EXPECT_NE(child.start({"/bin/true"}, plainEnvironment, wrong, ProcessGroup::own, error), Result::started);
  EXPECT_EQ(error, EBADF);
  EXPECT_FALSE(child.started());
}

TEST(ChildProcess, HasTheGivenEnvironmentOnly) {
  EXPECT_EQ(printedBy({"/usr/bin/env"}, ProcessGroup::own), "LC_ALL=C\nPATH=/usr/sbin:/usr/bin:/sbin:/bin\n");
  const Words texts = {"A=1", "B=two words"};
  EXPECT_EQ(printedBy({"/usr/bin/env"}, ProcessGroup::own, {}, pointersTo(texts).data()), "A=1\nB=two words\n");
}

TEST(ChildProcess, HasTheGivenDescriptorsOnly) {
  const Descriptor forgotten(open("/dev/zero", O_RDONLY));
  const Descriptor high(fcntl(forgotten.get(), F_DUPFD, 700));
  ASSERT_TRUE(high.valid());
  // The directory that ls reads is the lowest free descriptor.
  EXPECT_EQ(printedBy({"/bin/ls", "/proc/self/fd"}, ProcessGroup::callers), "0\n1\n2\n3\n");
  EXPECT_EQ(printedBy({"/bin/ls", "/proc/self/fd"}, ProcessGroup::callers, {.fourth = high.get()}), "0\n1\n2\n3\n4\n");
  EXPECT_EQ(printedBy({"/bin/readlink", "/proc/self/fd/3"}, ProcessGroup::callers, {.fourth = high.get()}),
            "/dev/zero\n");
}

TEST(ChildProcess, IgnoresSignalsAsItsCallerDoesUnlessItHasAGroupOfItsOwn) {
  const auto before = signal(SIGUSR1, SIG_IGN);
  const Words look = {"/bin/grep", "^SigIgn:", "/proc/self/status"};
  const std::string callers = printedBy(look, ProcessGroup::callers);
  const std::string own = printedBy(look, ProcessGroup::own);
  signal(SIGUSR1, before);
  constexpr unsigned long usr1 = 1UL << (SIGUSR1 - 1);
  EXPECT_EQ(std::stoul(callers.substr(8), nullptr, 16) & usr1, usr1);
  EXPECT_EQ(std::stoul(own.substr(8), nullptr, 16) & usr1, 0);
}

TEST(ChildProcess, HasNoSignalBlocked) {
  sigset_t blocked;
  sigset_t before;
  sigemptyset(&blocked);
  sigaddset(&blocked, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &blocked, &before);
  for (const auto group : {ProcessGroup::own, ProcessGroup::callers}) {
    EXPECT_EQ(printedBy({"/bin/grep", "^SigBlk:", "/proc/self/status"}, group), "SigBlk:\t0000000000000000\n");
  }
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

}  // namespace
}  // namespace qmfi_system

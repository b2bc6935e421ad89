// What the command line can make the driver do wrong.
// Volumes: "a" and "b" mounted on /mnt/a and /mnt/b. The driver fails freeze-all 1 with EIO, freeze 2 with error 5,
// thaw 3 with EINTR; it delays freeze 3 by two seconds, freeze 4 by a minute, thaw 4 by 300 ms and thaw 6 by three
// seconds. One program run is one driver, so it is one test.
#include <gtest/gtest.h>
#include <linux/sched.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>

#include "support/freeze_requests.h"
#include "support/text_file.h"
#include "support/writer.h"

namespace testbed_test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int longTime = 100;

// A child that waits for its end, with the number of a process that is gone.
pid_t forkAs(pid_t number) {
  clone_args how{};
  how.exit_signal = SIGCHLD;
  how.set_tid = reinterpret_cast<std::uintptr_t>(&number);
  how.set_tid_size = 1;
  const auto child = static_cast<pid_t>(syscall(SYS_clone3, &how, sizeof how));
  if (child != 0) return child;
  for (;;) pause();
}

// Whether the process has issued a request; waits a minute for it.
bool hasAsked(pid_t process) {
  const auto deadline = Clock::now() + std::chrono::seconds(60);
  const auto request = std::to_string(SYS_ioctl) + " ";
  bool asked = false;
  while (!asked && Clock::now() < deadline) {
    asked = textOf("/proc/" + std::to_string(process) + "/syscall").starts_with(request);
  }
  return asked;
}

void end(pid_t child) {
  kill(child, SIGKILL);
  waitpid(child, nullptr, 0);
}

TEST(DriverFaults, TheNamedRequestsOfTheirKindAreSpoiledAndNoOthers) {
  const OpenDirectory a("/mnt/a");
  const OpenDirectory b("/mnt/b");
  const Writer writer("/mnt/a/file");
  const ThawAtEnd safety({a.get(), b.get()});

  EXPECT_EQ(freezeAll(a.get(), {a.get(), b.get()}, longTime), EIO);
  EXPECT_TRUE(writer.waitForProgress());
  EXPECT_EQ(freezeAll(a.get(), {a.get(), b.get()}, longTime), 0);
  EXPECT_EQ(thaw(a.get()), 0);
  EXPECT_EQ(thaw(b.get()), 0);

  EXPECT_EQ(freeze(a.get(), longTime), 0);
  EXPECT_EQ(freeze(b.get(), longTime), 5);
  EXPECT_EQ(thaw(a.get()), EINTR);
  EXPECT_TRUE(writer.waitUntilBlocked()) << "a thaw that fails thaws nothing";

  const auto start = Clock::now();
  EXPECT_EQ(thaw(a.get()), 0);
  EXPECT_GE(Clock::now() - start, std::chrono::milliseconds(300));

  const pid_t doomed = fork();
  if (doomed == 0) _exit(freeze(a.get(), longTime));
  EXPECT_TRUE(hasAsked(doomed));
  EXPECT_EQ(thaw(b.get()), EINVAL) << "the driver takes one request after the other, so it has the first one now";
  end(doomed);
  const pid_t successor = forkAs(doomed);
  ASSERT_EQ(successor, doomed);
  EXPECT_EQ(thaw(a.get()), EINVAL) << "what a killed process asked for is not done with another one's descriptors";
  end(successor);

  const pid_t delayed = fork();
  if (delayed == 0) _exit(freeze(a.get(), longTime));
  EXPECT_EQ(freezeAll(b.get(), {b.get()}, longTime), 0) << "a delayed request keeps nobody waiting";
  EXPECT_EQ(thaw(b.get()), 0);
  end(delayed);
}

}  // namespace
}  // namespace testbed_test

// What the command line can make the driver do wrong.
// Volumes: "a" and "b" mounted on /mnt/a and /mnt/b. The driver fails freeze-all 1 with EIO, freeze 2 with error 5,
// thaw 3 with EINTR; it delays freeze 3 by a minute and thaw 4 by 300 ms. One program run is one driver, so it is one
// test.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>

#include "support.h"

namespace testbed_test {
namespace {

using Clock = std::chrono::steady_clock;

constexpr int longTime = 100;

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

  const pid_t delayed = fork();
  if (delayed == 0) _exit(freeze(a.get(), longTime));
  EXPECT_EQ(freezeAll(b.get(), {b.get()}, longTime), 0) << "a delayed request keeps nobody waiting";
  EXPECT_EQ(thaw(b.get()), 0);
  kill(delayed, SIGKILL);
  waitpid(delayed, nullptr, 0);
}

}  // namespace
}  // namespace testbed_test

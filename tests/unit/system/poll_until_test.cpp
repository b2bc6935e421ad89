// Waiting for descriptors.
#include "system/poll_until.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdint>

#include "system/pipe.h"

namespace qmfi_system {
namespace {

using Clock = std::chrono::steady_clock;
using namespace std::chrono_literals;

TEST(PollUntil, TellsWhatIsReady) {
  const Pipe pipe = makePipe();
  ASSERT_EQ(write(pipe.writeEnd.get(), "a", 1), 1);
  std::array<pollfd, 2> set = {pollfd{-1, POLLIN, 0}, pollfd{pipe.readEnd.get(), POLLIN, 0}};
  EXPECT_TRUE(pollUntil(set, Clock::now() + 10min));
  EXPECT_EQ(set[0].revents, 0);
  EXPECT_EQ(set[1].revents, POLLIN);
}

TEST(PollUntil, LooksOnceWhenTheDeadlineHasPassed) {
  const Pipe pipe = makePipe();
  std::array<pollfd, 1> set = {pollfd{pipe.readEnd.get(), POLLIN, 0}};
  EXPECT_FALSE(pollUntil(set, Clock::now() - 1s));
  ASSERT_EQ(write(pipe.writeEnd.get(), "a", 1), 1);
  EXPECT_TRUE(pollUntil(set, Clock::now() - 1s));
}

TEST(PollUntil, EndsAtTheDeadline) {
  const Pipe pipe = makePipe();
  std::array<pollfd, 1> set = {pollfd{pipe.readEnd.get(), POLLIN, 0}};
  const auto deadline = Clock::now() + 20ms;
  EXPECT_FALSE(pollUntil(set, deadline));
  EXPECT_GE(Clock::now(), deadline);
}

TEST(PollUntil, IsNotEndedBySignals) {
  const auto before = std::signal(SIGALRM, [](int) {});
  const Pipe pipe = makePipe();
  std::array<pollfd, 1> set = {pollfd{pipe.readEnd.get(), POLLIN, 0}};
  const auto deadline = Clock::now() + 50ms;
  ualarm(5000, 5000);
  EXPECT_FALSE(pollUntil(set, deadline));
  ualarm(0, 0);
  EXPECT_GE(Clock::now(), deadline);
  std::signal(SIGALRM, before);
}

TEST(PollUntil, SaysWhenItCannotWait) {
  rlimit before{};
  ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
  // Nobody waits for more descriptors than he may have.
  const rlimit none{0, before.rlim_max};
  ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
  std::array<pollfd, 1> set = {pollfd{-1, POLLIN, 0}};
  EXPECT_FALSE(pollUntil(set, Clock::now() + 10min));
  EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
}

}  // namespace
}  // namespace qmfi_system

// The driver when the machine has no memory for it.
// Volume: "a" mounted on /mnt/a. A thread that has ended leaves its stack for the next one, so only one test has any.
#include <gtest/gtest.h>
#include <sys/resource.h>

#include <cerrno>
#include <filesystem>
#include <iterator>

#include "support/freeze_requests.h"

namespace testbed_test {
namespace {

constexpr pid_t supervisor = 1;
constexpr int longTime = 100;

TEST(DriverMemory, TheDriverIsThereBeforeTheCommandRuns) {
  const std::filesystem::directory_iterator threads("/proc/1/task");
  EXPECT_EQ(std::distance(begin(threads), end(threads)), 2) << "that which serves, and that which ends freezes";
}

TEST(DriverMemory, ARequestThatNoThreadCanServeFailsAndTheNextIsServed) {
  const OpenDirectory a("/mnt/a");
  const ThawAtEnd safety({a.get()});
  const rlimit none{.rlim_cur = 0, .rlim_max = RLIM_INFINITY};
  rlimit before{};
  ASSERT_EQ(prlimit(supervisor, RLIMIT_AS, &none, &before), 0);
  const int starved = freeze(a.get(), longTime);
  ASSERT_EQ(prlimit(supervisor, RLIMIT_AS, &before, nullptr), 0);
  EXPECT_EQ(starved, EAGAIN);
  EXPECT_EQ(freeze(a.get(), longTime), 0);
  EXPECT_EQ(thaw(a.get()), 0);
}

}  // namespace
}  // namespace testbed_test

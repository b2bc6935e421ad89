// What is made for nodes, also when memory is short.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include "cfinode.h"
#include "support/allocation_faults.h"

namespace {

using namespace qmfi_pdk_4_4;

TEST(NodeRecords, AlternateNameHasTheLocalTime) {
  std::string name;
  std::string expected;
  std::time_t before = 0;
  // Once more where a second ends in between.
  do {
    before = std::time(nullptr);
    std::tm local{};
    localtime_r(&before, &local);
    char stamp[sizeof "DDMMYYYYhhmmss"];
    std::strftime(stamp, sizeof stamp, "%d%m%Y%H%M%S", &local);
    expected = std::string("/data_alt") + stamp;
    name = generatedAlternate("/data");
  } while (std::time(nullptr) != before);
  EXPECT_EQ(name, expected);
}

TEST(NodeRecords, PathIsHandedOutAsAListOfOne) {
  char** paths = nullptr;
  int count = 0;
  ASSERT_TRUE(handOutPath("/data", &paths, &count));
  EXPECT_EQ(count, 1);
  EXPECT_STREQ(paths[0], "/data");
  qmfi_free_buf(paths[0], sizeof "/data");
  std::free(paths);
}

// Calls the function with each of its allocations refused in turn; every time it answers false and leaves nothing.
template <typename Function>
void expectNothingLeft(const Function& function) {
  for (std::uint64_t number = 1;; ++number) {
    const std::int64_t before = livingBlocks();
    planAllocationFault(number, AllocationMode::once);
    bool isMade = false;
    {
      const FaultyRegion region;
      isMade = function();
    }
    const bool wasRefused = allocationFaultHappened();
    forgetAllocationFault();
    if (!wasRefused) {
      EXPECT_TRUE(isMade);
      EXPECT_GT(number, 2U);
      return;
    }
    EXPECT_FALSE(isMade) << number;
    EXPECT_EQ(livingBlocks(), before) << number;
  }
}

TEST(NodeRecords, PathThatThereIsNoMemoryForLeavesNothing) {
  const std::string path = "/data";
  char** paths = nullptr;
  int count = 0;
  expectNothingLeft([&] { return handOutPath(path, &paths, &count); });
  qmfi_free_buf(paths[0], sizeof "/data");
  std::free(paths);
}

TEST(NodeRecords, QuiesceNodeThatThereIsNoMemoryForLeavesNothing) {
  kfi_domain node{};
  expectNothingLeft([&] { return attachQuiesceNode(node, "sample"); });
  std::free(node.fid_qnode->kqn_fitype);
  qmfi_free_buf(node.fid_qnode, sizeof(kfi_quiescenode));
}

}  // namespace

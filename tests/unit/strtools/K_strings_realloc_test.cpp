// The reallocation that never keeps a block it could not resize. The program is linked so that its calls of free() pass
// through here.
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "K_strings.h"

namespace {

const void* watchedBlock = nullptr;
int watchedFrees = 0;

}  // namespace

extern "C" void __real_free(void* block);
extern "C" void __wrap_free(void* block) {
  if (block != nullptr && block == watchedBlock) ++watchedFrees;
  __real_free(block);
}

namespace {

// Counts the explicit frees of one block.
class FreeWatch {
 public:
  explicit FreeWatch(const void* block) {
    watchedBlock = block;
    watchedFrees = 0;
  }
  ~FreeWatch() { watchedBlock = nullptr; }
  FreeWatch(const FreeWatch&) = delete;
  FreeWatch& operator=(const FreeWatch&) = delete;
  int count() const { return watchedFrees; }
};

TEST(DumbRealloc, WithoutAPointerReturnsNull) {
  EXPECT_EQ(K_dumb_realloc(nullptr, 16), nullptr);
}

TEST(DumbRealloc, OfNoBlockAllocatesOne) {
  void* block = nullptr;
  void* result = K_dumb_realloc(&block, 16);
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(result, block);
  std::memset(block, 'x', 16);
  std::free(block);
}

TEST(DumbRealloc, OfNoBlockToZeroBytesAllocatesOneToBeFreed) {
  void* block = nullptr;
  void* result = K_dumb_realloc(&block, 0);
  EXPECT_NE(result, nullptr);
  EXPECT_EQ(result, block);
  std::free(block);
}

TEST(DumbRealloc, KeepsTheContentOfAnEnlargedBlock) {
  void* block = std::malloc(4);
  ASSERT_NE(block, nullptr);
  std::memcpy(block, "abc", 4);
  void* result = K_dumb_realloc(&block, 100000);
  ASSERT_NE(result, nullptr);
  EXPECT_EQ(result, block);
  EXPECT_STREQ(static_cast<char*>(block), "abc");
  std::free(block);
}

TEST(DumbRealloc, ThatFailsLeavesNullAndTheOldBlockFreed) {
  void* block = std::malloc(16);
  ASSERT_NE(block, nullptr);
  const FreeWatch watch(block);
  EXPECT_EQ(K_dumb_realloc(&block, PTRDIFF_MAX), nullptr);
  EXPECT_EQ(block, nullptr);
  EXPECT_EQ(watch.count(), 1);
}

TEST(DumbRealloc, ThatFailsWithoutAnOldBlockLeavesNull) {
  void* block = nullptr;
  EXPECT_EQ(K_dumb_realloc(&block, PTRDIFF_MAX), nullptr);
  EXPECT_EQ(block, nullptr);
}

TEST(DumbRealloc, ToZeroBytesFreesTheBlockOnlyOnce) {
  void* block = std::malloc(16);
  ASSERT_NE(block, nullptr);
  const FreeWatch watch(block);
  EXPECT_EQ(K_dumb_realloc(&block, 0), nullptr);
  EXPECT_EQ(block, nullptr);
  EXPECT_EQ(watch.count(), 0);  // realloc itself has freed it
}

}  // namespace

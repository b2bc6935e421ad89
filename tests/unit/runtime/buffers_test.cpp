// The framework's buffers.
#include <gtest/gtest.h>
#include <malloc.h>

#include <algorithm>
#include <limits>

#include "kfi.h"

// The sanitizers would end the program where memory is short instead of answering null.
extern "C" const char* __asan_default_options() {
  return "allocator_may_return_null=1";
}
extern "C" const char* __tsan_default_options() {
  return "allocator_may_return_null=1";
}

namespace {

TEST(BufferTest, IsZeroed) {
  constexpr std::size_t size = 4096;
  auto* const buffer = static_cast<unsigned char*>(qmfi_alloc_buf(size));
  ASSERT_NE(buffer, nullptr);
  EXPECT_TRUE(std::all_of(buffer, buffer + size, [](unsigned char byte) { return byte == 0; }));
  qmfi_free_buf(buffer, size);
}

TEST(BufferTest, CanBeEmpty) {
  void* const buffer = qmfi_alloc_buf(0);
  EXPECT_NE(buffer, nullptr);
  qmfi_free_buf(buffer, 0);
}

TEST(BufferTest, IsNullWhenMemoryIsShort) {
  // Read through a volatile object, so that no compiler objects to the size.
  const volatile std::size_t huge = std::numeric_limits<std::size_t>::max() / 2;
  EXPECT_EQ(qmfi_alloc_buf(huge), nullptr);
}

TEST(BufferTest, OfNoneIsNothingToFree) {
  const std::size_t before = mallinfo2().uordblks;
  qmfi_free_buf(nullptr, 1);
  EXPECT_EQ(mallinfo2().uordblks, before);
}

}  // namespace

// Handing out paths and node states when memory is short: this program has its own malloc and its own buffers of the
// framework.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "cfierror.h"
#include "qmfs_plugin.h"
#include "qmfs_private_data.h"
#include "support/domains.h"

namespace {

bool isArrayRefused = false;
bool isBufferRefused = false;
// What is still to be given back.
std::vector<void*> arrays;

}  // namespace

extern "C" {

void* __real_malloc(std::size_t size);
void __real_free(void* memory);

void* __wrap_malloc(std::size_t size) {
  if (size != sizeof(char*)) return __real_malloc(size);
  void* const array = isArrayRefused ? nullptr : __real_malloc(size);
  if (array != nullptr) arrays.push_back(array);
  return array;
}

void __wrap_free(void* memory) {
  std::erase(arrays, memory);
  __real_free(memory);
}

void* qmfi_alloc_buf(std::size_t size) {
  void* const buffer = isBufferRefused ? nullptr : std::malloc(size);
  return buffer != nullptr ? std::memset(buffer, 0xaa, size) : nullptr;
}
}

namespace {

using namespace qmfi_pdk_4_4;

class PathList : public testing::Test {
 protected:
  ~PathList() override { isArrayRefused = isBufferRefused = false; }

  CQmFSPlugin m_plugin;
  char* m_old = nullptr;
  char** m_paths = &m_old;
  int m_count = 7;
};

TEST_F(PathList, WithoutMemoryForTheArrayIsFiveAndTouchesNothing) {
  isArrayRefused = true;
  EXPECT_EQ(m_plugin.createPathAndAllocBuffer("/mnt/a", &m_paths, &m_count), 5);
  EXPECT_EQ(m_paths, &m_old);
  EXPECT_EQ(m_count, 7);
}

TEST_F(PathList, WithoutMemoryForTheBufferThrowsFiveAndKeepsNoArray) {
  isBufferRefused = true;
  try {
    m_plugin.createPathAndAllocBuffer("/mnt/a", &m_paths, &m_count);
    ADD_FAILURE() << "nothing was thrown";
  } catch (const CFiError& error) {
    EXPECT_EQ(error.getNumber(), 5);
  }
  EXPECT_TRUE(arrays.empty());
  EXPECT_EQ(m_paths, &m_old);
  EXPECT_EQ(m_count, 7);
}

TEST_F(PathList, FillsTheBufferWithZerosBehindThePath) {
  const std::string path("/mnt\0/x", 7);
  EXPECT_EQ(m_plugin.createPathAndAllocBuffer(ACE_String_Base<char>(path.data(), path.size()), &m_paths, &m_count), 0);
  EXPECT_EQ(std::string(m_paths[0], path.size() + 1), std::string("/mnt\0\0\0\0", 8));
  std::free(m_paths[0]);
  std::free(m_paths);
}

TEST_F(PathList, HandsOutAnArrayOfMallocWithABufferOfTheFramework) {
  EXPECT_EQ(m_plugin.createPathAndAllocBuffer("/mnt/a", &m_paths, &m_count), 0);
  ASSERT_EQ(arrays, std::vector<void*>{m_paths});
  EXPECT_STREQ(m_paths[0], "/mnt/a");
  EXPECT_EQ(m_count, 1);
  std::free(m_paths[0]);
  std::free(m_paths);
  EXPECT_TRUE(arrays.empty());
}

TEST(NodeState, WithoutMemoryForTheBufferThrowsFiveAndSaysWhere) {
  CQmFSPrivateData data(identifierOf("/mnt/a"), false);
  data.addSubObject(identifierOf("/dev/a"));
  kfi_blob blob{};
  isBufferRefused = true;
  try {
    data.getNodeState(&blob);
    ADD_FAILURE() << "nothing was thrown";
  } catch (const CFiError& error) {
    EXPECT_EQ(error.getNumber(), 5);
    EXPECT_STREQ(error.what(), "Bad allocation for node state");
    EXPECT_EQ(error.getFile(), "qmfs_private_data.cpp");
    EXPECT_EQ(error.getFunction(), "getNodeState");
  }
  isBufferRefused = false;
  EXPECT_EQ(blob.kb_buffer, nullptr);
}

}  // namespace

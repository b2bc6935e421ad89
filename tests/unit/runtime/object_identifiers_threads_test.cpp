// Object identifiers asked for by many threads at once.
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "kfi.h"

namespace {

TEST(ObjectIdentifierThreadsTest, AreTheSameForAllThreads) {
  constexpr int threadCount = 8;
  constexpr int nameCount = 500;
  std::vector<std::vector<qmfi_objid*>> found(threadCount);
  std::vector<std::thread> threads;
  for (auto& list : found) {
    threads.emplace_back([&list] {
      for (int i = 0; i < nameCount; ++i) {
        const std::string name = "/threads/" + std::to_string(i);
        list.push_back(qmfi_get_objid(name.c_str(), static_cast<uint32_t>(name.size()), 1));
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (int i = 0; i < nameCount; ++i) {
    ASSERT_STREQ(found[0][i]->vid_name, ("/threads/" + std::to_string(i)).c_str());
  }
  for (const auto& list : found) EXPECT_EQ(list, found[0]);
}

}  // namespace

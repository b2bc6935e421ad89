// What the plug-in keeps for the whole process: its values when it is loaded, and the order in which it is made. A
// program of its own, since every other test may have changed it.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstddef>
#include <string>
#include <vector>

#include "qmfs_plugin.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// The objects that are to be destroyed at the end, in the order of their making. It is there before any of them.
constexpr std::size_t mostObjects = 1024;
std::array<const void*, mostObjects> destroyedAtTheEnd;
std::size_t destroyedCount;

// Those of the objects that are to be destroyed at the end, in the order of their making.
std::vector<std::string> orderOf(const std::vector<std::pair<const void*, std::string>>& objects) {
  std::vector<std::string> order;
  for (std::size_t i = 0; i < destroyedCount; ++i) {
    for (const auto& [object, name] : objects) {
      if (destroyedAtTheEnd.at(i) == object) order.push_back(name);
    }
  }
  return order;
}

}  // namespace

// Every static object that was made asks by this to be destroyed.
extern "C" int __real___cxa_atexit(void (*destructor)(void*), void* object, void* library);
extern "C" int __wrap___cxa_atexit(void (*destructor)(void*), void* object, void* library) {
  if (destroyedCount < mostObjects) destroyedAtTheEnd.at(destroyedCount++) = object;
  return __real___cxa_atexit(destructor, object, library);
}

namespace {

TEST(StaticData, NamesAreTheProvidersInEveryStringType) {
  EXPECT_STREQ(cfi_pgn_name_tstr.c_str(), "qmfsfi");
  EXPECT_EQ(cfi_pgn_name_tstr.length(), 6U);
  EXPECT_EQ(cfi_pgn_name_wstr, L"qmfsfi");
  EXPECT_EQ(cfi_pgn_name_str, "qmfsfi");
}

TEST(StaticData, IsMadeNamesFirstAndDestroyedInTheReverseOrder) {
  EXPECT_THAT(orderOf({{&cfi_pgn_name_str, "string"},
                       {&cfi_pgn_name_wstr, "wide string"},
                       {&cfi_pgn_name_tstr, "framework's string"},
                       {&m_vecCfsMountPoints, "mount points"}}),
              ElementsAre("framework's string", "wide string", "string", "mount points"));
}

TEST(StaticData, IsEmptyWhenThePluginIsLoaded) {
  EXPECT_EQ(m_tuningParams.quiescenceTimeout, 0);
  EXPECT_EQ(m_tuningParams.allowSerialQuiescence, 0);
  EXPECT_EQ(CQmFSPlugin::grpobjid[0], nullptr);
  EXPECT_FALSE(CQmFSPlugin::isCfsInstalled);
  EXPECT_THAT(m_vecCfsMountPoints, IsEmpty());
}

}  // namespace

// Elements of provider lists.
#include <gtest/gtest.h>
#include <malloc.h>

#include <cstdint>
#include <string>

#include "kfi.h"

namespace {

constexpr kfi_version interfaceVersion{7, 1, 2, 3};

TEST(ProviderListTest, HoldsCopiesOfWhatItWasGiven) {
  std::string name = "qmfsfi";
  std::string first = "qmfs";
  const char* const types[] = {first.c_str(), "other"};
  kfi_provider_list* const list = qmfi_build_providerlist_node(name.c_str(), interfaceVersion, 16, 2, types, 2);
  ASSERT_NE(list, nullptr);
  name[0] = 'X';
  first[0] = 'X';
  EXPECT_STREQ(list->kpl_name, "qmfsfi");
  EXPECT_EQ(list->kpl_version.kv_major, 7);
  EXPECT_EQ(list->kpl_version.kv_minor, 1);
  EXPECT_EQ(list->kpl_version.kv_patch, 2);
  EXPECT_EQ(list->kpl_version.kv_build, 3);
  EXPECT_EQ(list->kpl_attr[0], 16);
  EXPECT_EQ(list->kpl_attr[1], 2);
  EXPECT_EQ(list->kpl_next, nullptr);
  EXPECT_EQ(list->kpl_reserved, nullptr);
  ASSERT_NE(list->kpl_fitypes, nullptr);
  EXPECT_STREQ(list->kpl_fitypes->ksl_value, "qmfs");
  ASSERT_NE(list->kpl_fitypes->ksl_next, nullptr);
  EXPECT_STREQ(list->kpl_fitypes->ksl_next->ksl_value, "other");
  EXPECT_EQ(list->kpl_fitypes->ksl_next->ksl_next, nullptr);
  qmfi_free_providerlist(list);
}

TEST(ProviderListTest, CanBeWithoutTypes) {
  kfi_provider_list* const list = qmfi_build_providerlist_node("qmfsfi", interfaceVersion, 0, 0, nullptr, 0);
  ASSERT_NE(list, nullptr);
  EXPECT_EQ(list->kpl_fitypes, nullptr);
  qmfi_free_providerlist(list);
}

TEST(ProviderListTest, IsNullForAnInvalidArgument) {
  const char* const types[] = {"qmfs", nullptr};
  EXPECT_EQ(qmfi_build_providerlist_node(nullptr, interfaceVersion, 0, 0, types, 1), nullptr);
  EXPECT_EQ(qmfi_build_providerlist_node("qmfsfi", interfaceVersion, 0, 0, types, -1), nullptr);
  EXPECT_EQ(qmfi_build_providerlist_node("qmfsfi", interfaceVersion, 0, 0, types, 2), nullptr);
  EXPECT_EQ(qmfi_build_providerlist_node("qmfsfi", interfaceVersion, 0, 0, nullptr, 1), nullptr);
}

// Makes and frees lists of two elements. Returns the memory that is in use then.
std::size_t memoryAfterLists() {
  constexpr int listCount = 32;
  const char* const types[] = {"qmfs", "other"};
  for (int i = 0; i < listCount; ++i) {
    kfi_provider_list* const first = qmfi_build_providerlist_node("first", interfaceVersion, 0, 0, types, 2);
    first->kpl_next = qmfi_build_providerlist_node("second", interfaceVersion, 0, 0, types, 1);
    qmfi_free_providerlist(first);
  }
  return mallinfo2().uordblks;
}

TEST(ProviderListTest, IsFreedWhole) {
  // The C library keeps some of the blocks that are freed first for itself.
  const std::size_t before = memoryAfterLists();
  EXPECT_EQ(memoryAfterLists(), before);
}

TEST(ProviderListTest, OfNoElementIsNothingToFree) {
  const std::size_t before = mallinfo2().uordblks;
  qmfi_free_providerlist(nullptr);
  EXPECT_EQ(mallinfo2().uordblks, before);
}

}  // namespace

// What a provider says of itself.
#include <gtest/gtest.h>

#include <memory>

#include "cfiproviderinfo.h"

namespace {

using namespace qmfi_pdk_4_4;

struct ListDeleter {
  void operator()(kfi_provider_list* list) const { qmfi_free_providerlist(list); }
};
using ProviderList = std::unique_ptr<kfi_provider_list, ListDeleter>;

TEST(ProviderInfo, BecomesOneListElement) {
  const CFiProviderInfo info{"tinyfi", {7, 6, 5, 4}, {16, 2}, {"one", "two"}};
  const ProviderList element(CFiProviderInfoListFactory::allocateListElement(info));
  ASSERT_NE(element, nullptr);
  EXPECT_EQ(element->kpl_next, nullptr);
  EXPECT_STREQ(element->kpl_name, "tinyfi");
  EXPECT_EQ(element->kpl_version.kv_major, 7);
  EXPECT_EQ(element->kpl_version.kv_minor, 6);
  EXPECT_EQ(element->kpl_version.kv_patch, 5);
  EXPECT_EQ(element->kpl_version.kv_build, 4);
  EXPECT_EQ(element->kpl_attr[0], 16);
  EXPECT_EQ(element->kpl_attr[1], 2);
  ASSERT_NE(element->kpl_fitypes, nullptr);
  EXPECT_STREQ(element->kpl_fitypes->ksl_value, "one");
  ASSERT_NE(element->kpl_fitypes->ksl_next, nullptr);
  EXPECT_STREQ(element->kpl_fitypes->ksl_next->ksl_value, "two");
  EXPECT_EQ(element->kpl_fitypes->ksl_next->ksl_next, nullptr);
  EXPECT_EQ(element->kpl_reserved, nullptr);
}

TEST(ProviderInfo, MayBeWithoutNameAndTypes) {
  const CFiProviderInfo info{"", {0, 0, 0, 0}, {0, 0}, {}};
  const ProviderList element(CFiProviderInfoListFactory::allocateListElement(info));
  ASSERT_NE(element, nullptr);
  EXPECT_STREQ(element->kpl_name, "");
  EXPECT_EQ(element->kpl_fitypes, nullptr);
}

}  // namespace

// The user's language.
#include "cli/language.h"

#include <gtest/gtest.h>

namespace qmfi_host {
namespace {

TEST(Language, IsALocaleNameWithoutEncodingAndModifier) {
  const struct {
    const char* language;
    const char* locale;
  } cases[] = {
      {"de", "de"},   {"de_DE.UTF-8", "de_DE"}, {"de_AT@euro", "de_AT"}, {"en_GB", "en_GB"},
      {"C", ""},      {"C.UTF-8", ""},          {"POSIX", ""},           {"", ""},
      {".UTF-8", ""},
  };
  for (const auto& one : cases) EXPECT_EQ(localeName(one.language), one.locale) << one.language;
}

}  // namespace
}  // namespace qmfi_host

// The user's language.
#include "cli/language.h"

#include <gtest/gtest.h>

#include "support/environment.h"

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

TEST(Language, OfTheUserIsTheFirstVariableThatIsSet) {
  const EnvironmentVariable lang("LANG", "fr_FR.UTF-8");
  const EnvironmentVariable messages("LC_MESSAGES", "");
  const EnvironmentVariable all("LC_ALL", "");
  EXPECT_EQ(userLanguage(), "fr_FR");
  setenv("LC_MESSAGES", "de_DE.UTF-8", 1);
  EXPECT_EQ(userLanguage(), "de_DE");
  setenv("LC_ALL", "C", 1);
  EXPECT_EQ(userLanguage(), "");
}

}  // namespace
}  // namespace qmfi_host

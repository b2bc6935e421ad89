// Texts in the user's language.
#include "texts/translation.h"

#include <gtest/gtest.h>

#include <cstring>

#include "build_tree.h"
#include "support/temporary_directory.h"

namespace qmfi_host {
namespace {

class TranslationTest : public testing::Test {
 protected:
  ~TranslationTest() override { choose(""); }

  static void choose(const std::string& locale) { chooseLanguage(locale, QMFI_BINARY_DIR "/share/qmfi/catalogs/qmfi"); }
  static std::string whole() { return translate("The whole output of the program is in {0}.", "/log"); }
};

TEST_F(TranslationTest, TextsAreTheUsersWhoseLanguageIsKnown) {
  choose("de_AT");
  EXPECT_EQ(whole(), "Die ganze Ausgabe des Programms steht in /log.");
  EXPECT_STREQ(translated(translatable("The version record is missing.")), "Die Angabe der Version fehlt.");
}

TEST_F(TranslationTest, TextsAreEnglishOtherwise) {
  for (const char* const locale : {"", "C", "fr", "xx_YY"}) {
    choose(locale);
    EXPECT_EQ(whole(), "The whole output of the program is in /log.") << locale;
    EXPECT_STREQ(strerror(ENOENT), "No such file or directory") << locale;
  }
}

TEST_F(TranslationTest, LanguageCanBeChosenAnew) {
  choose("de");
  choose("");
  EXPECT_EQ(whole(), "The whole output of the program is in /log.");
  choose("de");
  EXPECT_EQ(whole(), "Die ganze Ausgabe des Programms steht in /log.");
}

TEST_F(TranslationTest, TextThatIsNotInTheCatalogStaysEnglish) {
  choose("de");
  EXPECT_EQ(translate("no catalog has {0} and {1}", 1, std::string("this")), "no catalog has 1 and this");
  EXPECT_EQ(translatePlural("{0} such thing", "{0} such things", 1, 1), "1 such thing");
  EXPECT_EQ(translatePlural("{0} such thing", "{0} such things", 2, 2), "2 such things");
}

TEST_F(TranslationTest, EmptyTextStaysEmpty) {
  choose("de");
  EXPECT_STREQ(translated(""), "");
}

TEST_F(TranslationTest, TranslationThatCannotBeFilledInGivesWayToTheEnglishText) {
  EXPECT_EQ(filledIn("{0} is busy", "{0} wird von {1} benutzt", fmt::make_format_args("/mnt/a")), "/mnt/a is busy");
}

TEST_F(TranslationTest, WithoutCatalogsTextsAreEnglish) {
  chooseLanguage("de", "/nonexistent");
  EXPECT_EQ(whole(), "The whole output of the program is in /log.");
}

}  // namespace
}  // namespace qmfi_host

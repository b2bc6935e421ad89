// What is said of failures in the user's language.
#include "provider/user_texts.h"

#include <gtest/gtest.h>

#include "build_tree.h"
#include "cfistatus.h"
#include "support/environment.h"

namespace qmfi_host {
namespace {

using namespace qmfi_pdk_4_4;

class UserTextsTest : public testing::Test {
 protected:
  static constexpr const char* english = "What the provider says.";

 private:
  EnvironmentVariable m_catalogs{"QMFI_CATALOG_DIR", QMFI_BINARY_DIR "/share/qmfi/catalogs"};
};

TEST_F(UserTextsTest, TellWhatAStatusMeans) {
  EXPECT_EQ(UserTexts("de_AT").meaningOf(CFI_STATUS_BUSY, english),
            "Das Gerät wird noch benutzt und wurde nicht ausgehängt.");
  EXPECT_EQ(UserTexts("").meaningOf(CFI_STATUS_BUSY, english), english);
  EXPECT_EQ(UserTexts("fr").meaningOf(CFI_STATUS_BUSY, english), english);
  EXPECT_EQ(UserTexts("de").meaningOf(4711, english), english);
}

TEST_F(UserTextsTest, HaveATextInGermanForEveryStatus) {
  const UserTexts texts("de");
#define FI_STATUS(name, number, text) EXPECT_NE(texts.meaningOf(CFI_STATUS_##name, english), english) << #name;
#include "cfistatus.def"
}

TEST_F(UserTextsTest, TellWhereTheOutputOfAProgramIs) {
  EXPECT_EQ(UserTexts("").outputIsLogged("/var/log/x.log"), "The whole output of the program is in /var/log/x.log.");
  EXPECT_EQ(UserTexts("fr").outputIsLogged("/var/log/x.log"), "The whole output of the program is in /var/log/x.log.");
  EXPECT_EQ(UserTexts("de").outputIsLogged("/var/log/x.log"),
            "Die ganze Ausgabe des Programms steht in /var/log/x.log.");
}

TEST_F(UserTextsTest, AreMissingWithoutCatalogs) {
  const EnvironmentVariable elsewhere("QMFI_CATALOG_DIR", "/nonexistent");
  EXPECT_EQ(UserTexts("de").meaningOf(CFI_STATUS_BUSY, english), english);
  EXPECT_EQ(UserTexts("de").outputIsLogged("/var/log/x.log"), "");
}

}  // namespace
}  // namespace qmfi_host

// Message catalogs: languages, fallbacks, and the texts that are delivered.
#include <gtest/gtest.h>
#include <unicode/locid.h>

#include "build_tree.h"
#include "cfimessagecatalog.h"
#include "support/environment.h"

namespace {

using namespace qmfi_pdk_4_4;
using icu::Formattable;
using icu::UnicodeString;

Formattable text(const char* value) {
  return {UnicodeString::fromUTF8(value)};
}

CFiMessageSPtr message(const char* id, const std::vector<Formattable>& arguments) {
  return CFiMessageSPtr(
      new CFiIcuMessage(id, arguments.data(), static_cast<int>(arguments.size()), KFI_SEVERITY_ERROR, "file.cpp", 1));
}

// The text of a message in a catalog; "-" when the catalog does not know it.
std::string formatted(const char* catalog, const char* locale, const CFiMessageSPtr& sample) {
  std::string result;
  return CFiIcuMessageCatalog(catalog, locale).format(*sample, result) ? result : "-";
}

class SampleCatalogTest : public testing::Test {
 protected:
  EnvironmentVariable m_variable{"QMFI_CATALOG_DIR", QMFI_BINARY_DIR "/tests/unit/runtime/catalogs"};
  const CFiMessageSPtr m_greeting = message("GREETING", {text("Jörg"), Formattable(12345)});
  const std::string m_english = "Hello Jörg, you are number 12,345.";
  const std::string m_german = "Grüß Gott Jörg, Sie sind Nummer 12.345.";
};

struct LocaleCase {
  const char* locale;
  bool german;
};

TEST_F(SampleCatalogTest, FallsBackFromTheCountryToTheLanguageToTheRoot) {
  const std::string longLocale = "de_" + std::string(1000, 'A');
  const LocaleCase cases[] = {
      {"de", true},     {"de_AT", true}, {"de-AT", true},         {"de_AT.UTF-8", true}, {"de_CH@euro", true},
      {"DE", true},     {"fr", false},   {"fr_FR.UTF-8", false},  {"root", false},       {"", false},
      {nullptr, false}, {"C", false},    {"../sample/de", false}, {"%s", false},         {"de/../de", false},
      {"de{x", false},  {"de~x", false}, {"de:x", false},         {"de_1996", true},     {longLocale.c_str(), false}};
  for (const LocaleCase& sample : cases) {
    EXPECT_EQ(formatted("sample", sample.locale, m_greeting), sample.german ? m_german : m_english)
        << (sample.locale != nullptr ? sample.locale : "null");
  }
}

TEST_F(SampleCatalogTest, TakesALocaleThatFillsIcusBufferForAnUnknownOne) {
  bool isTooLong = false;
  for (std::size_t length = 100; length < 200; ++length) {
    const std::string locale = "de_AT_" + std::string(length, 'A');
    const std::string greeting = formatted("sample", locale.c_str(), m_greeting);
    isTooLong = isTooLong || greeting != m_german;
    EXPECT_EQ(greeting, isTooLong ? m_english : m_german) << length;
  }
  EXPECT_TRUE(isTooLong);
}

TEST_F(SampleCatalogTest, FallsBackForEachIdentifier) {
  EXPECT_EQ(formatted("sample", "de", message("ONLY_ENGLISH", {Formattable(4711)})), "It's English, line 4711.");
}

TEST_F(SampleCatalogTest, DoesNotTakeTheProcessesDefaultLocaleForTheRoot) {
  const icu::Locale before = icu::Locale::getDefault();
  UErrorCode status = U_ZERO_ERROR;
  icu::Locale::setDefault(icu::Locale::getGermany(), status);
  const std::string french = formatted("sample", "fr", m_greeting);
  icu::Locale::setDefault(before, status);
  EXPECT_EQ(french, m_english);
}

TEST_F(SampleCatalogTest, LeavesPlaceholdersWithoutArgumentsAsTheyAre) {
  EXPECT_EQ(formatted("sample", "", message("GREETING", {})), "Hello {0}, you are number {1}.");
}

TEST_F(SampleCatalogTest, WritesIntegersAsDigitsUnlessThePatternNamesANumberFormat) {
  EXPECT_EQ(formatted("sample", "", message("PLAIN", {Formattable(-12345), Formattable(std::int64_t{1} << 40)})),
            "Line -12345 of 1099511627776");
}

TEST_F(SampleCatalogTest, KnowsNothingOfTheRest) {
  EXPECT_EQ(formatted("sample", "de", message("UNKNOWN", {})), "-");
  EXPECT_EQ(formatted("sample", "de", message("BROKEN", {text("x")})), "-");
  EXPECT_EQ(formatted("sample", "de", message("NOT_TEXT", {})), "-");
  for (const char* const name :
       {"missing", "", "../catalog/sample", ".", "sample/", static_cast<const char*>(nullptr)}) {
    EXPECT_EQ(formatted(name, "de", m_greeting), "-");
  }
}

TEST_F(SampleCatalogTest, KnowsNothingWhenThereAreNoCatalogs) {
  const EnvironmentVariable variable("QMFI_CATALOG_DIR", "/nowhere");
  EXPECT_EQ(formatted("sample", "de", m_greeting), "-");
}

TEST_F(SampleCatalogTest, IsFoundByTheManagerThroughTheFactory) {
  CFiMessageCatalogManager manager;
  manager.registerFactory(CFiMessageCatalogFactorySPtr(new CFiIcuMessageCatalogFactory("root", "sample")));
  EXPECT_EQ(manager.getText("", m_greeting), m_english);
  EXPECT_EQ(manager.getText("de", m_greeting), m_german);
  EXPECT_EQ(manager.getText("de", m_greeting), m_german);
  EXPECT_EQ(manager.getText("fr", m_greeting), m_english);
  EXPECT_EQ(manager.getText("de", message("UNKNOWN", {text("a"), Formattable(12345)})), "UNKNOWN: a, 12345");
  EXPECT_EQ(manager.getText("de", CFiMessageSPtr()), "");
}

TEST_F(SampleCatalogTest, FormatsAMessageThatHasNoArguments) {
  const CFiMessageSPtr bare(new CFiMessage("GREETING", KFI_SEVERITY_ERROR, "file.cpp", 1));
  EXPECT_EQ(formatted("sample", "", bare), "Hello {0}, you are number {1}.");
}

TEST_F(SampleCatalogTest, IsKeptForAsManyLanguagesAsAHostMayAskFor) {
  CFiMessageCatalogManager manager;
  manager.registerFactory(CFiMessageCatalogFactorySPtr(new CFiIcuMessageCatalogFactory("root", "sample")));
  for (int number = 0; number < 500; ++number) {
    EXPECT_EQ(manager.getText("de_X" + std::to_string(number), m_greeting), m_german);
  }
}

TEST_F(SampleCatalogTest, IsForgottenWhenAnotherFactoryIsRegistered) {
  CFiMessageCatalogManager manager;
  manager.registerFactory(CFiMessageCatalogFactorySPtr(new CFiIcuMessageCatalogFactory("de", "sample")));
  EXPECT_EQ(manager.getText("", m_greeting), m_german);
  manager.registerFactory(CFiMessageCatalogFactorySPtr(new CFiIcuMessageCatalogFactory("de", "missing")));
  EXPECT_EQ(manager.getText("", m_greeting), "GREETING: Jörg, 12345");
}

TEST(MessageCatalogManagerTest, GivesTheIdentifierWithItsArgumentsWithoutAFactory) {
  const CFiMessageCatalogManager manager;
  EXPECT_EQ(manager.getText("de", message("MSG_ERROR_INITIALIZATION_FAILED", {})), "MSG_ERROR_INITIALIZATION_FAILED");
  EXPECT_EQ(manager.getText("", message("ID", {text("a"), Formattable(-7), Formattable(std::int64_t{1} << 40),
                                               Formattable(1.5), text("")})),
            "ID: a, -7, 1099511627776, 1.5, ");
}

TEST(MessageCatalogManagerTest, KeepsTheNativeLanguage) {
  CFiMessageCatalogManager manager;
  EXPECT_EQ(manager.getNativeLanguage(), "");
  manager.setNativeLanguage("de");
  EXPECT_EQ(manager.getNativeLanguage(), "de");
}

TEST(MessageCatalogManagerTest, MakesMessagesOfRecords) {
  char id[] = "ID";
  char args[] = "[1]";
  kfi_msg_info record{id, args, nullptr, 0, 0, nullptr, nullptr};
  CFiMessageCatalogManager manager;
  EXPECT_FALSE(manager.allocateMessage(nullptr));
  EXPECT_EQ(manager.getText("", manager.allocateMessage(&record)), "ID: 1");
  manager.registerFactory(CFiMessageCatalogFactorySPtr(new CFiIcuMessageCatalogFactory("root", "missing")));
  EXPECT_FALSE(manager.allocateMessage(nullptr));
  EXPECT_EQ(manager.getText("", manager.allocateMessage(&record)), "ID: 1");
}

struct DeliveredText {
  const char* id;
  std::vector<Formattable> arguments;
  const char* english;
  const char* german;
};

TEST(DeliveredCatalogTest, HasATextForEveryMessageInEveryLanguage) {
  const EnvironmentVariable variable("QMFI_CATALOG_DIR", QMFI_BINARY_DIR "/share/qmfi/catalogs");
  const DeliveredText cases[] = {
      {"MSG_ERROR_UNHANDLED_EXEC_PIPE_EXCEPTION",
       {text("KFI_EXEC_PIPE_CMD_FAILED"), text("mount: no"), text("qmfs_plugin.cpp"), Formattable(1234)},
       "A command could not be run or failed: mount: no (KFI_EXEC_PIPE_CMD_FAILED, reported by qmfs_plugin.cpp line "
       "1234)",
       "Ein Kommando konnte nicht ausgeführt werden oder ist fehlgeschlagen: mount: no (KFI_EXEC_PIPE_CMD_FAILED, "
       "gemeldet von qmfs_plugin.cpp Zeile 1234)"},
      {"MSG_ERROR_UNHANDLED_FIERROR_EXCEPTION",
       {text("no buffer"), text("a.cpp"), text("format"), Formattable(1234)},
       "The operation failed: no buffer (format in a.cpp line 1234)",
       "Die Operation ist fehlgeschlagen: no buffer (format in a.cpp Zeile 1234)"},
      {"MSG_ERROR_UDID_PARSING_EXCEPTION",
       {text("bad"), Formattable(1234)},
       "A device identifier could not be understood: bad (code 1234)",
       "Eine Gerätekennung konnte nicht gelesen werden: bad (Code 1234)"},
      {"MSG_ERROR_UNHANDLED_RUNTIME_EXCEPTION",
       {text("std::runtime_error"), text("why"), text("a.cpp"), Formattable(1234)},
       "The operation ended with an unexpected error: why (std::runtime_error, reported by a.cpp line 1234)",
       "Die Operation endete mit einem unerwarteten Fehler: why (std::runtime_error, gemeldet von a.cpp Zeile 1234)"},
      {"MSG_ERROR_UNHANDLED_INT_EXCEPTION",
       {Formattable(1088), text("a.cpp"), Formattable(1234)},
       "The operation ended because a command failed with status 1088 (reported by a.cpp line 1234)",
       "Die Operation endete, weil ein Kommando mit Status 1088 fehlgeschlagen ist (gemeldet von a.cpp Zeile 1234)"},
      {"MSG_ERROR_UNHANDLED_UNKNOWN_EXCEPTION",
       {text("a.cpp"), Formattable(1234)},
       "The operation ended with an unknown error (reported by a.cpp line 1234)",
       "Die Operation endete mit einem unbekannten Fehler (gemeldet von a.cpp Zeile 1234)"},
      {"MSG_ERROR_INITIALIZATION_FAILED",
       {},
       "The snapshot provider could not be started; the other messages say why.",
       "Der Snapshot-Provider konnte nicht gestartet werden; die übrigen Meldungen nennen den Grund."},
      {"MSG_ERROR_COMMAND_FAILED",
       {text("/bin/rpm -qa"), text("oops")},
       "The command /bin/rpm -qa failed. Its first line of output: oops",
       "Das Kommando /bin/rpm -qa ist fehlgeschlagen. Die erste Zeile seiner Ausgabe: oops"},
      {"MSG_ERROR_SUBOBJ_NOT_FOUND",
       {text("/data")},
       "No mounted qmfs file system was found for /data.",
       "Zu /data wurde kein eingehängtes qmfs-Dateisystem gefunden."},
      {"MSG_ERROR_FILE_OPEN_FOR_QUIESCE",
       {text("/data")},
       "The mount point /data could not be opened, so no file system was frozen.",
       "Der Einhängepunkt /data konnte nicht geöffnet werden; deshalb wurde kein Dateisystem eingefroren."},
      {"MSG_ERROR_FREEZE",
       {text("/data")},
       "The file system on /data could not be frozen, so no snapshot can be taken.",
       "Das Dateisystem auf /data konnte nicht eingefroren werden; deshalb ist kein Snapshot möglich."},
      {"MSG_ERROR_THAW",
       {text("/data")},
       "The file system on /data could not be thawed; it refuses to be written until its freeze time-out has passed.",
       "Das Dateisystem auf /data konnte nicht aufgetaut werden; es lässt sich erst wieder beschreiben, wenn seine "
       "Einfrierzeit abgelaufen ist."},
  };
  for (const DeliveredText& delivered : cases) {
    EXPECT_EQ(formatted("qmfsfi", "en", message(delivered.id, delivered.arguments)), delivered.english);
    EXPECT_EQ(formatted("qmfsfi", "de", message(delivered.id, delivered.arguments)), delivered.german);
  }
}

}  // namespace

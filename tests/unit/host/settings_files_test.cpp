// Settings files: what is read from them, in which order, and how what is wrong in them is told.
#include "settings/settings_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "doctor/settings_findings.h"
#include "german_texts.h"
#include "settings/setting_table.h"
#include "support/environment.h"
#include "support/temporary_directory.h"
#include "trust/trusted_path.h"

namespace qmfi_host {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

std::vector<std::string> textsOf(const std::vector<FileError>& errors) {
  std::vector<std::string> texts;
  for (const FileError& error : errors) texts.emplace_back(error.what());
  return texts;
}

class SettingsFilesTest : public testing::Test {
 protected:
  SettingsFiles read() const {
    return readSettingsFiles(m_directory.path(), [](const std::filesystem::path&) {});
  }

  // Of one file that holds only this.
  SettingsFiles read(const std::string& text) const {
    m_directory.write("qmfi.toml", text);
    return read();
  }

  // What is wrong in it; the text stands behind the name of the file.
  std::vector<std::string> errorsIn(const std::string& text) const { return behindFile(read(text).errors); }
  std::vector<std::string> unknownIn(const std::string& text) const { return behindFile(read(text).unknown); }

  std::vector<std::string> behindFile(const std::vector<FileError>& errors) const {
    std::vector<std::string> texts = textsOf(errors);
    for (std::string& text : texts) {
      EXPECT_THAT(text, StartsWith(m_file + ":"));
      text.erase(0, m_file.size());
    }
    return texts;
  }

  TemporaryDirectory m_directory;
  std::string m_file = m_directory.file("qmfi.toml");
};

TEST_F(SettingsFilesTest, HoldWhatTheySayWithItsPlace) {
  const SettingsFiles files = read(R"(provider = "qmfsfi"
provider_dir = "/srv/providers"
state_dir = "/srv/state"
splitter_command = "/srv/splitter"
lock_wait = 30
language = "de"

[create]
alternate_dir = "/srv/snapshots"
freeze_timeout = 20
snapshot_size = "512M"
require = "group"
overcommit = true
hook_dir = "/srv/hooks"
hook_time = 5
)");
  EXPECT_THAT(files.errors, IsEmpty());
  EXPECT_THAT(files.unknown, IsEmpty());
  EXPECT_EQ(files.count, 1U);
  const struct {
    const char* key;
    SettingData data;
    std::uint32_t line;
  } expected[] = {
      {"provider", "qmfsfi", 1},
      {"provider_dir", "/srv/providers", 2},
      {"state_dir", "/srv/state", 3},
      {"splitter_command", "/srv/splitter", 4},
      {"lock_wait", std::int64_t{30}, 5},
      {"language", "de", 6},
      {"create.alternate_dir", "/srv/snapshots", 9},
      {"create.freeze_timeout", std::int64_t{20}, 10},
      {"create.snapshot_size", "512M", 11},
      {"create.require", "group", 12},
      {"create.overcommit", true, 13},
      {"create.hook_dir", "/srv/hooks", 14},
      {"create.hook_time", std::int64_t{5}, 15},
  };
  EXPECT_EQ(files.values.size(), std::size(expected));
  EXPECT_EQ(settingTable().size(), std::size(expected));
  for (const auto& [key, data, line] : expected) {
    ASSERT_TRUE(files.values.contains(key)) << key;
    const SettingValue& value = files.values.at(key);
    EXPECT_EQ(value.data, data) << key;
    EXPECT_EQ(value.origin.kind, SettingOrigin::Kind::file) << key;
    EXPECT_EQ(value.origin.name, m_file) << key;
    EXPECT_EQ(value.origin.line, line) << key;
  }
}

TEST_F(SettingsFilesTest, NeedNotBeThere) {
  const SettingsFiles none = read();
  EXPECT_THAT(none.values, IsEmpty());
  EXPECT_THAT(none.errors, IsEmpty());
  EXPECT_EQ(none.count, 0U);
  const SettingsFiles nowhere = readSettingsFiles(m_directory.file("none"), [](const std::filesystem::path&) {});
  EXPECT_THAT(nowhere.errors, IsEmpty());
  EXPECT_THAT(read("# nothing\n").errors, IsEmpty());
}

TEST_F(SettingsFilesTest, AreReadInTheOrderOfTheirNamesAndTheLastOneHolds) {
  m_directory.makeDirectory("conf.d");
  m_directory.write("qmfi.toml", "lock_wait = 1\nprovider = \"first\"\nlanguage = \"de\"\n");
  m_directory.write("conf.d/20-later.toml", "lock_wait = 20\n");
  m_directory.write("conf.d/10-earlier.toml", "lock_wait = 10\nprovider = \"second\"\n");
  m_directory.write("conf.d/9-last.toml", "lock_wait = 9\n");
  for (const char* other : {"conf.d/99-of-an-editor.toml~", "conf.d/.99-hidden.toml", "conf.d/99.conf", "99.toml"}) {
    m_directory.write(other, "lock_wait = 99\n");
  }
  const SettingsFiles files = read();
  EXPECT_THAT(files.errors, IsEmpty());
  EXPECT_EQ(files.count, 4U);
  EXPECT_EQ(files.values.at("lock_wait").data, SettingData(std::int64_t{9}));
  EXPECT_EQ(files.values.at("lock_wait").origin.name, m_directory.file("conf.d/9-last.toml"));
  EXPECT_EQ(files.values.at("provider").data, SettingData("second"));
  EXPECT_EQ(files.values.at("provider").origin.line, 2U);
  EXPECT_EQ(files.values.at("language").data, SettingData("de"));
}

TEST_F(SettingsFilesTest, TellWhatIsExpectedOfAValueThatIsWrong) {
  const std::string lockWait = "lock_wait must be a number from 0 to 604800; change the value, or remove the line";
  const std::string timeout =
      "create.freeze_timeout must be a number from 1 to 3600; change the value, or remove the line";
  const std::string size =
      "create.snapshot_size must be a part of the volume such as \"20%\", or a size such as \"512M\" (K, M, G, T); "
      "change the value, or remove the line";
  const std::string level = "create.require must be \"group\" or \"none\"; change the value, or remove the line";
  const struct {
    const char* text;
    std::string error;
  } cases[] = {
      {"lock_wait = \"30\"", ":1: " + lockWait},
      {"lock_wait = 1.5", ":1: " + lockWait},
      {"lock_wait = true", ":1: " + lockWait},
      {"lock_wait = [1]", ":1: " + lockWait},
      {"lock_wait = 2026-11-23", ":1: " + lockWait},
      {"\nlock_wait = -1", ":2: " + lockWait},
      {"lock_wait = 604801", ":1: " + lockWait},
      {"[lock_wait]\nseconds = 3", ":1: " + lockWait},
      {"provider = \"\"", ":1: provider must be a text that is not empty; change the value, or remove the line"},
      {"provider = 1", ":1: provider must be a text that is not empty; change the value, or remove the line"},
      {"language = \"d\\u0000e\"",
       ":1: language must be a text that is not empty; change the value, or remove the line"},
      {"provider_dir = \"providers\"",
       ":1: provider_dir must be an absolute path; change the value, or remove the line"},
      {"state_dir = \"\"", ":1: state_dir must be an absolute path; change the value, or remove the line"},
      {"splitter_command = 7", ":1: splitter_command must be an absolute path; change the value, or remove the line"},
      {"create = 1", ":1: create must be a table; write [create]"},
      {"[create]\nfreeze_timeout = 0", ":2: " + timeout},
      {"[create]\nfreeze_timeout = 3601", ":2: " + timeout},
      {"create.freeze_timeout = \"2\"", ":1: " + timeout},
      {"[create]\nsnapshot_size = \"20\"", ":2: " + size},
      {"[create]\nsnapshot_size = 20", ":2: " + size},
      {"[create]\nrequire = \"all\"", ":2: " + level},
      {"[create]\nrequire = true", ":2: " + level},
      {"[create]\novercommit = 1", ":2: create.overcommit must be true or false; change the value, or remove the line"},
      {"[create]\nalternate_dir = \"a\"",
       ":2: create.alternate_dir must be an absolute path; change the value, or remove the line"},
  };
  for (const auto& [text, error] : cases) {
    EXPECT_THAT(errorsIn(text), ElementsAre(error)) << text;
    EXPECT_THAT(read(text).values, IsEmpty()) << text;
  }
}

TEST_F(SettingsFilesTest, TellProgramsPlaceCauseAndWhatToDo) {
  const std::vector<FileError> errors = read("\n[create]\nrequire = 1\n").errors;
  ASSERT_EQ(errors.size(), 1U);
  const FileError& error = errors.front();
  EXPECT_EQ(error.failure(), Failure::settingsWrong);
  EXPECT_EQ(error.exitStatus(), ExitStatus::failed);
  EXPECT_EQ(error.place().file, m_file);
  EXPECT_EQ(error.place().line, 3U);
  EXPECT_EQ(error.place().key, "create.require");
  EXPECT_EQ(error.object(), m_file);
  EXPECT_EQ(error.cause(), "create.require must be \"group\" or \"none\"");
  EXPECT_EQ(error.hint(), "change the value, or remove the line");
}

TEST_F(SettingsFilesTest, LeaveWhatIsRightInEffectBesideWhatIsWrong) {
  const SettingsFiles files = read("lock_wait = -1\nstate_dir = \"/srv/state\"\n[create]\nrequire = 1\n");
  ASSERT_EQ(files.errors.size(), 2U);
  EXPECT_EQ(files.errors[0].place().line, 1U);
  EXPECT_EQ(files.errors[1].place().line, 4U);
  EXPECT_EQ(files.values.size(), 1U);
  EXPECT_EQ(files.values.at("state_dir").data, SettingData("/srv/state"));
}

TEST_F(SettingsFilesTest, NameKeysThatNobodyKnows) {
  const std::string top =
      " is not known; remove it, or write one of provider, provider_dir, state_dir, splitter_command, "
      "lock_wait, language";
  const std::string create =
      " is not known; remove it, or write one of alternate_dir, freeze_timeout, snapshot_size, "
      "require, overcommit, hook_dir, hook_time";
  const struct {
    const char* text;
    std::string unknown;
  } cases[] = {
      {"lockwait = 1", ":1: lockwait" + top},
      {"[delete]\nforce = true", ":1: delete" + top},
      {"\n\"create.require\" = \"all\"", ":2: create.require" + top},
      {"\"\" = 1", ":1: " + top.substr(1)},
      {"[create]\nlock_wait = 1", ":2: create.lock_wait" + create},
      {"[create]\n\nforce = 1", ":3: create.force" + create},
  };
  for (const auto& [text, unknown] : cases) {
    EXPECT_THAT(unknownIn(text), ElementsAre(unknown)) << text;
    EXPECT_THAT(errorsIn(text), IsEmpty()) << text;
  }
}

TEST_F(SettingsFilesTest, ThatAreNoTomlNameTheLine) {
  for (const auto& [text, line] : std::vector<std::pair<const char*, const char*>>{
           {"lock_wait = \n", ":1: "}, {"lock_wait = 1\nlock_wait = 2\n", ":2: "}, {"\xff = 1\n", ":1: "}}) {
    EXPECT_THAT(errorsIn(text), ElementsAre(AllOf(StartsWith(line), testing::EndsWith("; mend the line")))) << text;
  }
}

TEST_F(SettingsFilesTest, ThatAreNoFilesOrTooLargeAreRefused) {
  const std::string way = "; make it a file that root can read, of at most 64 KiB";
  EXPECT_THAT(errorsIn(std::string(64UL * 1024 + 1, '#')), ElementsAre(": cannot be read: File too large" + way));
  EXPECT_THAT(errorsIn(std::string(64UL * 1024, '#')), IsEmpty());
  std::filesystem::remove(m_file);
  ASSERT_EQ(mkfifo(m_file.c_str(), S_IRUSR), 0);
  EXPECT_THAT(behindFile(read().errors), ElementsAre(": cannot be read: it is no regular file" + way));
  std::filesystem::remove(m_file);
  m_directory.makeDirectory("qmfi.toml");
  EXPECT_THAT(behindFile(read().errors), ElementsAre(": cannot be read: Is a directory" + way));
  std::filesystem::remove(m_file);
  const std::string further = m_directory.write("conf.d", "");
  EXPECT_THAT(textsOf(read().errors),
              ElementsAre(further + ": cannot be read: Not a directory; make it a directory that root can read"));
}

TEST_F(SettingsFilesTest, ThatOthersCouldChangeSayNothing) {
  m_directory.makeDirectory("conf.d");
  m_directory.write("qmfi.toml", "lock_wait = 1\n");
  const std::string refused = m_directory.write("conf.d/other.toml", "lock_wait = 2\n");
  const SettingsFiles files = readSettingsFiles(m_directory.path(), [&](const std::filesystem::path& path) {
    if (path == refused) throw HostError(Failure::untrusted, "not this one");
  });
  ASSERT_THAT(textsOf(files.errors), ElementsAre("not this one"));
  EXPECT_EQ(files.errors.front().failure(), Failure::untrusted);
  EXPECT_EQ(files.errors.front().place().file, refused);
  EXPECT_EQ(files.values.at("lock_wait").data, SettingData(std::int64_t{1}));
}

// Where everybody can write, as in /tmp, files are root's to read and nobody's to believe.
TEST_F(SettingsFilesTest, InADirectoryThatOthersCanWriteToAreNotTrusted) {
  m_directory.write("qmfi.toml", "lock_wait = 1\n");
  const SettingsFiles files = readSettingsFiles(m_directory.path(), requireTrusted);
  ASSERT_EQ(files.errors.size(), 2U);
  for (const FileError& error : files.errors) EXPECT_EQ(error.failure(), Failure::untrusted);
  EXPECT_THAT(files.values, IsEmpty());
}

TEST_F(SettingsFilesTest, AreToldOfByTheDoctor) {
  const Findings well = settingsFindings(read("lock_wait = 1\n"));
  ASSERT_EQ(well.size(), 1U);
  EXPECT_EQ(weightName(well[0].weight) + "|" + well[0].subject + "|" + well[0].text,
            "good|settings|settings files that are read: 1");
  const Findings wrong = settingsFindings(read("lock_wait = -1\nlockwait = 1\n"));
  ASSERT_EQ(wrong.size(), 2U);
  EXPECT_EQ(wrong[0].weight, Weight::problem);
  EXPECT_EQ(wrong[0].text,
            m_file + ":1: lock_wait must be a number from 0 to 604800; change the value, or remove the line");
  EXPECT_EQ(wrong[0].mend, "qmfi config check");
  EXPECT_EQ(wrong[1].weight, Weight::notice);
  EXPECT_THAT(wrong[1].text, StartsWith(m_file + ":2: lockwait is not known; "));
}

TEST(Settings, OfTheLanguageAreTheFirstVariableThatIsSet) {
  const EnvironmentVariable lang("LANG", "fr_FR.UTF-8");
  const EnvironmentVariable messages("LC_MESSAGES", "");
  const EnvironmentVariable all("LC_ALL", "");
  const auto language = [] { return settingsOfVariables().at("language"); };
  EXPECT_EQ(language().data, SettingData("fr_FR.UTF-8"));
  EXPECT_EQ(language().origin.name, "LANG");
  setenv("LC_MESSAGES", "de_DE.UTF-8", 1);
  EXPECT_EQ(language().data, SettingData("de_DE.UTF-8"));
  setenv("LC_ALL", "C", 1);
  EXPECT_EQ(language().data, SettingData("C"));
  EXPECT_EQ(language().origin.name, "LC_ALL");
}

TEST(Settings, OfVariablesAreThoseThatAreNotEmpty) {
  const EnvironmentVariable provider("QMFI_PROVIDER_DIR", "");
  const EnvironmentVariable state("QMFI_STATE_DIR", "/srv/state");
  const SettingValues values = settingsOfVariables();
  EXPECT_FALSE(values.contains("provider_dir"));
  EXPECT_EQ(values.at("state_dir").data, SettingData("/srv/state"));
  EXPECT_EQ(values.at("state_dir").origin.kind, SettingOrigin::Kind::variable);
}

TEST(Settings, LieWhereTheVariableSays) {
  const EnvironmentVariable none("QMFI_CONFIG_DIR", std::nullopt);
  EXPECT_EQ(settingsDirectory(), "/etc/qmfi");
  const EnvironmentVariable set("QMFI_CONFIG_DIR", "/srv/qmfi");
  EXPECT_EQ(settingsDirectory(), "/srv/qmfi");
}

TEST_F(SettingsFilesTest, WhatIsWrongIsToldInTheUsersLanguage) {
  const GermanTexts german;
  EXPECT_THAT(errorsIn("lock_wait = -1"), ElementsAre(":1: lock_wait muss eine Zahl von 0 bis 604800 sein; den Wert "
                                                      "ändern oder die Zeile entfernen"));
  EXPECT_THAT(errorsIn("create = 1"), ElementsAre(":1: create muss eine Tabelle sein; [create] schreiben"));
}

}  // namespace
}  // namespace qmfi_host

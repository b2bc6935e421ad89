// What holds of what files, variables and options say.
#include "cli/chosen_settings.h"

#include <gtest/gtest.h>

#include <filesystem>

#include "settings/setting_table.h"
#include "support/environment.h"
#include "unset_settings.h"

namespace qmfi_host {
namespace {

class ChosenSettingsTest : public testing::Test {
 protected:
  static Settings chosen(const OptionValues& options = {}) {
    Settings settings;
    chooseSettings(settings, options);
    return settings;
  }

  UnsetSettings m_unset;
};

TEST_F(ChosenSettingsTest, AreTheDefaultsWhereNobodySaysAnything) {
  const Settings settings = chosen();
  EXPECT_FALSE(settings.provider);
  EXPECT_EQ(settings.providerDirectory, "/usr/lib/qmfi/providers");
  EXPECT_EQ(settings.stateDirectory, "/var/lib/qmfi");
  EXPECT_EQ(settings.splitterCommand, "/usr/lib/qmfi/splitter");
  EXPECT_FALSE(settings.lockWait);
  EXPECT_EQ(settings.language, "");
  EXPECT_EQ(settings.create.alternateDirectory, "/run/qmfi/snapshots");
  EXPECT_FALSE(settings.create.freezeTimeout);
  EXPECT_EQ(settings.create.snapshotSize, "20%");
  EXPECT_EQ(settings.create.required, "none");
  EXPECT_FALSE(settings.create.overcommit);
}

TEST_F(ChosenSettingsTest, OfVariablesGiveWayToOptions) {
  const EnvironmentVariable state("QMFI_STATE_DIR", "/srv/by-variable");
  const EnvironmentVariable alternates("QMFI_ALTERNATE_DIR", "/srv/snapshots");
  const EnvironmentVariable lang("LANG", "de_DE.UTF-8");
  EXPECT_EQ(chosen().stateDirectory, "/srv/by-variable");
  EXPECT_EQ(chosen().create.alternateDirectory, "/srv/snapshots");
  EXPECT_EQ(chosen().language, "de_DE");
  const Settings settings =
      chosen({.provider = "sample", .stateDirectory = "/srv/by-option", .lockWait = 0, .language = "C"});
  EXPECT_EQ(settings.provider, "sample");
  EXPECT_EQ(settings.stateDirectory, "/srv/by-option");
  EXPECT_EQ(settings.lockWait, 0);
  EXPECT_EQ(settings.language, "");
  EXPECT_EQ(settings.values.at("lock_wait").origin.name, "--lock-wait");
}

TEST_F(ChosenSettingsTest, HaveAbsolutePaths) {
  const std::string here = std::filesystem::current_path();
  EXPECT_EQ(chosen({.stateDirectory = "state"}).stateDirectory, here + "/state");
}

TEST_F(ChosenSettingsTest, OverrideOneAnotherFromTheDefaultsToTheOptions) {
  SettingValues values = standardSettings();
  const auto from = [](SettingOrigin::Kind kind, std::int64_t data) {
    return SettingValues{{"lock_wait", {data, {kind, "name", 0}}}};
  };
  overrideBy(values, from(SettingOrigin::Kind::file, 1));
  EXPECT_EQ(values.at("lock_wait").data, SettingData(std::int64_t{1}));
  overrideBy(values, from(SettingOrigin::Kind::option, 2));
  EXPECT_EQ(values.at("lock_wait").data, SettingData(std::int64_t{2}));
  EXPECT_EQ(values.at("state_dir").data, SettingData("/var/lib/qmfi"));
}

}  // namespace
}  // namespace qmfi_host

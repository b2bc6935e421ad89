// One source after another.
#include "cli/chosen_settings.h"

#include "cli/language.h"
#include "settings/setting_table.h"
#include "snapshot/hook_directory.h"
#include "trust/trusted_path.h"

namespace qmfi_host {

namespace fs = std::filesystem;

namespace {

void addOption(SettingValues& values, const char* key, const char* option, const std::optional<std::string>& given) {
  if (given) values[key] = {*given, {SettingOrigin::Kind::option, option}};
}

SettingValues valuesOf(const OptionValues& options) {
  SettingValues values;
  addOption(values, "provider", "--provider", options.provider);
  addOption(values, "provider_dir", "--provider-dir", options.providerDirectory);
  addOption(values, "state_dir", "--state-dir", options.stateDirectory);
  addOption(values, "splitter_command", "--splitter-command", options.splitterCommand);
  addOption(values, "language", "--language", options.language);
  if (options.lockWait) {
    values["lock_wait"] = {std::int64_t{*options.lockWait}, {SettingOrigin::Kind::option, "--lock-wait"}};
  }
  return values;
}

std::optional<std::string> optionalText(const SettingValues& values, const char* key) {
  const auto* const text = std::get_if<std::string>(&values.at(key).data);
  return text == nullptr ? std::nullopt : std::optional(*text);
}

std::string textOf(const SettingValues& values, const char* key) {
  return optionalText(values, key).value_or("");
}

// The range of each is checked where it is read.
std::optional<int> optionalNumber(const SettingValues& values, const char* key) {
  const auto* const number = std::get_if<std::int64_t>(&values.at(key).data);
  return number == nullptr ? std::nullopt : std::optional(static_cast<int>(*number));
}

CreateSettings createSettings(const SettingValues& values) {
  const auto* const overcommit = std::get_if<bool>(&values.at("create.overcommit").data);
  return {textOf(values, "create.alternate_dir"),
          optionalNumber(values, "create.freeze_timeout"),
          textOf(values, "create.snapshot_size"),
          textOf(values, "create.require"),
          overcommit != nullptr && *overcommit,
          textOf(values, "create.hook_dir"),
          optionalNumber(values, "create.hook_time").value_or(standardHookTime)};
}

}  // namespace

void chooseSettings(Settings& settings, const OptionValues& options) {
  settings.files = readSettingsFiles(fs::absolute(settingsDirectory()), requireTrusted);
  settings.values = standardSettings();
  overrideBy(settings.values, settings.files.values);
  overrideBy(settings.values, settingsOfVariables());
  overrideBy(settings.values, valuesOf(options));
  settings.provider = optionalText(settings.values, "provider");
  settings.providerDirectory = fs::absolute(textOf(settings.values, "provider_dir"));
  settings.stateDirectory = fs::absolute(textOf(settings.values, "state_dir"));
  settings.splitterCommand = textOf(settings.values, "splitter_command");
  settings.lockWait = optionalNumber(settings.values, "lock_wait");
  settings.language = localeName(textOf(settings.values, "language"));
  useLanguage(settings.language);
  settings.create = createSettings(settings.values);
}

}  // namespace qmfi_host

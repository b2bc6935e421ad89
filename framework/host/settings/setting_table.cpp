// The table of settings.
#include "settings/setting_table.h"

#include <cstdlib>
#include <vector>

#include "failure/host_error.h"
#include "provider/freeze_timeout.h"
#include "snapshot/alternate_directories.h"
#include "snapshot/hook_directory.h"
#include "state/freeze_receipt.h"
#include "texts/translation.h"
#include "volume/snapshot_size.h"

namespace qmfi_host {

namespace {

bool isNumberIn(const SettingData& data, std::int64_t smallest, std::int64_t largest) {
  const auto* const number = std::get_if<std::int64_t>(&data);
  return number != nullptr && *number >= smallest && *number <= largest;
}

std::string numberFrom(int smallest, int largest) {
  return translate("a number from {0} to {1}", smallest, largest);
}

// Names are handed to the system, where they end at a zero byte.
const std::string* nameIn(const SettingData& data) {
  const auto* const text = std::get_if<std::string>(&data);
  return text != nullptr && !text->empty() && text->find('\0') == std::string::npos ? text : nullptr;
}

bool isName(const SettingData& data) {
  return nameIn(data) != nullptr;
}

std::string expectedName() {
  return translate("a text that is not empty");
}

bool isPath(const SettingData& data) {
  const std::string* const path = nameIn(data);
  return path != nullptr && path->front() == '/';
}

std::string expectedPath() {
  return translate("an absolute path");
}

bool isLockWait(const SettingData& data) {
  return isNumberIn(data, 0, longestLockWait);
}

std::string expectedLockWait() {
  return numberFrom(0, longestLockWait);
}

bool isFreezeTimeout(const SettingData& data) {
  return isNumberIn(data, shortestFreezeTimeout, longestFreezeTimeout);
}

std::string expectedFreezeTimeout() {
  return numberFrom(shortestFreezeTimeout, longestFreezeTimeout);
}

bool isHookTime(const SettingData& data) {
  return isNumberIn(data, 1, longestHookTime);
}

std::string expectedHookTime() {
  return numberFrom(1, longestHookTime);
}

// Whether what reads the option of that meaning takes the text.
template <class Read>
bool isReadBy(const SettingData& data, const Read& read) {
  const auto* const text = std::get_if<std::string>(&data);
  if (text == nullptr) return false;
  try {
    read(*text);
    return true;
  } catch (const UsageError&) {
    return false;
  }
}

bool isSnapshotSize(const SettingData& data) {
  return isReadBy(data, snapshotSizeOf);
}

std::string expectedSnapshotSize() {
  return translate("a part of the volume such as \"20%\", or a size such as \"512M\" (K, M, G, T)");
}

bool isLevel(const SettingData& data) {
  return isReadBy(data, levelOfName);
}

std::string expectedLevel() {
  return translate("\"{0}\" or \"{1}\"", levelName(ProofLevel::group), levelName(ProofLevel::none));
}

bool isSwitch(const SettingData& data) {
  return std::holds_alternative<bool>(data);
}

std::string expectedSwitch() {
  return translate("true or false");
}

const std::vector<SettingEntry>& table() {
  static const std::vector<SettingEntry> entries = {
      {"", "provider", expectedName, isName, {}, {}, translatable("all that are installed")},
      {"", "provider_dir", expectedPath, isPath, {"QMFI_PROVIDER_DIR"}, "/usr/lib/qmfi/providers", ""},
      {"", "state_dir", expectedPath, isPath, {"QMFI_STATE_DIR"}, "/var/lib/qmfi", ""},
      {"", "splitter_command", expectedPath, isPath, {"QMFI_SPLITTER_COMMAND"}, "/usr/lib/qmfi/splitter", ""},
      {"", "lock_wait", expectedLockWait, isLockWait, {}, {}, translatable("until the other qmfi has done")},
      {"", "language", expectedName, isName, {"LC_ALL", "LC_MESSAGES", "LANG"}, {}, translatable("the provider's own")},
      {"create", "alternate_dir", expectedPath, isPath, {"QMFI_ALTERNATE_DIR"}, standardAlternateDirectory, ""},
      {"create",
       "freeze_timeout",
       expectedFreezeTimeout,
       isFreezeTimeout,
       {},
       {},
       translatable("the provider's configuration")},
      {"create",
       "snapshot_size",
       expectedSnapshotSize,
       isSnapshotSize,
       {},
       std::to_string(standardSnapshotSize.percent) + "%",
       ""},
      {"create", "require", expectedLevel, isLevel, {}, levelName(ProofLevel::none), ""},
      {"create", "overcommit", expectedSwitch, isSwitch, {}, false, ""},
      {"create", "hook_dir", expectedPath, isPath, {"QMFI_HOOK_DIR"}, standardHookDirectory, ""},
      {"create", "hook_time", expectedHookTime, isHookTime, {}, std::int64_t{standardHookTime}, ""},
  };
  return entries;
}

}  // namespace

std::span<const SettingEntry> settingTable() {
  return table();
}

std::string keyOf(const SettingEntry& entry) {
  return (*entry.table == '\0' ? "" : std::string(entry.table) + ".") + entry.name;
}

const SettingEntry* findSetting(std::string_view table, std::string_view name) {
  for (const SettingEntry& entry : settingTable()) {
    if (entry.table == table && entry.name == name) return &entry;
  }
  return nullptr;
}

std::string knownNames(std::string_view table) {
  std::string names;
  for (const SettingEntry& entry : settingTable()) {
    if (entry.table == table) names += (names.empty() ? "" : ", ") + std::string(entry.name);
  }
  return names;
}

SettingValues standardSettings() {
  SettingValues values;
  for (const SettingEntry& entry : settingTable()) values[keyOf(entry)] = {entry.standard, {}};
  return values;
}

SettingValues settingsOfVariables() {
  SettingValues values;
  for (const SettingEntry& entry : settingTable()) {
    for (const char* const variable : entry.variables) {
      const char* const set = variable == nullptr ? nullptr : secure_getenv(variable);
      if (set == nullptr || *set == '\0') continue;
      values[keyOf(entry)] = {std::string(set), {SettingOrigin::Kind::variable, variable}};
      break;
    }
  }
  return values;
}

}  // namespace qmfi_host

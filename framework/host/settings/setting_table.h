// Which settings there are.
#ifndef SETTING_TABLE_H
#define SETTING_TABLE_H

#include <array>
#include <span>
#include <string>
#include <string_view>

#include "settings/setting_value.h"

namespace qmfi_host {

// The longest time that another qmfi may be waited for, in seconds.
inline constexpr int longestLockWait = 7 * 24 * 3600;

// A line of the table. Texts live as long as the program.
struct SettingEntry {
  const char* table;  // of the files, that the key stands in; empty for the keys at their top
  const char* name;
  std::string (*expected)();                 // what a value must be: "a number from 0 to 3600"
  bool (*accepts)(const SettingData& data);  // whether a file may set this
  std::array<const char*, 3> variables;      // the first that is set counts; null behind the last
  SettingData standard;                      // what holds where nobody says anything
  const char* unset;                         // what that means where it is nothing, for translated(); empty otherwise
};

// All settings, in the order in which they are shown.
std::span<const SettingEntry> settingTable();

// The whole name of a setting.
std::string keyOf(const SettingEntry& entry);

// The setting that stands under this name in this table of a file; null where there is none.
const SettingEntry* findSetting(std::string_view table, std::string_view name);

// The names that are known in a table of a file, with commas between them.
std::string knownNames(std::string_view table);

// What holds where nobody says anything, of all settings.
SettingValues standardSettings();

// What variables of the environment set. Nothing where the program has more rights than whoever started it; a variable
// that is empty is not set.
SettingValues settingsOfVariables();

}  // namespace qmfi_host

#endif

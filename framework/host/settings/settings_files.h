// The settings that the administrator has written down.
#ifndef SETTINGS_FILES_H
#define SETTINGS_FILES_H

#include <cstddef>
#include <filesystem>
#include <functional>
#include <vector>

#include "failure/file_error.h"
#include "settings/setting_value.h"

namespace qmfi_host {

// What the settings files say, and what is wrong in them.
struct SettingsFiles {
  SettingValues values{};            // of the settings that are as they should be
  std::vector<FileError> errors{};   // what no command should overlook
  std::vector<FileError> unknown{};  // keys that no setting has
  std::size_t count = 0;             // how many files there are
};

// Where the settings files lie: QMFI_CONFIG_DIR, or else /etc/qmfi.
std::filesystem::path settingsDirectory();

// Reads DIRECTORY/qmfi.toml and then DIRECTORY/conf.d/*.toml in the order of their names, as bytes; names that begin
// with a dot are left out. A later file overrides an earlier one. What does not exist says nothing. check: told of
// every path before it is read, throws HostError for one that is not to be. Whatever is wrong becomes an error of the
// result.
SettingsFiles readSettingsFiles(const std::filesystem::path& directory,
                                const std::function<void(const std::filesystem::path&)>& check);

}  // namespace qmfi_host

#endif

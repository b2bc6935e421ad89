// Where the administrator's programs lie that run around a freeze.
#ifndef HOOK_DIRECTORY_H
#define HOOK_DIRECTORY_H

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

namespace qmfi_host {

// Where hooks lie unless somebody says otherwise.
inline constexpr const char* standardHookDirectory = "/etc/qmfi/hooks.d";

// How long a hook may take unless somebody says otherwise, and at most, in seconds.
inline constexpr int standardHookTime = 60;
inline constexpr int longestHookTime = 3600;

// Which hooks are to run.
struct HookSettings {
  std::filesystem::path directory{};  // of the programs; empty where none is to run
  std::chrono::seconds time{};        // for each, until it is ready, and once more until it has ended
};

// What lies in a directory of hooks.
struct HookDirectory {
  std::vector<std::string> programs{};  // their paths, in the order in which they run: by name
  std::vector<std::string> ignored{};   // paths of what is not run: no executable file, or a name like that of a backup
};

// Looks into a directory of hooks. One that is not there, or has no name, holds nothing. A hook's name has letters,
// digits, "_" and "-" only, so that what editors and packages leave behind is never run. Throws HostError for a
// directory or a hook that others than root can change, or that cannot be read.
HookDirectory hooksIn(const std::filesystem::path& directory);

}  // namespace qmfi_host

#endif

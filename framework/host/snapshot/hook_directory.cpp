// Which files of a directory are hooks.
#include "snapshot/hook_directory.h"

#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <system_error>

#include "failure/host_error.h"
#include "texts/translation.h"
#include "trust/trusted_path.h"

namespace qmfi_host {

namespace fs = std::filesystem;

namespace {

bool isHookName(const std::string& name) {
  return std::all_of(name.begin(), name.end(), [](unsigned char character) {
    return character == '_' || character == '-' || (character < 0x80 && std::isalnum(character) != 0);
  });
}

bool isProgram(const fs::path& path) {
  std::error_code error;
  return fs::is_regular_file(path, error) && access(path.c_str(), X_OK) == 0;
}

std::vector<std::string> sortedEntries(const fs::path& directory) {
  std::vector<std::string> paths;
  std::error_code error;
  for (fs::directory_iterator entry(directory, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    paths.push_back(entry->path());
  }
  if (error && error != std::errc::no_such_file_or_directory) {
    throw systemError(translate("the hooks in {0} cannot be read", directory.string()), error.value()).about(directory);
  }
  std::sort(paths.begin(), paths.end());
  return paths;
}

}  // namespace

HookDirectory hooksIn(const fs::path& directory) {
  HookDirectory found;
  if (directory.empty()) return found;
  requireTrusted(directory);
  for (const std::string& path : sortedEntries(directory)) {
    if (isHookName(fs::path(path).filename()) && isProgram(path)) {
      requireTrusted(path);
      found.programs.push_back(path);
    } else {
      found.ignored.push_back(path);
    }
  }
  return found;
}

}  // namespace qmfi_host

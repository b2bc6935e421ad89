// The directory that holds what the host remembers between its runs.
#ifndef STATE_DIRECTORY_H
#define STATE_DIRECTORY_H

#include <filesystem>
#include <string>
#include <vector>

namespace qmfi_host {

// Makes the directory with its parents where it is missing (mode 0700). Throws HostError when it cannot be used.
void makeStateDirectory(const std::filesystem::path& directory);

// The database in a state directory.
std::filesystem::path databaseIn(const std::filesystem::path& directory);

// Throws HostError when the directory lies on the file system of one of the mount points: the state could not be
// written while that is frozen.
void requireOutside(const std::filesystem::path& directory, const std::vector<std::string>& mountPoints);

}  // namespace qmfi_host

#endif

// The requests that end freezes, of all providers that are installed.
#ifndef THAW_REQUESTS_H
#define THAW_REQUESTS_H

#include <filesystem>
#include <vector>

namespace qmfi_host {

// Those that the descriptor files of a directory name, each once, and last the one that all file systems know. No
// provider is loaded. A file that cannot be read is told on standard error and keeps none of the others away.
std::vector<unsigned long> installedThawRequests(const std::filesystem::path& directory);

}  // namespace qmfi_host

#endif

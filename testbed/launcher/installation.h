// What is put in place in the private root: the product and the file system's own programs.
#ifndef INSTALLATION_H
#define INSTALLATION_H

#include <filesystem>
#include <vector>

#include "launcher/arguments.h"

namespace testbed {

// Puts links to what `buildTree` has built under the paths where an installed system has it, the package database, and
// the plug-in's configuration with `settings`. To be called inside the private root. Throws
// std::filesystem::filesystem_error or std::system_error.
void install(const std::filesystem::path& buildTree, const std::vector<Setting>& settings);

}  // namespace testbed

#endif

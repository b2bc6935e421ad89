// Where the framework keeps its files, and the environment variables that move them.
#ifndef PATHS_H
#define PATHS_H

#include <string>
#include <string_view>

namespace qmfi_runtime {

// QMFI_LOG_DIR, otherwise the given directory, otherwise /var/log/qmfi.
std::string logDirectory(const char* given);

// QMFI_CONF_DIR, otherwise /etc/qmfi.
std::string configurationDirectory();

// QMFI_CATALOG_DIR, otherwise /usr/share/qmfi/catalogs.
std::string catalogDirectory();

// The program that keeps the status of commands, "qmfi/status-keeper" beside this library; empty when it is not there.
std::string statusKeeper();

// Whether a name stands for a file of a directory and for nothing outside of it.
bool isPlainName(std::string_view name);

}  // namespace qmfi_runtime

#endif

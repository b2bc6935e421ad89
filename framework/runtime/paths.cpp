// Where the framework keeps its files.
#include "paths.h"

#include <dlfcn.h>
#include <unistd.h>

#include <cstdlib>

namespace qmfi_runtime {

namespace {

// An empty variable counts as unset.
std::string fromEnvironment(const char* variable, const char* otherwise) {
  const char* const value = secure_getenv(variable);
  return value != nullptr && *value != '\0' ? value : otherwise;
}

}  // namespace

std::string logDirectory(const char* given) {
  return fromEnvironment("QMFI_LOG_DIR", *given != '\0' ? given : "/var/log/qmfi");
}

std::string configurationDirectory() {
  return fromEnvironment("QMFI_CONF_DIR", "/etc/qmfi");
}

std::string catalogDirectory() {
  return fromEnvironment("QMFI_CATALOG_DIR", "/usr/share/qmfi/catalogs");
}

std::string statusKeeper() {
  Dl_info library{};
  if (dladdr(reinterpret_cast<const void*>(&statusKeeper), &library) == 0) return "";
  const std::string path = library.dli_fname;
  const std::string keeper = path.substr(0, path.rfind('/') + 1) + "qmfi/status-keeper";
  return keeper.front() == '/' && access(keeper.c_str(), X_OK) == 0 ? keeper : "";
}

bool isPlainName(std::string_view name) {
  return !name.empty() && name.front() != '.' && name.find('/') == std::string_view::npos &&
         name.find('\0') == std::string_view::npos;
}

}  // namespace qmfi_runtime

// Where the files of a provider lie.
#include "provider/trusted_files.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "failure/host_error.h"
#include "system/small_file.h"

namespace qmfi_host {

namespace fs = std::filesystem;

namespace {

// As the runtime library finds them.
fs::path fromEnvironment(const char* variable, const char* otherwise) {
  const char* const value = secure_getenv(variable);
  return value != nullptr && *value != '\0' ? value : otherwise;
}

fs::path settingsOf(const std::string& name) {
  return fromEnvironment("QMFI_CONF_DIR", "/etc/qmfi") / (name + ".conf");
}

}  // namespace

fs::path descriptorOf(const fs::path& directory, const std::string& name) {
  return directory / (name + ".provider");
}

std::vector<fs::path> filesOfProvider(const fs::path& directory, const std::string& name) {
  std::vector<fs::path> files = {directory / ("lib" + name + ".so"), descriptorOf(directory, name), settingsOf(name)};
  // Beside the provider's texts those that qmfi has of its failures.
  for (const std::string& owner : {name, std::string("qmfi")}) {
    const fs::path texts = fromEnvironment("QMFI_CATALOG_DIR", "/usr/share/qmfi/catalogs") / owner;
    files.push_back(texts);
    std::error_code error;
    for (fs::directory_iterator entry(texts, error); !error && entry != fs::directory_iterator();
         entry.increment(error)) {
      files.push_back(entry->path());
    }
  }
  return files;
}

fs::path logOfProvider(const std::string& name) {
  return fromEnvironment("QMFI_LOG_DIR", "/var/log/qmfi") / (name + ".log");
}

void requireReadableSettings(const std::string& name) {
  const fs::path settings = settingsOf(name);
  if (qmfi_system::readSmallFile(settings) || errno == ENOENT) return;
  throw systemError("the settings " + settings.string() + " of the provider " + name + " cannot be read")
      .about(settings.string());
}

}  // namespace qmfi_host

// Where the files of a provider lie.
#include "provider/trusted_files.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "failure/host_error.h"
#include "system/small_file.h"
#include "texts/translation.h"

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

fs::path textsOf(const std::string& owner) {
  return fromEnvironment("QMFI_CATALOG_DIR", "/usr/share/qmfi/catalogs") / owner;
}

std::vector<fs::path> filesOfTexts(const std::string& owner) {
  std::vector<fs::path> files = {textsOf(owner)};
  std::error_code error;
  for (fs::recursive_directory_iterator entry(files.front(), error);
       !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
    files.push_back(entry->path());
  }
  return files;
}

fs::path descriptorOf(const fs::path& directory, const std::string& name) {
  return directory / (name + ".provider");
}

std::vector<fs::path> filesOfProvider(const fs::path& directory, const std::string& name) {
  std::vector<fs::path> files = {directory / ("lib" + name + ".so"), descriptorOf(directory, name), settingsOf(name)};
  for (const std::string& owner : {name, std::string("qmfi")}) {
    const std::vector<fs::path> texts = filesOfTexts(owner);
    files.insert(files.end(), texts.begin(), texts.end());
  }
  return files;
}

fs::path logOfProvider(const std::string& name) {
  return fromEnvironment("QMFI_LOG_DIR", "/var/log/qmfi") / (name + ".log");
}

void requireReadableSettings(const std::string& name) {
  const fs::path settings = settingsOf(name);
  if (qmfi_system::readSmallFile(settings) || errno == ENOENT) return;
  throw systemError(translate("the settings {0} of the provider {1} cannot be read", settings.string(), name))
      .about(settings.string());
}

}  // namespace qmfi_host

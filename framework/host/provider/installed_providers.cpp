// Finding and loading of providers.
#include "provider/installed_providers.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "failure/host_error.h"
#include "provider/trusted_files.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace fs = std::filesystem;

namespace {

std::vector<std::string> namesIn(const fs::path& directory) {
  std::vector<std::string> names;
  std::error_code error;
  for (fs::directory_iterator entry(directory, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    if (entry->path().extension() == ".provider") names.push_back(entry->path().stem());
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

class InstalledProviders::Loaded {
 public:
  Loaded(const fs::path& directory, const std::string& name, const std::string& language)
      : m_library(directory, name),
        m_provider(m_library.entryPoints(), name, language, readDescriptor(descriptorOf(directory, name))) {}

  Provider& provider() { return m_provider; }

 private:
  ProviderLibrary m_library;
  Provider m_provider;
};

InstalledProviders::InstalledProviders(fs::path directory, const std::optional<std::string>& only, std::string language,
                                       Check check)
    : m_directory(std::move(directory)),
      m_language(std::move(language)),
      m_check(std::move(check)),
      m_names(only ? std::vector{*only} : namesIn(m_directory)) {}

InstalledProviders::~InstalledProviders() = default;

Provider& InstalledProviders::named(const std::string& name) {
  std::unique_ptr<Loaded>& loaded = m_loaded[name];
  if (loaded != nullptr) return loaded->provider();
  for (const fs::path& file : filesOfProvider(m_directory, name)) m_check(file);
  requireReadableSettings(name);
  loaded = std::make_unique<Loaded>(m_directory, name, m_language);
  return loaded->provider();
}

std::vector<Provider*> InstalledProviders::started() {
  if (m_names.empty()) {
    throw HostError(Failure::providerUnusable, translate("no provider is installed in {0}", m_directory.string()))
        .about(m_directory.string());
  }
  if (!m_started.empty()) return m_started;
  for (const std::string& name : m_names) {
    try {
      m_started.push_back(&named(name));
    } catch (const HostError&) {
      m_failures.push_back(std::current_exception());
    }
  }
  if (m_started.empty()) std::rethrow_exception(m_failures.front());
  return m_started;
}

bool InstalledProviders::tellOfOthers() {
  for (const std::exception_ptr& failure : m_failures) tryOrReport([&] { std::rethrow_exception(failure); });
  return !m_failures.empty();
}

}  // namespace qmfi_host

// The providers that are installed, each loaded and started when it is first needed.
#ifndef INSTALLED_PROVIDERS_H
#define INSTALLED_PROVIDERS_H

#include <exception>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "provider/providers.h"

namespace qmfi_host {

// A provider is installed by two files of one directory, lib<name>.so and <name>.provider.
class InstalledProviders : public Providers {
 public:
  // Told of every file before it is used; throws HostError for one that is not to be.
  using Check = std::function<void(const std::filesystem::path&)>;

  // only: the provider that the choice is narrowed to; it need not be there until it is used. language: see Provider.
  InstalledProviders(std::filesystem::path directory, const std::optional<std::string>& only, std::string language,
                     Check check);
  ~InstalledProviders() override;

  // Of those among which is chosen, in order; they need not work.
  const std::vector<std::string>& names() const { return m_names; }

  // Starts also a provider that is not among those of the choice.
  Provider& named(const std::string& name) override;

  // Throws the failure of the first when none can be started.
  std::vector<Provider*> started() override;

  bool tellOfOthers() override;

 private:
  class Loaded;

  std::filesystem::path m_directory;
  std::string m_language;
  Check m_check;
  std::vector<std::string> m_names;  // of the choice, in order
  std::map<std::string, std::unique_ptr<Loaded>> m_loaded;
  std::vector<Provider*> m_started;
  std::vector<std::exception_ptr> m_failures;
};

}  // namespace qmfi_host

#endif

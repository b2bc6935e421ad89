// The functions of a provider, as one table made from the list of entry points.
#ifndef PROVIDER_ENTRY_POINTS_H
#define PROVIDER_ENTRY_POINTS_H

#include <filesystem>
#include <string>

#include "kfi.h"

namespace qmfi_host {

// A pointer to each function of the list, by its name.
struct ProviderEntryPoints {
// NOLINTNEXTLINE(bugprone-macro-parentheses): these are a type and a list of parameters.
#define FI_ENTRY_POINT(suffix, result, parameters) result(*suffix) parameters = nullptr;
#include "cfientrypoints.def"
};

// Whether a provider can have the name, which becomes a part of a path and of function names: a plain word.
bool isProviderName(const std::string& name);

// A provider's shared library, loaded as long as this object lives.
class ProviderLibrary {
 public:
  // Loads lib<name>.so of the directory. Throws HostError when that fails or an entry point is missing, and UsageError
  // for a name that is not a plain word.
  ProviderLibrary(const std::filesystem::path& directory, const std::string& name);
  ProviderLibrary(const ProviderLibrary&) = delete;
  ProviderLibrary& operator=(const ProviderLibrary&) = delete;
  ~ProviderLibrary();

  // None of them is null.
  const ProviderEntryPoints& entryPoints() const { return m_entryPoints; }

 private:
  void* m_handle = nullptr;
  ProviderEntryPoints m_entryPoints;
};

}  // namespace qmfi_host

#endif

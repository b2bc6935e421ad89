// Loading of a provider's shared library.
#include "provider/provider_entry_points.h"

#include <dlfcn.h>

#include <algorithm>
#include <cctype>

#include "failure/host_error.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

// The loader names the library, or only another one that this one needs.
std::string loaderError(const std::string& path) {
  const char* const told = dlerror();
  const std::string text = told != nullptr ? told : translate("unknown reason");
  return text.find(path) != std::string::npos ? text : translate("{0}: {1}", path, text);
}

template <typename Function>
void resolve(void* library, const std::string& path, const std::string& symbol, Function*& function) {
  function = reinterpret_cast<Function*>(dlsym(library, symbol.c_str()));
  if (function == nullptr) {
    throw HostError(Failure::providerUnusable, translate("the provider {0} lacks the function {1}", path, symbol))
        .about(path);
  }
}

void resolveAll(void* library, const std::string& path, const std::string& name, ProviderEntryPoints& entryPoints) {
#define FI_ENTRY_POINT(suffix, result, parameters) resolve(library, path, name + "_" #suffix, entryPoints.suffix);
#include "cfientrypoints.def"
}

}  // namespace

bool isProviderName(const std::string& name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), [](unsigned char character) {
    return std::isalnum(character) != 0 || character == '_';
  });
}

ProviderLibrary::ProviderLibrary(const std::filesystem::path& directory, const std::string& name) {
  if (!isProviderName(name)) {
    UsageError error(translate("\"{0}\" is not the name of a provider", name));
    error.about(name);
    throw UsageError(error);
  }
  const std::string path = directory / ("lib" + name + ".so");
  m_handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (m_handle == nullptr) {
    const std::string reason = loaderError(path);
    throw HostError(Failure::providerUnusable, translate("the provider {0} cannot be loaded: {1}", name, reason))
        .about(name)
        .because(reason);
  }
  try {
    resolveAll(m_handle, path, name, m_entryPoints);
  } catch (...) {
    dlclose(m_handle);
    throw;
  }
}

ProviderLibrary::~ProviderLibrary() {
  dlclose(m_handle);
}

}  // namespace qmfi_host

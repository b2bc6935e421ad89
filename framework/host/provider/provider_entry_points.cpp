// Loading of a provider's shared library.
#include "provider/provider_entry_points.h"

#include <dlfcn.h>

#include <algorithm>
#include <cctype>

#include "failure/host_error.h"

namespace qmfi_host {

namespace {

// The name becomes a part of a path and of function names.
bool isPlainWord(const std::string& name) {
  return !name.empty() && std::all_of(name.begin(), name.end(), [](unsigned char character) {
    return std::isalnum(character) != 0 || character == '_';
  });
}

std::string loaderError() {
  const char* const text = dlerror();
  return text != nullptr ? text : "unknown reason";
}

template <typename Function>
void resolve(void* library, const std::string& symbol, Function*& function) {
  function = reinterpret_cast<Function*>(dlsym(library, symbol.c_str()));
  if (function == nullptr) throw HostError("the provider lacks the function " + symbol);
}

void resolveAll(void* library, const std::string& name, ProviderEntryPoints& entryPoints) {
#define FI_ENTRY_POINT(suffix, result, parameters) resolve(library, name + "_" #suffix, entryPoints.suffix);
#include "cfientrypoints.def"
}

}  // namespace

ProviderLibrary::ProviderLibrary(const std::filesystem::path& directory, const std::string& name) {
  if (!isPlainWord(name)) throw UsageError("\"" + name + "\" is not the name of a provider");
  const std::string path = directory / ("lib" + name + ".so");
  m_handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (m_handle == nullptr) throw HostError("the provider " + name + " cannot be loaded: " + loaderError());
  try {
    resolveAll(m_handle, name, m_entryPoints);
  } catch (...) {
    dlclose(m_handle);
    throw;
  }
}

ProviderLibrary::~ProviderLibrary() {
  dlclose(m_handle);
}

}  // namespace qmfi_host

// A plug-in that was loaded as a framework loads it.
#ifndef TESTS_UNIT_KIT_SUPPORT_LOADED_PLUGIN_H
#define TESTS_UNIT_KIT_SUPPORT_LOADED_PLUGIN_H

#include "kfi.h"

#include <dlfcn.h>

#include <fstream>
#include <stdexcept>
#include <string>

// The functions of one plug-in, named without the plug-in's own name.
struct EntryPoints {
// NOLINTNEXTLINE(bugprone-macro-parentheses): these are a type and a list of parameters.
#define FI_ENTRY_POINT(suffix, result, parameters) result(*suffix) parameters = nullptr;
#include "cfientrypoints.def"
};

// Unloads the library at its end.
class LoadedPlugin {
 public:
  LoadedPlugin(const std::string& path, const std::string& provider)
      : m_library(::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (m_library == nullptr) {
      throw std::runtime_error(::dlerror());
    }
#define FI_ENTRY_POINT(suffix, result, parameters) \
  m_entries.suffix = reinterpret_cast<decltype(m_entries.suffix)>(symbol(provider + "_" #suffix));
#include "cfientrypoints.def"
  }
  LoadedPlugin(const LoadedPlugin&) = delete;
  LoadedPlugin& operator=(const LoadedPlugin&) = delete;
  ~LoadedPlugin() {
    ::dlclose(m_library);
  }

  const EntryPoints* operator->() const {
    return &m_entries;
  }
  const EntryPoints& operator*() const {
    return m_entries;
  }

  // Throws when the library does not export the name.
  void* symbol(const std::string& name) const {
    void* const found = ::dlsym(m_library, name.c_str());
    if (found == nullptr) {
      throw std::runtime_error("not exported: " + name);
    }
    return found;
  }

 private:
  void* m_library;
  EntryPoints m_entries;
};

// Whether a file of that name is mapped into this process.
inline bool isMapped(const std::string& fileName) {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.ends_with("/" + fileName)) {
      return true;
    }
  }
  return false;
}

#endif

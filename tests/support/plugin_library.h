// The library of a plug-in, loaded as a framework loads it, and its functions by name. Nothing of the product is
// included, so that foreign frameworks load it too.
#ifndef SUPPORT_PLUGIN_LIBRARY_H
#define SUPPORT_PLUGIN_LIBRARY_H

#include <dlfcn.h>

#include <fstream>
#include <stdexcept>
#include <string>

// Unloads the library at its end.
class PluginLibrary {
 public:
  explicit PluginLibrary(const std::string& path) : m_handle(dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL)) {
    if (m_handle == nullptr) throw std::runtime_error(dlerror());
  }
  PluginLibrary(const PluginLibrary&) = delete;
  PluginLibrary& operator=(const PluginLibrary&) = delete;
  ~PluginLibrary() { dlclose(m_handle); }

  // Finds a function of the plug-in or of a library that it depends on, never one of the program's. Throws when there
  // is none.
  template <typename Function>
  Function* function(const std::string& name) const {
    auto* const found = reinterpret_cast<Function*>(dlsym(m_handle, name.c_str()));
    if (found == nullptr) throw std::runtime_error("not exported: " + name);
    return found;
  }
  template <typename Function>
  void find(const std::string& name, Function*& found) const {
    found = function<Function>(name);
  }

  void* handle() const { return m_handle; }

 private:
  void* m_handle;
};

// Whether a library whose file name begins so is mapped into this process.
inline bool isMapped(const std::string& fileName) {
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    if (line.find("/" + fileName) != std::string::npos) return true;
  }
  return false;
}

#endif

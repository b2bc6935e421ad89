// The built plug-in, loaded and started as a framework does it.
#pragma once

#include <dlfcn.h>

#include <stdexcept>
#include <string>

#include "kfi.h"

namespace bench {

// The library, not started.
class PluginLibrary {
 public:
  // Throws std::runtime_error when it cannot be loaded.
  PluginLibrary() : m_library(dlopen(BENCH_PLUGIN, RTLD_NOW | RTLD_LOCAL)) {
    if (m_library == nullptr) throw std::runtime_error(dlerror());
  }
  PluginLibrary(const PluginLibrary&) = delete;
  PluginLibrary& operator=(const PluginLibrary&) = delete;
  ~PluginLibrary() { dlclose(m_library); }

  // Of the plug-in or of the framework's library.
  template <typename Function>
  Function* function(const std::string& name) const {
    auto* const found = reinterpret_cast<Function*>(dlsym(m_library, name.c_str()));
    if (found == nullptr) throw std::runtime_error("no function " + name);
    return found;
  }

  template <typename Function>
  Function* entryPoint(const std::string& operation) const {
    return function<Function>("qmfsfi_fi_pgn_" + operation);
  }

 private:
  void* m_library;
};

// A plug-in of a library, from init to fini.
class StartedPlugin {
 public:
  // Throws std::runtime_error when it does not start: that needs a machine with the package installed.
  explicit StartedPlugin(const PluginLibrary& library) : m_fini(library.entryPoint<void()>("fini")) {
    kfi_version version{};
    char name[] = "bench";
    const int status = library.entryPoint<int(kfi_context*, kfi_version*, char*)>("init")(nullptr, &version, name);
    if (status != 0) throw std::runtime_error("the plug-in does not start: status " + std::to_string(status));
  }
  StartedPlugin(const StartedPlugin&) = delete;
  StartedPlugin& operator=(const StartedPlugin&) = delete;
  ~StartedPlugin() { m_fini(); }

 private:
  void (*m_fini)();
};

// Both.
class LoadedPlugin : public PluginLibrary {
 public:
  LoadedPlugin() : m_started(*this) {}

 private:
  StartedPlugin m_started;
};

}  // namespace bench

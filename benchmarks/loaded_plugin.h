// The built plug-in, loaded and started as a framework does it.
#pragma once

#include <dlfcn.h>

#include <stdexcept>
#include <string>

#include "kfi.h"

namespace bench {

class LoadedPlugin {
 public:
  // Throws std::runtime_error when it cannot be loaded, or started: that needs a machine with the package installed.
  LoadedPlugin() : m_library(dlopen(BENCH_PLUGIN, RTLD_NOW | RTLD_LOCAL)) {
    if (m_library == nullptr) throw std::runtime_error(dlerror());
    kfi_version version{};
    char name[] = "bench";
    const int status = entryPoint<int(kfi_context*, kfi_version*, char*)>("init")(nullptr, &version, name);
    if (status != 0) throw std::runtime_error("the plug-in does not start: status " + std::to_string(status));
  }
  LoadedPlugin(const LoadedPlugin&) = delete;
  LoadedPlugin& operator=(const LoadedPlugin&) = delete;
  ~LoadedPlugin() {
    entryPoint<void()>("fini")();
    dlclose(m_library);
  }

  template <typename Function>
  Function* entryPoint(const std::string& operation) const {
    return function<Function>("qmfsfi_fi_pgn_" + operation);
  }

  // Of the plug-in or of the framework's library.
  template <typename Function>
  Function* function(const std::string& name) const {
    auto* const found = reinterpret_cast<Function*>(dlsym(m_library, name.c_str()));
    if (found == nullptr) throw std::runtime_error("no function " + name);
    return found;
  }

 private:
  void* m_library;
};

}  // namespace bench

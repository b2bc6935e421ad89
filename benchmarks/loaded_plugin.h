// The built plug-in, loaded and started as a framework does it.
#ifndef LOADED_PLUGIN_H
#define LOADED_PLUGIN_H

#include <cstdint>
#include <stdexcept>
#include <string>

#include "support/loaded_plugin.h"

namespace bench {

// The library, not started.
class PluginLibrary : public ::LoadedPlugin {
 public:
  // Throws std::runtime_error when it cannot be loaded.
  PluginLibrary() : ::LoadedPlugin(BENCH_PLUGIN, "qmfsfi") {}

  // The framework's identifier of a name.
  qmfi_objid* identifier(const std::string& name) const {
    using Identifier = qmfi_objid*(const char*, std::uint32_t, std::int32_t);
    return function<Identifier>("qmfi_get_objid")(name.c_str(), static_cast<std::uint32_t>(name.size()), 1);
  }
};

// A plug-in of a library, from init to fini.
class StartedPlugin {
 public:
  // Throws std::runtime_error when it does not start: that needs a machine with the package installed.
  explicit StartedPlugin(const PluginLibrary& library) : m_library(library) {
    kfi_version version{};
    char name[] = "bench";
    const int status = library->fi_pgn_init(nullptr, &version, name);
    if (status != 0) throw std::runtime_error("the plug-in does not start: status " + std::to_string(status));
  }
  StartedPlugin(const StartedPlugin&) = delete;
  StartedPlugin& operator=(const StartedPlugin&) = delete;
  ~StartedPlugin() { m_library->fi_pgn_fini(); }

 private:
  const PluginLibrary& m_library;
};

// Both.
class LoadedPlugin : public PluginLibrary {
 public:
  LoadedPlugin() : m_started(*this) {}

 private:
  StartedPlugin m_started;
};

}  // namespace bench

#endif

// A loaded plug-in with all its entry points, as the interface's one list has them.
#ifndef SUPPORT_LOADED_PLUGIN_H
#define SUPPORT_LOADED_PLUGIN_H

#include <string>

#include "kfi.h"
#include "support/plugin_library.h"

// The functions of one plug-in, named without the plug-in's own name.
struct EntryPoints {
// NOLINTNEXTLINE(bugprone-macro-parentheses): these are a type and a list of parameters.
#define FI_ENTRY_POINT(suffix, result, parameters) result(*suffix) parameters = nullptr;
#include "cfientrypoints.def"
};

class LoadedPlugin : public PluginLibrary {
 public:
  LoadedPlugin(const std::string& path, const std::string& provider) : PluginLibrary(path) {
#define FI_ENTRY_POINT(suffix, result, parameters) find(provider + "_" #suffix, m_entries.suffix);
#include "cfientrypoints.def"
  }

  const EntryPoints* operator->() const {
    return &m_entries;
  }
  const EntryPoints& operator*() const {
    return m_entries;
  }

 private:
  EntryPoints m_entries;
};

#endif

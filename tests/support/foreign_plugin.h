// What a foreign framework calls, found in the loaded library by name.
#ifndef SUPPORT_FOREIGN_PLUGIN_H
#define SUPPORT_FOREIGN_PLUGIN_H

#include <string>

#include "support/foreign_framework.h"
#include "support/plugin_library.h"

// The exports of the plug-in, by their names without "qmfsfi_fi_pgn_".
struct PluginFunctions {
  PluginFunctions() = default;
  explicit PluginFunctions(const PluginLibrary& library) {
#define FIND(name, result, parameters) library.find("qmfsfi_fi_pgn_" #name, name);
    FOREIGN_ENTRY_POINTS(FIND)
#undef FIND
#define FIND(name, result, parameters) library.find(#name, name);
    FOREIGN_HELPERS(FIND)
#undef FIND
  }

// NOLINTNEXTLINE(bugprone-macro-parentheses): these are a type and a list of parameters.
#define MEMBER(name, result, parameters) result(*name) parameters = nullptr;
  FOREIGN_ENTRY_POINTS(MEMBER)
  FOREIGN_HELPERS(MEMBER)
};

// The framework's own functions, which the plug-in's dependencies have.
struct FrameworkFunctions {
  FrameworkFunctions() = default;
  explicit FrameworkFunctions(const PluginLibrary& library) {
#define FIND(name, result, parameters) library.find(#name, name);
    FOREIGN_FRAMEWORK_FUNCTIONS(FIND)
#undef FIND
  }

  FOREIGN_FRAMEWORK_FUNCTIONS(MEMBER)
#undef MEMBER
};

// Both.
struct ForeignFunctions : PluginFunctions, FrameworkFunctions {
  explicit ForeignFunctions(const PluginLibrary& library) : PluginFunctions(library), FrameworkFunctions(library) {}
};

// The loaded plug-in with all that is called of it.
class ForeignPlugin : public PluginLibrary {
 public:
  explicit ForeignPlugin(const std::string& path) : PluginLibrary(path), call(*this) {}

  const ForeignFunctions call;
};

#endif

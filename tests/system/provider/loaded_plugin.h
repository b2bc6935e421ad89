// The built plug-in as a framework uses it: loaded, started, and called through its exports only.
#ifndef LOADED_PLUGIN_H
#define LOADED_PLUGIN_H

#include <cstdint>
#include <deque>
#include <string>
#include <vector>

#include "support/foreign_plugin.h"
#include "support/temporary_directory.h"

namespace provider_test {

// A text for a parameter that is not const but only read.
inline char* readOnly(const char* text) {
  return const_cast<char*>(text);
}

// Started when made, its trace log in a directory of its own; stopped, with all nodes de-initialised, when it goes.
// Throws std::runtime_error when the plug-in cannot be loaded or started.
class LoadedPlugin {
 public:
  LoadedPlugin();
  LoadedPlugin(const LoadedPlugin&) = delete;
  LoadedPlugin& operator=(const LoadedPlugin&) = delete;
  ~LoadedPlugin();

  const ForeignFunctions& call() const { return m_functions; }

  qmfi_objid* object(const std::string& name) const;
  // A node of that name, zeroed otherwise.
  kfi_domain& node(const std::string& name);
  // The node of a mounted file system, initialised with a configuration domain.
  kfi_domain& initialisedNode(const std::string& mountPoint);

  // The state of a node as the provider hands it out, empty when it does not; and the result of storing one.
  std::string fetchState(kfi_domain& node) const;
  int storeState(kfi_domain& node, std::string state) const;

  // The commands that were traced since the last call of this function, in order.
  std::vector<std::string> commands();

 private:
  const TemporaryDirectory m_directory;
  const ForeignFunctions& m_functions;
  std::deque<kfi_domain> m_nodes;
  kfi_domain* m_configuration = nullptr;
  std::size_t m_commandsSeen = 0;
};

}  // namespace provider_test

#endif

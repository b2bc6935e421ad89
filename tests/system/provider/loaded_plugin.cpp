// Loading and starting the plug-in, and its nodes.
#include "loaded_plugin.h"

#include <dlfcn.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace provider_test {

namespace {

constexpr const char* pluginFile = "/usr/lib/qmfi/providers/libqmfsfi.so";

// It stays loaded: the ICU library that comes with it cannot be loaded again in the same process.
void* library() {
  static void* const loaded = dlopen(pluginFile, RTLD_NOW | RTLD_LOCAL);
  if (loaded == nullptr) throw std::runtime_error(dlerror());
  return loaded;
}

template <typename Function>
void find(const std::string& name, Function*& function) {
  function = reinterpret_cast<Function*>(dlsym(library(), name.c_str()));
  if (function == nullptr) throw std::runtime_error(name + " is not exported");
}

PluginFunctions functions() {
  PluginFunctions found;
#define FIND(name, result, parameters) find("qmfsfi_fi_pgn_" #name, found.name);
  FOREIGN_ENTRY_POINTS(FIND)
#undef FIND
#define FIND(name, result, parameters) find(#name, found.name);
  FOREIGN_HELPERS(FIND)
  FOREIGN_FRAMEWORK_FUNCTIONS(FIND)
#undef FIND
  return found;
}

}  // namespace

LoadedPlugin::LoadedPlugin() : m_functions(functions()) {
  std::string directory = std::filesystem::temp_directory_path() / "plugin-system.XXXXXX";
  if (mkdtemp(directory.data()) == nullptr) throw std::runtime_error("no directory for the trace log");
  m_directory = directory;
  setenv("QMFI_LOG_DIR", m_directory.c_str(), 1);
  setenv("QMFI_TRACE_LEVEL", "3", 1);
  kfi_version version{{1, 0, 0, 0}};
  if (m_functions.init(nullptr, &version, nullptr) != 0) throw std::runtime_error("the plug-in does not start");
}

LoadedPlugin::~LoadedPlugin() {
  for (kfi_domain& node : m_nodes) m_functions.deinit_node(&node);
  m_functions.fini();
  std::error_code ignored;
  std::filesystem::remove_all(m_directory, ignored);
}

qmfi_objid* LoadedPlugin::object(const std::string& name) const {
  return m_functions.qmfi_get_objid(name.c_str(), static_cast<std::uint32_t>(name.size()), 1);
}

kfi_domain& LoadedPlugin::node(const std::string& name) {
  kfi_domain& domain = m_nodes.emplace_back();
  domain.fid_objid = object(name);
  domain.fid_name = domain.fid_objid->vid_name;
  domain.fid_provider = readOnly("qmfsfi");
  return domain;
}

kfi_domain& LoadedPlugin::initialisedNode(const std::string& mountPoint) {
  if (m_configuration == nullptr) {
    m_configuration = &node("configuration");
    if (m_functions.init_node(m_configuration, nullptr, 0, nullptr) != 0) {
      throw std::runtime_error("the configuration domain cannot be initialised");
    }
  }
  kfi_domain& domain = node(mountPoint);
  if (m_functions.init_node(&domain, &m_configuration, 1, nullptr) != 0) {
    throw std::runtime_error(mountPoint + " cannot be initialised");
  }
  return domain;
}

std::string LoadedPlugin::fetchState(kfi_domain& node) const {
  constexpr kfi_op_providerstate fetch = 1;
  kfi_blob blob{};
  if (m_functions.process_providerstate(&node, &blob, fetch) != 0 || blob.kb_buffer == nullptr) return {};
  std::string state = blob.kb_buffer;
  m_functions.qmfi_free_buf(blob.kb_buffer, blob.kb_length);
  return state;
}

int LoadedPlugin::storeState(kfi_domain& node, std::string state) const {
  constexpr kfi_op_providerstate store = 0;
  kfi_blob blob{state.size() + 1, state.data(), 1};
  return m_functions.process_providerstate(&node, &blob, store);
}

std::vector<std::string> LoadedPlugin::commands() {
  const std::string lead = " L3 Command : ";
  std::ifstream log(std::filesystem::path(m_directory) / "qmfsfi.log");
  std::vector<std::string> all;
  for (std::string line; std::getline(log, line);) {
    const auto start = line.find(lead);
    if (start != std::string::npos) all.push_back(line.substr(start + lead.size()));
  }
  const auto seen = static_cast<std::ptrdiff_t>(m_commandsSeen);
  m_commandsSeen = all.size();
  return {all.begin() + seen, all.end()};
}

}  // namespace provider_test

// Loading and starting the plug-in, and its nodes.
#include "loaded_plugin.h"

#include <cstdlib>
#include <stdexcept>

#include "support/trace_records.h"

namespace provider_test {

namespace {

constexpr const char* pluginFile = "/usr/lib/qmfi/providers/libqmfsfi.so";

// It stays loaded: the ICU library that comes with it cannot be loaded again in the same process.
const ForeignFunctions& functions() {
  static const ForeignPlugin loaded(pluginFile);
  return loaded.call;
}

}  // namespace

LoadedPlugin::LoadedPlugin() : m_functions(functions()) {
  setenv("QMFI_LOG_DIR", m_directory.path().c_str(), 1);
  setenv("QMFI_TRACE_LEVEL", "3", 1);
  kfi_version version{{1, 0, 0, 0}};
  if (m_functions.init(nullptr, &version, nullptr) != 0) throw std::runtime_error("the plug-in does not start");
}

LoadedPlugin::~LoadedPlugin() {
  for (kfi_domain& node : m_nodes) m_functions.deinit_node(&node);
  m_functions.fini();
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
  const std::string lead = "Command : ";
  std::vector<std::string> all;
  for (const TraceRecord& record : traceRecords(m_directory.file("qmfsfi.log"))) {
    if (record.level == 3 && record.text.starts_with(lead)) all.push_back(record.text.substr(lead.size()));
  }
  const auto seen = static_cast<std::ptrdiff_t>(m_commandsSeen);
  m_commandsSeen = all.size();
  return {all.begin() + seen, all.end()};
}

}  // namespace provider_test

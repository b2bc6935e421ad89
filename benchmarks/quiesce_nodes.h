// Quiesce nodes as a framework prepares them.
#pragma once

#include <cstdint>
#include <deque>
#include <stdexcept>
#include <string>
#include <vector>

#include "loaded_plugin.h"

namespace bench {

// One node for each path, with a configuration domain that they share. The plug-in must outlive them.
class QuiesceNodes {
 public:
  QuiesceNodes(const LoadedPlugin& plugin, std::vector<std::string> paths)
      : m_paths(std::move(paths)),
        m_identifier(plugin.function<Identifier>("qmfi_get_objid")),
        m_quiesce(plugin.entryPoint<Quiesce>("quiesce")),
        m_unquiesce(plugin.entryPoint<Unquiesce>("unquiesce")) {
    kfi_domain* const configuration = domain("configuration");
    const auto initNode = plugin.entryPoint<int(kfi_domain*, kfi_domain**, int, qmfi_objid*)>("init_node");
    if (initNode(configuration, nullptr, 0, nullptr) != 0) throw std::runtime_error("no configuration domain");
    for (const std::string& path : m_paths) {
      m_nodes.push_back({nullptr, domain(path), configuration});
      m_list.push_back(&m_nodes.back());
    }
  }

  // Throws when that fails.
  void quiesce() {
    const int status = m_quiesce(nullptr, m_list.data(), count(), nullptr);
    if (status != 0) throw std::runtime_error("not quiesced: status " + std::to_string(status));
  }
  void unquiesce() { m_unquiesce(nullptr, m_list.data(), count()); }

  int count() const { return static_cast<int>(m_list.size()); }
  const std::vector<std::string>& paths() const { return m_paths; }

 private:
  using Identifier = qmfi_objid*(const char*, std::uint32_t, std::int32_t);
  using Quiesce = int(kfi_quiescenode*, kfi_quiescenode**, int, char*);
  using Unquiesce = void(kfi_quiescenode*, kfi_quiescenode**, int);

  kfi_domain* domain(const std::string& name) {
    kfi_domain& made = m_domains.emplace_back();
    made.fid_objid = m_identifier(name.c_str(), static_cast<std::uint32_t>(name.size()), 1);
    return &made;
  }

  std::vector<std::string> m_paths;
  Identifier* m_identifier;
  Quiesce* m_quiesce;
  Unquiesce* m_unquiesce;
  std::deque<kfi_domain> m_domains;
  std::deque<kfi_quiescenode> m_nodes;
  std::vector<kfi_quiescenode*> m_list;
};

}  // namespace bench

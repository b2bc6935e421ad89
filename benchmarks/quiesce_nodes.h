// Quiesce nodes as a framework prepares them.
#ifndef QUIESCE_NODES_H
#define QUIESCE_NODES_H

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
      : m_plugin(plugin), m_paths(std::move(paths)) {
    kfi_domain* const configuration = domain("configuration");
    if (plugin->fi_pgn_init_node(configuration, nullptr, 0, nullptr) != 0) {
      throw std::runtime_error("no configuration domain");
    }
    for (const std::string& path : m_paths) {
      m_nodes.push_back({nullptr, domain(path), configuration});
      m_list.push_back(&m_nodes.back());
    }
  }

  // Throws when that fails.
  void quiesce() {
    const int status = m_plugin->fi_pgn_quiesce(nullptr, m_list.data(), count(), nullptr);
    if (status != 0) throw std::runtime_error("not quiesced: status " + std::to_string(status));
  }
  void unquiesce() { m_plugin->fi_pgn_unquiesce(nullptr, m_list.data(), count()); }

  int count() const { return static_cast<int>(m_list.size()); }
  const std::vector<std::string>& paths() const { return m_paths; }

 private:
  kfi_domain* domain(const std::string& name) {
    kfi_domain& made = m_domains.emplace_back();
    made.fid_objid = m_plugin.identifier(name);
    return &made;
  }

  const LoadedPlugin& m_plugin;
  std::vector<std::string> m_paths;
  std::deque<kfi_domain> m_domains;
  std::deque<kfi_quiescenode> m_nodes;
  std::vector<kfi_quiescenode*> m_list;
};

}  // namespace bench

#endif

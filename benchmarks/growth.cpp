// How the cost of a snapshot grows with its nodes, the kernel's and the programs' part left out.
//
// Runs in the testbed, whose mount table it fills.
#include <malloc.h>

#include <cstdint>
#include <ctime>
#include <deque>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "comparison.h"
#include "loaded_plugin.h"

namespace {

namespace fs = std::filesystem;

constexpr int mostNodes = 256;
constexpr int repetitions = 25;

std::string mountPoint(int number) {
  return fs::temp_directory_path() / ("growth-" + std::to_string(number));
}

// All nodes are in the table at all times, the first ones everywhere in it, so that look-ups cost the same on the
// average however many nodes take part.
void fillMountTable() {
  std::ofstream table("/etc/mtab");
  for (int line = 0; line < mostNodes; ++line) {
    const int number = (line * 165 + mostNodes / 2) % mostNodes;
    fs::create_directory(mountPoint(number));
    table << "/dev/qm/dsk/dg1/growth-" << number << ' ' << mountPoint(number) << " qmfs rw,log 0 0\n";
  }
  if (!table.flush()) throw std::runtime_error("no mount table");
}

// One node with all that a framework keeps for it.
struct Node {
  std::string alternate;
  kfi_subobj_entry subObjects[2];
  kfi_domain domain;
  qmfi_objid* snapshotDevice;
};

class Snapshot {
 public:
  explicit Snapshot(const bench::LoadedPlugin& plugin) : m_plugin(plugin) {
    m_configuration.fid_objid = plugin.identifier("configuration");
    require(plugin->fi_pgn_init_node(&m_configuration, nullptr, 0, nullptr) == 0);
    for (int number = 0; number < mostNodes; ++number) {
      Node& node = m_nodes.emplace_back();
      node.alternate = mountPoint(number) + "_alt";
      node.subObjects[0] = {const_cast<char*>(""), node.alternate.data()};
      node.snapshotDevice = plugin.identifier("/dev/qm/dsk/dg1/growth-" + std::to_string(number) + "-snapshot");
      node.domain.fid_objid = plugin.identifier(mountPoint(number));
      node.domain.fid_provider = m_provider.data();
      node.domain.fid_subobjs = node.subObjects;
    }
  }
  Snapshot(const Snapshot&) = delete;
  Snapshot& operator=(const Snapshot&) = delete;
  ~Snapshot() { m_plugin->fi_pgn_deinit_node(&m_configuration); }

  void take(int count) {
    std::vector<kfi_quiescenode*> quiesceNodes;
    for (int number = 0; number < count; ++number) {
      kfi_domain* const domain = &m_nodes[static_cast<std::size_t>(number)].domain;
      kfi_domain* configuration = &m_configuration;
      qmfi_objid** groups = nullptr;
      int groupCount = 0;
      require(m_plugin->fi_pgn_claim(domain->fid_objid, &groups, &groupCount) == 1);
      require(m_plugin->fi_pgn_init_node(domain, &configuration, 1, nullptr) == 0);
      quiesceNodes.push_back(domain->fid_qnode);
    }
    require(m_plugin->fi_pgn_quiesce(nullptr, quiesceNodes.data(), count, nullptr) == 0);
    m_plugin->fi_pgn_unquiesce(nullptr, quiesceNodes.data(), count);
    for (int number = 0; number < count; ++number) {
      Node& node = m_nodes[static_cast<std::size_t>(number)];
      char id[] = "growth";
      qmfi_objid* alternate = nullptr;
      require(m_plugin->fi_pgn_build_alttree(&node.domain, id, nullptr, &node.snapshotDevice, 1, &alternate) == 0);
    }
  }

  void forget(int count) {
    for (int number = 0; number < count; ++number) {
      m_plugin->fi_pgn_deinit_node(&m_nodes[static_cast<std::size_t>(number)].domain);
    }
  }

 private:
  static void require(bool condition) {
    if (!condition) throw std::runtime_error("the plug-in did not do its part");
  }

  const bench::LoadedPlugin& m_plugin;
  std::string m_provider = "qmfsfi";
  kfi_domain m_configuration{};
  std::deque<Node> m_nodes;
};

// What the process has used of the processor, in microseconds: leaves out what other programs of the machine take.
double processorTime() {
  timespec used{};
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) * 1e6 + static_cast<double>(used.tv_nsec) / 1e3;
}

// Microseconds a node.
double timeNodes(Snapshot& snapshot, int count) {
  const double begin = processorTime();
  snapshot.take(count);
  const double time = processorTime() - begin;
  snapshot.forget(count);
  return time / count;
}

// What the nodes keep allocated, the framework's identifiers of their names left out: those were made by earlier runs.
bench::Comparison measureMemory(Snapshot& snapshot) {
  snapshot.take(mostNodes);
  snapshot.forget(mostNodes);
  const std::size_t before = mallinfo2().uordblks;
  snapshot.take(mostNodes);
  const std::size_t after = mallinfo2().uordblks;
  snapshot.forget(mostNodes);
  const double bytes = static_cast<double>(after - before) / mostNodes;
  return {"growth", "the plug-in's memory for a node", "", "bytes", {bytes}, {}, 2048};
}

}  // namespace

int main(int count, char** words) {
  if (count != 2) return 2;
  fillMountTable();
  const bench::LoadedPlugin plugin;
  Snapshot snapshot(plugin);
  std::map<int, std::vector<double>> times;
  for (int repetition = 0; repetition < repetitions; ++repetition) {
    for (int nodes = 1; nodes <= mostNodes; nodes *= 4) times[nodes].push_back(timeNodes(snapshot, nodes));
  }
  std::vector<bench::Comparison> results;
  for (int nodes = 4; nodes <= mostNodes; nodes *= 4) {
    results.push_back({"growth", "claim to build_alttree, a node of " + std::to_string(nodes),
                       "a node of " + std::to_string(nodes / 4), "us", times[nodes], times[nodes / 4], 1.1});
  }
  results.push_back(measureMemory(snapshot));
  bench::writeComparisons(words[1], results);
  return 0;
}

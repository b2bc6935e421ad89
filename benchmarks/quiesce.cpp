// Quiesce and thaw without the kernel's part: what the plug-in adds to opening, asking and closing.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdint>
#include <deque>
#include <filesystem>
#include <string>
#include <vector>

#include "free_driver.h"
#include "in_process.h"
#include "loaded_plugin.h"
#include "qmfs_ioctl.h"

namespace {

namespace fs = std::filesystem;

using Quiesce = int(kfi_quiescenode*, kfi_quiescenode**, int, char*);
using Unquiesce = void(kfi_quiescenode*, kfi_quiescenode**, int);

constexpr double allowedForNode = 2000;

// Nodes of directories, which can be opened as mount points are.
class Nodes {
 public:
  Nodes(const bench::LoadedPlugin& plugin, int count) {
    const auto identifier = plugin.function<qmfi_objid*(const char*, std::uint32_t, std::int32_t)>("qmfi_get_objid");
    const auto node = [&](const std::string& name) {
      kfi_domain& domain = m_domains.emplace_back();
      domain.fid_objid = identifier(name.c_str(), static_cast<std::uint32_t>(name.size()), 1);
      return &domain;
    };
    kfi_domain* const configuration = node("configuration");
    const auto initNode = plugin.entryPoint<int(kfi_domain*, kfi_domain**, int, qmfi_objid*)>("init_node");
    if (initNode(configuration, nullptr, 0, nullptr) != 0) throw std::runtime_error("no configuration domain");
    for (int number = 0; number < count; ++number) {
      const fs::path path = fs::temp_directory_path() / ("bench-quiesce-" + std::to_string(number));
      fs::create_directory(path);
      m_paths.push_back(path);
      m_nodes.push_back({nullptr, node(path), configuration});
      m_list.push_back(&m_nodes.back());
    }
  }

  kfi_quiescenode** list() { return m_list.data(); }
  int count() const { return static_cast<int>(m_list.size()); }
  const std::vector<std::string>& paths() const { return m_paths; }

 private:
  std::deque<kfi_domain> m_domains;
  std::deque<kfi_quiescenode> m_nodes;
  std::vector<kfi_quiescenode*> m_list;
  std::vector<std::string> m_paths;
};

void freezeAndThaw(const std::vector<std::string>& paths) {
  std::vector<int> descriptors;
  descriptors.reserve(paths.size());
  for (const std::string& path : paths) descriptors.push_back(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  qmfs_freeze_all request{static_cast<int>(descriptors.size()), 60, descriptors.data()};
  ioctl(descriptors[0], QM_FREEZE_ALL, &request);
  for (const int descriptor : descriptors) {
    ioctl(descriptor, QM_THAW, 0);
    close(descriptor);
  }
}

void compareQuiesce(const bench::LoadedPlugin& plugin, Nodes& nodes) {
  Quiesce* const quiesce = plugin.entryPoint<Quiesce>("quiesce");
  Unquiesce* const unquiesce = plugin.entryPoint<Unquiesce>("unquiesce");
  const auto ours = [=, &nodes](benchmark::State& state) {
    for (auto round : state) {
      const long before = bench::freezeRequests();
      if (quiesce(nullptr, nodes.list(), nodes.count(), nullptr) != 0) return state.SkipWithError("not quiesced");
      unquiesce(nullptr, nodes.list(), nodes.count());
      if (bench::freezeRequests() - before != nodes.count() + 1) return state.SkipWithError("not all thawed");
    }
  };
  const auto plain = [&nodes](benchmark::State& state) {
    for (auto round : state) freezeAndThaw(nodes.paths());
  };
  bench::compare("7", "quiesce and unquiesce, " + std::to_string(nodes.count()) + " file systems", ours,
                 {{"open, ioctl, close", plain, 1.10, allowedForNode * nodes.count()}}, {}, bench::Noise::measure);
}

}  // namespace

int main(int count, char** words) {
  const bench::LoadedPlugin plugin;
  std::deque<Nodes> nodes;
  for (const int fileSystems : {1, 4, 16, 64}) compareQuiesce(plugin, nodes.emplace_back(plugin, fileSystems));
  return bench::runComparisons(count, words);
}

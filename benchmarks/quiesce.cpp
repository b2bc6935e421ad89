// Quiesce and thaw without the kernel's part: what the plug-in adds to opening, asking and closing.
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "free_driver.h"
#include "in_process.h"
#include "qmfs_ioctl.h"
#include "quiesce_nodes.h"

namespace {

namespace fs = std::filesystem;

constexpr double allowedForNode = 2000;

// Directories, which can be opened as mount points are. They go with the private root.
std::vector<std::string> makeDirectories(int count) {
  std::vector<std::string> paths;
  for (int number = 0; number < count; ++number) {
    paths.push_back(fs::temp_directory_path() / ("bench-quiesce-" + std::to_string(number)));
    fs::create_directory(paths.back());
  }
  return paths;
}

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

void compareQuiesce(bench::QuiesceNodes& nodes) {
  const auto ours = [&nodes](benchmark::State& state) {
    for (auto round : state) {
      const long before = bench::freezeRequests();
      nodes.quiesce();
      nodes.unquiesce();
      if (bench::freezeRequests() - before != nodes.count() + 1) return state.SkipWithError("not all thawed");
    }
  };
  const auto plain = [&nodes](benchmark::State& state) {
    for (auto round : state) freezeAndThaw(nodes.paths());
  };
  bench::compare("7", "quiesce and unquiesce, file systems: " + std::to_string(nodes.count()), ours,
                 {{"open, ioctl, close", plain, 1.10, allowedForNode * nodes.count()}}, {.noise = true});
}

}  // namespace

int main(int count, char** words) {
  const bench::LoadedPlugin plugin;
  std::deque<bench::QuiesceNodes> nodes;
  for (const int fileSystems : {1, 4, 16, 64}) compareQuiesce(nodes.emplace_back(plugin, makeDirectories(fileSystems)));
  return bench::runComparisons(count, words);
}

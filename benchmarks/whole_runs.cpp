// Whole runs beside the external programs that they cannot do without: a plug-in's life, and a snapshot of 16 file
// systems.
//
// Runs in the testbed, with volumes mounted on /bench/0, /bench/1 and so on.
#include <chrono>
#include <functional>
#include <iostream>
#include <list>
#include <stdexcept>
#include <string>
#include <vector>

#include "common/loop_device.h"
#include "comparison.h"
#include "quiesce_nodes.h"
#include "volume.h"
#include "yardsticks/plain_spawn.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int lives = 25;
constexpr int snapshots = 15;
constexpr std::chrono::minutes programTime(10);

double millisecondsOf(const std::function<void()>& work) {
  const Clock::time_point begin = Clock::now();
  work();
  return std::chrono::duration<double, std::milli>(Clock::now() - begin).count();
}

void run(const std::vector<bench::Words>& programs) {
  std::string output;
  if (bench::spawnAndCapture(programs, output, programTime) != 0) {
    throw std::runtime_error(programs.back().front() + " failed: " + output);
  }
}

// The query that tells the plug-in whether its file system is installed.
void queryPackage() {
  run({{"/bin/rpm", "-qa"}, {"/bin/grep", "KRIBqmfs"}});
}

void compareLives(std::vector<bench::Comparison>& results) {
  const bench::PluginLibrary library;
  std::vector<double> ours;
  std::vector<double> programs;
  std::vector<double> programsAgain;
  for (int life = 0; life < lives; ++life) {
    ours.push_back(millisecondsOf([&] { const bench::StartedPlugin plugin(library); }));
    programs.push_back(millisecondsOf(queryPackage));
    programsAgain.push_back(millisecondsOf(queryPackage));
  }
  results.push_back({"12", "init to fini", "the package query's programs", "ms", ours, programs, 1.2});
  results.push_back({"A/A", "the package query's programs", "itself", "ms", programsAgain, programs, {}});
}

using Volumes = std::vector<std::unique_ptr<bench::Volume>>;

// What the programs of a snapshot need and are not timed with: devices of clones, taken as the host takes them.
class Clones {
 public:
  Clones(bench::QuiesceNodes& nodes, const Volumes& volumes) : m_volumes(volumes) {
    for (const auto& volume : volumes) volume->flush();
    nodes.quiesce();
    for (const auto& volume : volumes) volume->split();
    nodes.unquiesce();
    for (const auto& volume : volumes) m_devices.push_back(testbed::attachLoopDevice(volume->clone()));
  }
  Clones(const Clones&) = delete;
  Clones& operator=(const Clones&) = delete;
  ~Clones() {
    m_devices.clear();
    for (const auto& volume : m_volumes) volume->clean();
  }

  const std::list<testbed::LoopDevice>& devices() const { return m_devices; }

 private:
  const Volumes& m_volumes;
  std::list<testbed::LoopDevice> m_devices;
};

std::string alternateOf(const testbed::LoopDevice& device) {
  return "/bench/alternate-" + std::to_string(device.number);
}

void mountByPrograms(const Clones& clones) {
  queryPackage();
  for (const testbed::LoopDevice& device : clones.devices()) {
    run({{"/bin/mkdir", "-p", alternateOf(device)}});
    run({{"/bin/mount", "-t", "qmfs", "-o", "ro", "/dev/loop" + std::to_string(device.number), alternateOf(device)}});
  }
}

double timePrograms(bench::QuiesceNodes& nodes, const Volumes& volumes) {
  const Clones clones(nodes, volumes);
  const double time = millisecondsOf([&] { mountByPrograms(clones); });
  for (const testbed::LoopDevice& device : clones.devices()) {
    run({{"/bin/umount", alternateOf(device)}});
    run({{"/bin/rmdir", alternateOf(device)}});
  }
  return time;
}

double timeSnapshot(const Volumes& volumes) {
  bench::Words create{"/usr/bin/qmfi", "snapshot", "create", "--name", "bench"};
  for (const auto& volume : volumes) create.push_back(volume->path());
  const double time = millisecondsOf([&] { run({create}); });
  run({{"/usr/bin/qmfi", "snapshot", "delete", "bench"}});
  return time;
}

void compareSnapshots(std::vector<bench::Comparison>& results) {
  const Volumes volumes = bench::mountedVolumes();
  std::vector<std::string> paths;
  for (const auto& volume : volumes) paths.push_back(volume->path());
  const bench::LoadedPlugin plugin;
  bench::QuiesceNodes nodes(plugin, paths);
  std::vector<double> ours;
  std::vector<double> programs;
  std::vector<double> programsAgain;
  for (int snapshot = 0; snapshot < snapshots; ++snapshot) {
    ours.push_back(timeSnapshot(volumes));
    programs.push_back(timePrograms(nodes, volumes));
    programsAgain.push_back(timePrograms(nodes, volumes));
  }
  const std::string what = "qmfi snapshot create, " + std::to_string(volumes.size()) + " XFS";
  results.push_back({"13", what, "its external programs", "ms", ours, programs, 1.25});
  results.push_back({"A/A", what + ": its external programs", "itself", "ms", programsAgain, programs, {}});
}

}  // namespace

int main(int count, char** words) {
  if (count != 2) return 2;
  std::vector<bench::Comparison> results;
  compareLives(results);
  compareSnapshots(results);
  bench::writeComparisons(words[1], results);
  return 0;
}

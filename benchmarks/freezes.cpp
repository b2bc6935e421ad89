// Freezing many file systems for a snapshot: how long live writers stand still, and how far apart.
//
// Runs in the testbed, with volumes mounted on /bench/0, /bench/1 and so on.
#include <linux/fs.h>
#include <sys/ioctl.h>

#include <chrono>
#include <exception>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "comparison.h"
#include "live_writers.h"
#include "quiesce_nodes.h"
#include "volume.h"
#include "yardsticks/plain_spawn.h"

namespace {

using namespace std::chrono_literals;

constexpr std::size_t dirtyMegabytes = 64;
// Right after a freeze the next one finds the kernel's work still done, as no snapshot does.
constexpr auto coolDown = 100ms;
constexpr auto programTime = 60s;

using Volumes = std::vector<const bench::Volume*>;

// The ways to hold volumes still while they are split. Each leaves nothing frozen, also when it throws.

void splitAll(const Volumes& volumes) {
  for (const bench::Volume* volume : volumes) volume->split();
}

// As the host does it.
void byPlugin(bench::QuiesceNodes& nodes, const Volumes& volumes) {
  for (const bench::Volume* volume : volumes) volume->flush();
  nodes.quiesce();
  try {
    splitAll(volumes);
  } catch (...) {
    nodes.unquiesce();
    throw;
  }
  nodes.unquiesce();
}

using Act = std::function<bool(const bench::Volume&)>;

void inTurn(const Volumes& volumes, const Act& freeze, const Act& thaw) {
  std::size_t frozen = 0;
  while (frozen < volumes.size() && freeze(*volumes[frozen])) ++frozen;
  std::exception_ptr error;
  try {
    if (frozen < volumes.size()) throw std::runtime_error("not frozen");
    splitAll(volumes);
  } catch (...) {
    error = std::current_exception();
  }
  for (std::size_t i = 0; i < frozen; ++i) thaw(*volumes[i]);
  if (error) std::rethrow_exception(error);
}

void byRequests(const Volumes& volumes) {
  inTurn(
      volumes, [](const bench::Volume& volume) { return ioctl(volume.directory(), FIFREEZE, 0) == 0; },
      [](const bench::Volume& volume) { return ioctl(volume.directory(), FITHAW, 0) == 0; });
}

bool runFsfreeze(const char* option, const bench::Volume& volume) {
  std::string output;
  return bench::spawnAndCapture({{"/sbin/fsfreeze", option, volume.path()}}, output, programTime) == 0;
}

void byPrograms(const Volumes& volumes) {
  inTurn(
      volumes, [](const bench::Volume& volume) { return runFsfreeze("-f", volume); },
      [](const bench::Volume& volume) { return runFsfreeze("-u", volume); });
}

enum class Load { idle, dirty };

std::vector<bench::Stall> watch(const std::function<void()>& way, const Volumes& volumes, Load load) {
  std::vector<std::string> paths;
  for (const bench::Volume* volume : volumes) paths.push_back(volume->path());
  for (const bench::Volume* volume : volumes) {
    if (load == Load::dirty) volume->makeDirty(dirtyMegabytes);
  }
  bench::LiveWriters writers(paths);
  std::this_thread::sleep_for(coolDown);
  way();
  const auto stalls = writers.stop();
  for (const bench::Volume* volume : volumes) volume->clean();
  return stalls;
}

void measure(const bench::LoadedPlugin& plugin, const Volumes& volumes, Load load,
             std::vector<bench::Comparison>& results) {
  const bool dirty = load == Load::dirty;
  const int repetitions = dirty ? 7 : 15;
  std::vector<std::string> paths;
  for (const bench::Volume* volume : volumes) paths.push_back(volume->path());
  bench::QuiesceNodes nodes(plugin, paths);
  std::vector<double> ours;
  std::vector<double> skew;
  std::vector<double> requests;
  std::vector<double> requestsAgain;
  std::vector<double> programs;
  for (int repetition = 0; repetition < repetitions; ++repetition) {
    const auto stalls = watch([&] { byPlugin(nodes, volumes); }, volumes, load);
    ours.push_back(bench::longestStall(stalls));
    skew.push_back(bench::greatestSkew(stalls));
    requests.push_back(bench::longestStall(watch([&] { byRequests(volumes); }, volumes, load)));
    programs.push_back(bench::longestStall(watch([&] { byPrograms(volumes); }, volumes, load)));
    requestsAgain.push_back(bench::longestStall(watch([&] { byRequests(volumes); }, volumes, load)));
  }
  const bool most = volumes.size() == 16;
  const std::string what = std::to_string(volumes.size()) + (dirty ? " XFS, 64 MB dirty each" : " XFS, idle");
  const bench::PlotPlace place{"frozen window", dirty ? "64 MB dirty each" : "idle",
                               static_cast<double>(volumes.size())};
  bench::Comparison serial{"8", "writer's stall, " + what, "FIFREEZE in turn", "ms", ours, requests, {}, 0, place};
  if (most) serial.goal = dirty ? 0.06 : 0.10;
  results.push_back(serial);
  results.push_back({"8", "writer's stall, " + what, "fsfreeze in turn", "ms", ours, programs, {}, 0, place});
  results.push_back(
      {"A/A", "writer's stall, " + what + ": FIFREEZE in turn", "itself", "ms", requestsAgain, requests, {}});
  if (volumes.size() > 1) results.push_back({"8", "skew, " + what, "", "ms", skew, {}, 1.0});
}

}  // namespace

int main(int count, char** words) {
  if (count != 2) return 2;
  const bench::LoadedPlugin plugin;
  const auto volumes = bench::mountedVolumes();
  std::vector<bench::Comparison> results;
  for (const std::size_t fileSystems : {1U, 4U, 16U}) {
    Volumes chosen;
    for (std::size_t i = 0; i < fileSystems; ++i) chosen.push_back(volumes.at(i).get());
    measure(plugin, chosen, Load::idle, results);
    measure(plugin, chosen, Load::dirty, results);
  }
  bench::writeComparisons(words[1], results);
  return 0;
}

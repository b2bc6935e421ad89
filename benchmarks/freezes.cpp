// Freezing many file systems for a snapshot: how long live writers stand still, and how far apart.
//
// Runs in the testbed, with volumes mounted on /bench/0, /bench/1 and so on.
#include <linux/fs.h>
#include <sys/ioctl.h>

#include <string>
#include <vector>

#include "comparison.h"
#include "frozen_volumes.h"
#include "live_writers.h"
#include "quiesce_nodes.h"
#include "volume.h"

namespace {

using bench::Load;
using bench::Volumes;

// As the host does it.
void byPlugin(bench::QuiesceNodes& nodes, const Volumes& volumes) {
  for (const bench::Volume* volume : volumes) volume->flush();
  nodes.quiesce();
  try {
    bench::splitAll(volumes);
  } catch (...) {
    nodes.unquiesce();
    throw;
  }
  nodes.unquiesce();
}

void byRequests(const Volumes& volumes) {
  bench::splitInTurn(
      volumes, [](const bench::Volume& volume) { return ioctl(volume.directory(), FIFREEZE, 0) == 0; },
      [](const bench::Volume& volume) { return ioctl(volume.directory(), FITHAW, 0) == 0; });
}

void measure(const bench::LoadedPlugin& plugin, const Volumes& volumes, Load load,
             std::vector<bench::Comparison>& results) {
  const bool dirty = load == Load::dirty;
  const int repetitions = dirty ? 7 : 15;
  bench::QuiesceNodes nodes(plugin, bench::pathsOf(volumes));
  std::vector<double> ours;
  std::vector<double> skew;
  std::vector<double> requests;
  std::vector<double> requestsAgain;
  std::vector<double> programs;
  for (int repetition = 0; repetition < repetitions; ++repetition) {
    const auto stalls = bench::watch([&] { byPlugin(nodes, volumes); }, volumes, load);
    ours.push_back(bench::longestStall(stalls));
    skew.push_back(bench::greatestSkew(stalls));
    requests.push_back(bench::longestStall(bench::watch([&] { byRequests(volumes); }, volumes, load)));
    programs.push_back(bench::longestStall(bench::watch([&] { bench::splitByPrograms(volumes); }, volumes, load)));
    requestsAgain.push_back(bench::longestStall(bench::watch([&] { byRequests(volumes); }, volumes, load)));
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
    const Volumes chosen = bench::firstOf(volumes, fileSystems);
    measure(plugin, chosen, Load::idle, results);
    measure(plugin, chosen, Load::dirty, results);
  }
  bench::writeComparisons(words[1], results);
  return 0;
}

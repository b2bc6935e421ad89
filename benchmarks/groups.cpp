// Group snapshots of file systems that everybody has, taken by qmfi: how long live writers stand still, beside what an
// administrator would do with programs, how far apart, and how that grows.
//
// Runs in the testbed, with volumes mounted on /bench/0, /bench/1 and so on.
#include <iostream>
#include <string>
#include <vector>

#include "comparison.h"
#include "frozen_volumes.h"
#include "host_program.h"
#include "live_writers.h"
#include "volume.h"

namespace {

using bench::Comparison;
using bench::Load;
using bench::Volumes;

constexpr int idleRepetitions = 15;
constexpr int dirtyRepetitions = 7;
constexpr int growthRepetitions = 7;
constexpr std::size_t some = 64;
// So many meet the first and the last of very many file systems closely enough.
constexpr std::size_t writersOfMany = 16;

std::vector<bench::Stall> stallsOfASnapshot(const Volumes& volumes, Load load, std::size_t writers) {
  auto stalls = bench::watch([&] { bench::createSnapshot(bench::pathsOf(volumes)); }, volumes, load, writers);
  bench::deleteSnapshot();
  return stalls;
}

Comparison compareStalls(const std::string& row, const std::string& type, const Volumes& volumes, Load load,
                         double goal) {
  const bool isDirty = load == Load::dirty;
  std::vector<double> ours;
  std::vector<double> programs;
  for (int repetition = 0; repetition < (isDirty ? dirtyRepetitions : idleRepetitions); ++repetition) {
    ours.push_back(bench::longestStall(stallsOfASnapshot(volumes, load, volumes.size())));
    programs.push_back(bench::longestStall(bench::watch([&] { bench::splitByPrograms(volumes); }, volumes, load)));
  }
  const std::string what = "writer's stall by qmfi, " + std::to_string(volumes.size()) + " " + type +
                           (isDirty ? ", 64 MB dirty each" : ", idle");
  return {row, what, "fsfreeze in turn", "ms", ours, programs, goal};
}

Comparison measureSkew(const Volumes& volumes) {
  std::vector<double> skew;
  for (int repetition = 0; repetition < idleRepetitions; ++repetition) {
    skew.push_back(bench::greatestSkew(stallsOfASnapshot(volumes, Load::idle, volumes.size())));
  }
  return {"17", "skew by qmfi, " + std::to_string(volumes.size()) + " XFS and ext4", "", "ms", skew, {}, 2.0};
}

double stallOfEach(const Volumes& volumes) {
  return bench::longestStall(stallsOfASnapshot(volumes, Load::idle, writersOfMany)) /
         static_cast<double>(volumes.size());
}

Comparison compareGrowth(const Volumes& few, const Volumes& many) {
  std::vector<double> ofMany;
  std::vector<double> ofFew;
  for (int repetition = 0; repetition < growthRepetitions; ++repetition) {
    ofMany.push_back(stallOfEach(many));
    ofFew.push_back(stallOfEach(few));
  }
  const std::string what = "stall a file system by qmfi, of " + std::to_string(many.size());
  return {"18", what, "the same of " + std::to_string(few.size()), "ms", ofMany, ofFew, 1.1};
}

}  // namespace

int main(int count, char** words) {
  if (count != 3) return 2;
  const auto mounted = bench::mountedVolumes();
  const Volumes volumes = bench::firstOf(mounted, mounted.size());
  const std::string what = words[2];
  std::vector<Comparison> results;
  if (what == "xfs") {
    results.push_back(compareStalls("15", "XFS", volumes, Load::idle, 0.08));
    results.push_back(compareStalls("15", "XFS", volumes, Load::dirty, 0.03));
  } else if (what == "ext4") {
    results.push_back(compareStalls("16", "ext4", volumes, Load::idle, 0.10));
    results.push_back(compareStalls("16", "ext4", volumes, Load::dirty, 0.05));
  } else if (what == "many") {
    const Volumes few = bench::firstOf(mounted, some);
    results.push_back(measureSkew(few));
    results.push_back(compareGrowth(few, volumes));
  } else {
    std::cerr << "usage: " << words[0] << " RESULTS xfs|ext4|many\n";
    return 2;
  }
  bench::writeComparisons(words[1], results);
  return 0;
}

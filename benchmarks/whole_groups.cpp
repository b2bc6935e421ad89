// Whole commands of qmfi for file systems that everybody has: a snapshot of 16, beside the same done by programs one
// after another, and what it costs to ask where there are many snapshots.
//
// Runs in the testbed, with volumes mounted on /bench/0, /bench/1 and so on.
#include <sys/resource.h>

#include <chrono>
#include <functional>
#include <iostream>
#include <list>
#include <string>
#include <vector>

#include "common/loop_device.h"
#include "comparison.h"
#include "frozen_volumes.h"
#include "host_program.h"
#include "volume.h"

namespace {

using bench::Volumes;

constexpr int snapshots = 15;
constexpr int questions = 15;
constexpr int manySnapshots = 1000;

double millisecondsOf(const std::function<void()>& work) {
  const auto begin = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - begin).count();
}

std::string alternateOf(const testbed::LoopDevice& device) {
  return "/bench/alternate-" + std::to_string(device.number);
}

void mountByPrograms(const std::list<testbed::LoopDevice>& devices) {
  for (const testbed::LoopDevice& device : devices) {
    bench::runProgram({"/bin/mkdir", "-p", alternateOf(device)});
    bench::runProgram({"/bin/mount", "-o", "ro,nosuid,nodev,nouuid", "/dev/loop" + std::to_string(device.number),
                       alternateOf(device)});
  }
}

void unmount(const std::list<testbed::LoopDevice>& devices) {
  for (const testbed::LoopDevice& device : devices) {
    bench::runProgram({"/bin/umount", alternateOf(device)});
    bench::runProgram({"/bin/rmdir", alternateOf(device)});
  }
}

// The devices of the copies are not timed.
double timePrograms(const Volumes& volumes) {
  double time = millisecondsOf([&] { bench::splitByPrograms(volumes); });
  std::list<testbed::LoopDevice> devices;
  for (const bench::Volume* volume : volumes) devices.push_back(testbed::attachLoopDevice(volume->clone()));
  time += millisecondsOf([&] { mountByPrograms(devices); });
  unmount(devices);
  devices.clear();
  for (const bench::Volume* volume : volumes) volume->clean();
  return time;
}

bench::Comparison compareSnapshots(const Volumes& volumes) {
  std::vector<double> ours;
  std::vector<double> programs;
  for (int snapshot = 0; snapshot < snapshots; ++snapshot) {
    ours.push_back(millisecondsOf([&] { bench::createSnapshot(bench::pathsOf(volumes)); }));
    bench::deleteSnapshot();
    programs.push_back(timePrograms(volumes));
  }
  const std::string what = "qmfi snapshot create, " + std::to_string(volumes.size()) + " XFS, whole";
  return {"19", what, "programs in turn", "ms", ours, programs, 0.7};
}

double millisecondsOf(const timeval& time) {
  return static_cast<double>(time.tv_sec) * 1e3 + static_cast<double>(time.tv_usec) / 1e3;
}

// What the processors have worked for the programs that ran until now.
double processorTime() {
  rusage usage{};
  getrusage(RUSAGE_CHILDREN, &usage);
  return millisecondsOf(usage.ru_utime) + millisecondsOf(usage.ru_stime);
}

bench::Comparison measureQuestion(const std::string& what, const bench::Words& arguments, double goal) {
  std::vector<double> times;
  for (int question = 0; question < questions; ++question) {
    const double before = processorTime();
    bench::runHost(arguments);
    times.push_back(processorTime() - before);
  }
  return {"20", what + ", 1,000 snapshots, processor time", "", "ms", times, {}, goal};
}

}  // namespace

int main(int count, char** words) {
  if (count != 3) return 2;
  const auto mounted = bench::mountedVolumes();
  const Volumes volumes = bench::firstOf(mounted, mounted.size());
  const std::string what = words[2];
  std::vector<bench::Comparison> results;
  if (what == "create") {
    results.push_back(compareSnapshots(volumes));
  } else if (what == "questions") {
    for (int snapshot = 0; snapshot < manySnapshots; ++snapshot) {
      bench::createSnapshot(bench::pathsOf(volumes), "bench-" + std::to_string(snapshot));
    }
    results.push_back(measureQuestion("qmfi provider show", {"provider", "show"}, 15));
    results.push_back(measureQuestion("qmfi snapshot list", {"snapshot", "list"}, 40));
  } else {
    std::cerr << "usage: " << words[0] << " RESULTS create|questions\n";
    return 2;
  }
  bench::writeComparisons(words[1], results);
  return 0;
}

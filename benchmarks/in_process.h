// Benchmarks of what lies inside the process, run by Google Benchmark with all repetitions shuffled.
#ifndef IN_PROCESS_H
#define IN_PROCESS_H

#include <benchmark/benchmark.h>

#include <functional>
#include <string>
#include <vector>

#include "comparison.h"

namespace bench {

using Work = std::function<void(benchmark::State&)>;

// Another way to do the same work, and the highest ratio of the medians; 0 only informs.
struct Yardstick {
  std::string name;
  Work work;
  double goal = 0;
  double allowance = 0;  // in nanoseconds
};

// The processor's time leaves out what other programs of the machine take; real time counts waiting, too.
enum class Clock { processor, real };

struct Settings {
  int threads = 1;
  int repetitions = 25;
  double seconds = 0.01;  // of each repetition
  Clock clock = Clock::processor;
  // Whether the first yardstick is compared with itself as well.
  bool noise = false;
  PlotPlace plot = {};
};

// For work of that many threads. Several take turns, never the same ones: their waiting counts, and they are timed more
// often.
Settings settingsFor(int threads);

// Compares our way with each of the yardsticks.
void compare(const std::string& row, const std::string& what, const Work& ours,
             const std::vector<Yardstick>& yardsticks, const Settings& settings = {});

// Puts a result that was measured otherwise beside the others.
void addComparison(const Comparison& comparison);

// Runs what was registered. Arguments: the file for the results. Returns the program's exit status.
int runComparisons(int count, char** words);

}  // namespace bench

#endif

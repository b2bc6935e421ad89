// Benchmarks of what lies inside the process, run by Google Benchmark with all repetitions shuffled.
#include "in_process.h"

#include <condition_variable>
#include <iostream>
#include <map>
#include <mutex>
#include <thread>

namespace bench {

namespace {

// A comparison whose samples are those of two benchmarks, unless it has samples already.
struct Planned {
  Comparison comparison;
  std::string ours;
  std::string theirs;
};

std::vector<Planned>& plan() {
  static std::vector<Planned> planned;
  return planned;
}

class SampleCollector : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context&) override { return true; }

  void ReportRuns(const std::vector<Run>& runs) override {
    for (const Run& run : runs) {
      if (run.error_occurred) {
        std::cerr << run.benchmark_name() << ": " << run.error_message << '\n';
        failed = true;
      } else if (run.run_type == Run::RT_Iteration) {
        const bool real = !run.run_name.time_type.empty();
        samples[run.run_name.function_name].push_back(real ? run.GetAdjustedRealTime() : run.GetAdjustedCPUTime());
      }
    }
  }

  std::map<std::string, std::vector<double>> samples;
  bool failed = false;
};

// The C library leaves locks out until a process has had a second thread, and no host of ours has just one.
class IdleThread {
 public:
  IdleThread() : m_thread([this] { wait(); }) {}
  IdleThread(const IdleThread&) = delete;
  IdleThread& operator=(const IdleThread&) = delete;
  ~IdleThread() {
    {
      const std::lock_guard lock(m_mutex);
      m_ended = true;
    }
    m_changed.notify_one();
    m_thread.join();
  }

 private:
  void wait() {
    std::unique_lock lock(m_mutex);
    m_changed.wait(lock, [this] { return m_ended; });
  }

  std::mutex m_mutex;
  std::condition_variable m_changed;
  bool m_ended = false;
  std::thread m_thread;
};

std::string registerWork(const std::string& name, const Work& work, const Settings& settings) {
  auto* const registered = benchmark::RegisterBenchmark(name.c_str(), work)
                               ->Threads(settings.threads)
                               ->Repetitions(settings.repetitions)
                               ->MinTime(settings.seconds);
  if (settings.clock == Clock::real) registered->UseRealTime();
  return name;
}

}  // namespace

Settings settingsFor(int threads) {
  Settings settings;
  if (threads > 1) settings = {.threads = threads, .repetitions = 101, .clock = Clock::real};
  return settings;
}

void compare(const std::string& row, const std::string& what, const Work& ours,
             const std::vector<Yardstick>& yardsticks, const Settings& settings) {
  const std::string base = row + ": " + what + ", ";
  const std::string oursName = registerWork(base + "ours", ours, settings);
  for (const Yardstick& yardstick : yardsticks) {
    const std::string theirs = registerWork(base + yardstick.name, yardstick.work, settings);
    Comparison comparison{row, what, yardstick.name, "ns", {}, {}, {}, yardstick.allowance, settings.plot};
    if (yardstick.goal > 0) comparison.goal = yardstick.goal;
    plan().push_back({comparison, oursName, theirs});
    if (settings.noise && &yardstick == &yardsticks.front()) {
      const std::string again = registerWork(base + yardstick.name + " again", yardstick.work, settings);
      plan().push_back({{"A/A", what + ": " + yardstick.name, "itself", "ns", {}, {}, {}}, again, theirs});
    }
  }
}

void addComparison(const Comparison& comparison) {
  plan().push_back({comparison, {}, {}});
}

int runComparisons(int count, char** words) {
  if (count != 2) {
    std::cerr << "usage: " << words[0] << " RESULTS\n";
    return 2;
  }
  std::string interleaving = "--benchmark_enable_random_interleaving=true";
  int optionCount = 2;
  char* options[] = {words[0], interleaving.data(), nullptr};
  benchmark::Initialize(&optionCount, options);

  const IdleThread idle;
  SampleCollector collector;
  benchmark::RunSpecifiedBenchmarks(&collector);
  std::vector<Comparison> comparisons;
  for (Planned& planned : plan()) {
    if (!planned.ours.empty()) {
      planned.comparison.ours = collector.samples[planned.ours];
      planned.comparison.theirs = collector.samples[planned.theirs];
    }
    comparisons.push_back(planned.comparison);
  }
  writeComparisons(words[1], comparisons);
  return collector.failed ? 1 : 0;
}

}  // namespace bench

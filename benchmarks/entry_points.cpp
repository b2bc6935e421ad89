// What an entry point costs around its operation, with tracing filtered.
#include "allocation_count.h"
#include "comparison.h"
#include "in_process.h"
#include "loaded_plugin.h"
#include "yardsticks/entry_point_locks.h"

namespace {

// An operation that the provider leaves to the framework, which does nothing: only the way there is left.
using EntryPoint = int(kfi_domain*);

bench::Comparison countAllocations(EntryPoint* entryPoint) {
  constexpr int calls = 1000;
  entryPoint(nullptr);
  const std::size_t before = bench::allocationCount();
  for (int call = 0; call < calls; ++call) entryPoint(nullptr);
  const auto made = static_cast<double>(bench::allocationCount() - before);
  return {"1", "allocations in 1000 calls", "", "allocations", {made}, {}, 0, 0};
}

void compareCalls(EntryPoint* entryPoint, bench::EntryPointLocks& locks, int threads, double goal) {
  const auto ours = [=](benchmark::State& state) {
    for (auto round : state) benchmark::DoNotOptimize(entryPoint(nullptr));
  };
  const auto theirs = [&locks](benchmark::State& state) {
    for (auto round : state) locks.take();
  };
  const bool alone = threads == 1;
  bench::Settings settings = bench::settingsFor(threads);
  settings.noise = true;
  settings.repetitions = 101;
  bench::compare(alone ? "1" : "2", alone ? "entry point" : "entry point, 2 threads", ours,
                 {{"its locks alone", theirs, goal}}, settings);
}

}  // namespace

int main(int count, char** words) {
  const bench::LoadedPlugin plugin;
  EntryPoint* const entryPoint = plugin->fi_pgn_pre_prepare;
  bench::EntryPointLocks locks;
  bench::addComparison(countAllocations(entryPoint));
  compareCalls(entryPoint, locks, 1, 1.10);
  compareCalls(entryPoint, locks, 2, 1.05);
  return bench::runComparisons(count, words);
}

// The report: reads what the benchmarks measured, prints one table, and writes it as JSON and for gnuplot.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "plots.h"
#include "result.h"
#include "table.h"

namespace {

// One for each work, however often it was measured.
std::vector<bench::Result> resultsIn(const std::vector<std::string>& paths) {
  std::vector<bench::Comparison> measured;
  for (const std::string& path : paths) {
    for (const bench::Comparison& comparison : bench::readComparisons(path)) measured.push_back(comparison);
  }
  std::vector<bench::Result> results;
  for (const bench::Comparison& comparison : bench::pooled(measured)) results.push_back(bench::judge(comparison));
  return results;
}

bool hasAny(const std::vector<bench::Result>& results, bench::Verdict verdict) {
  return std::any_of(results.begin(), results.end(),
                     [&](const bench::Result& result) { return result.verdict == verdict; });
}

}  // namespace

int main(int count, char** words) {
  CLI::App report("Judges what the benchmarks measured.");
  bool isQuestion = false;
  std::string jsonPath;
  std::string plotDirectory;
  bool strict = false;
  std::vector<std::string> paths;
  report.add_flag("--undecided", isQuestion, "Print nothing; succeed if a goal lies within the spread.");
  report.add_option("--json", jsonPath, "Write the results to this file.");
  report.add_option("--plots", plotDirectory, "Write the lines of the plots to files in this directory.");
  report.add_flag("--strict", strict, "Fail where a goal is missed.");
  report.add_option("MEASURED", paths, "What the benchmarks wrote.")->required();
  CLI11_PARSE(report, count, words);

  try {
    std::vector<bench::Result> results = resultsIn(paths);
    if (isQuestion) return hasAny(results, bench::Verdict::undecided) ? 0 : 1;
    // The noise stands together, at the end.
    std::stable_partition(results.begin(), results.end(),
                          [](const bench::Result& result) { return result.comparison.row != "A/A"; });
    bench::printTable(results);
    if (!jsonPath.empty()) bench::writeResults(jsonPath, results);
    if (!plotDirectory.empty()) bench::writePlots(plotDirectory, results);
    return strict && hasAny(results, bench::Verdict::missed) ? 1 : 0;
  } catch (const std::exception& error) {
    std::cerr << "bench_report: " << error.what() << '\n';
    return 1;
  }
}

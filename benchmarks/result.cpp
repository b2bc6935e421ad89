// A comparison with its medians and whether it met its goal.
#include "result.h"

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "statistics.h"

namespace bench {

Result judge(const Comparison& comparison) {
  const auto& [ours, theirs] = std::tie(comparison.ours, comparison.theirs);
  Result result{comparison, median(ours), median(theirs), {}, 0, {}};
  double limit = comparison.goal.value_or(0);
  if (theirs.empty()) {
    result.spread = result.ours > 0 ? spread(ours) / result.ours : 0;
  } else {
    result.ratio = result.ours / result.theirs;
    std::vector<double> ratios;
    for (std::size_t i = 0; i < std::min(ours.size(), theirs.size()); ++i) ratios.push_back(ours[i] / theirs[i]);
    result.spread = spread(ratios);
    limit = limit * result.theirs + comparison.allowance;
  }
  if (comparison.goal) result.met = result.ours <= limit;
  return result;
}

void writeResults(const std::string& path, const std::vector<Result>& results) {
  nlohmann::json list = nlohmann::json::array();
  for (const Result& result : results) {
    const Comparison& comparison = result.comparison;
    nlohmann::json entry{
        {"row", comparison.row},   {"what", comparison.what},
        {"unit", comparison.unit}, {"ours", result.ours},
        {"spread", result.spread}, {"samples", {{"ours", comparison.ours}, {"theirs", comparison.theirs}}}};
    if (result.ratio) {
      entry["yardstick"] = comparison.yardstick;
      entry["theirs"] = result.theirs;
      entry["ratio"] = *result.ratio;
    }
    if (result.met) {
      entry["goal"] = *comparison.goal;
      entry["allowance"] = comparison.allowance;
      entry["met"] = *result.met;
    }
    list.push_back(entry);
  }
  std::ofstream file(path);
  file << list.dump(1) << '\n';
  if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

}  // namespace bench

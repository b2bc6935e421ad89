// A comparison with its medians and whether it met its goal.
#include "result.h"

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <tuple>

#include "statistics.h"

namespace bench {

namespace {

std::vector<double> ratiosOf(const std::vector<double>& ours, const std::vector<double>& theirs) {
  std::vector<double> ratios;
  for (std::size_t i = 0; i < std::min(ours.size(), theirs.size()); ++i) ratios.push_back(ours[i] / theirs[i]);
  return ratios;
}

// lowest, highest: what the measured value may really be.
Verdict verdictOn(double lowest, double highest, double limit) {
  if (highest <= limit) return Verdict::met;
  return lowest > limit ? Verdict::missed : Verdict::undecided;
}

bool isSameWork(const Comparison& one, const Comparison& other) {
  return std::tie(one.row, one.what, one.yardstick) == std::tie(other.row, other.what, other.yardstick);
}

}  // namespace

Result judge(const Comparison& comparison) {
  const std::vector<double>& ours = comparison.ours;
  const std::vector<double>& theirs = comparison.theirs;
  Result result{comparison, median(ours), median(theirs), {}, 0, Verdict::informs};
  double limit = comparison.goal.value_or(0);
  double spreadOfOurs = 0;
  if (theirs.empty()) {
    spreadOfOurs = spread(ours) / 2;
    result.spread = result.ours > 0 ? spreadOfOurs / result.ours : 0;
  } else {
    result.ratio = result.ours / result.theirs;
    result.spread = spread(ratiosOf(ours, theirs)) / 2;
    spreadOfOurs = result.spread * result.theirs;
    limit = limit * result.theirs + comparison.allowance;
  }
  if (comparison.goal) result.verdict = verdictOn(result.ours - spreadOfOurs, result.ours + spreadOfOurs, limit);
  return result;
}

std::vector<Comparison> pooled(const std::vector<Comparison>& comparisons) {
  std::vector<Comparison> pool;
  for (const Comparison& comparison : comparisons) {
    const auto same =
        std::find_if(pool.begin(), pool.end(), [&](const Comparison& one) { return isSameWork(one, comparison); });
    if (same == pool.end()) {
      pool.push_back(comparison);
      continue;
    }
    same->ours.insert(same->ours.end(), comparison.ours.begin(), comparison.ours.end());
    same->theirs.insert(same->theirs.end(), comparison.theirs.begin(), comparison.theirs.end());
  }
  return pool;
}

std::string verdictText(Verdict verdict) {
  switch (verdict) {
    case Verdict::informs:
      return "";
    case Verdict::met:
      return "met";
    case Verdict::missed:
      return "MISSED";
    case Verdict::undecided:
      return "undecided";
  }
  return "";
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
    if (comparison.goal) {
      entry["goal"] = *comparison.goal;
      entry["allowance"] = comparison.allowance;
      entry["verdict"] = verdictText(result.verdict);
    }
    list.push_back(entry);
  }
  std::ofstream file(path);
  file << list.dump(1) << '\n';
  if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

}  // namespace bench

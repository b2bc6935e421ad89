// A comparison with its medians and whether it met its goal.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "comparison.h"

namespace bench {

struct Result {
  Comparison comparison;
  double ours = 0;  // medians, in the comparison's unit
  double theirs = 0;
  std::optional<double> ratio;  // none without a yardstick
  // The distance between the quartiles of the pairs' ratios; without a yardstick of our samples, as a share of the
  // median.
  double spread = 0;
  std::optional<bool> met;  // none without a goal
};

Result judge(const Comparison& comparison);

// Writes them as JSON for other programs. Throws std::runtime_error when that fails.
void writeResults(const std::string& path, const std::vector<Result>& results);

}  // namespace bench

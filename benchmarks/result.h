// A comparison with its medians and whether it met its goal.
#ifndef RESULT_H
#define RESULT_H

#include <optional>
#include <string>
#include <vector>

#include "comparison.h"

namespace bench {

// How what was measured stands to the goal.
enum class Verdict {
  informs,  // there is no goal
  met,      // the goal lies outside the spread, on either side
  missed,
  undecided,  // the goal lies within the spread
};

struct Result {
  Comparison comparison;
  double ours = 0;  // medians, in the comparison's unit
  double theirs = 0;
  std::optional<double> ratio;  // none without a yardstick
  // Half the distance between the quartiles of the pairs' ratios; without a yardstick of our samples, as a share of the
  // median.
  double spread = 0;
  Verdict verdict = Verdict::informs;
};

Result judge(const Comparison& comparison);

// One comparison for those of the same work, with the samples of them all; in the order of the first of each.
std::vector<Comparison> pooled(const std::vector<Comparison>& comparisons);

// As the table has it; empty where there is no goal.
std::string verdictText(Verdict verdict);

// Writes them as JSON for other programs. Throws std::runtime_error when that fails.
void writeResults(const std::string& path, const std::vector<Result>& results);

}  // namespace bench

#endif

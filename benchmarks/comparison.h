// What a benchmark measured: our way of doing some work beside a yardstick, and what it is held to.
#ifndef COMPARISON_H
#define COMPARISON_H

#include <optional>
#include <string>
#include <vector>

namespace bench {

// Where medians stand in the picture.
struct PlotPlace {
  std::string plot;     // which of its plots; empty when in none
  std::string variant;  // the kind of work, where a plot shows each way's line more than once
  double place = 0;     // on the horizontal axis
};

// One line of the table. Samples are in `unit`; where there are two lists, they were taken in turn.
struct Comparison {
  std::string row;        // comparisons of one row stand together in the table
  std::string what;       // the work
  std::string yardstick;  // the other way to do it; empty when there is none
  std::string unit;
  std::vector<double> ours;
  std::vector<double> theirs;
  // The highest ratio of the medians, or without a yardstick the highest median; none: only informs.
  std::optional<double> goal;
  // What our median may have beyond the goal's share of the yardstick, in the unit.
  double allowance = 0;
  PlotPlace plot = {};
};

// Writes them as JSON for the report, and reads them there. Both throw std::runtime_error when that fails.
void writeComparisons(const std::string& path, const std::vector<Comparison>& comparisons);
std::vector<Comparison> readComparisons(const std::string& path);

}  // namespace bench

#endif

// The results as a table, for column.
#include "table.h"

#include <iomanip>
#include <iostream>
#include <map>
#include <sstream>

namespace bench {

namespace {

std::string number(double value, int digits) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(digits) << value;
  return text.str();
}

std::string goalText(const Comparison& comparison) {
  if (!comparison.goal) return "";
  std::string text =
      comparison.theirs.empty() ? quantity(*comparison.goal, comparison.unit) : number(*comparison.goal, 2) + "x";
  if (comparison.allowance > 0) text += " + " + quantity(comparison.allowance, comparison.unit);
  return "<= " + text;
}

std::vector<std::string> cells(const Result& result) {
  const Comparison& comparison = result.comparison;
  return {comparison.row,
          comparison.what,
          quantity(result.ours, comparison.unit),
          comparison.yardstick,
          result.ratio ? quantity(result.theirs, comparison.unit) : "",
          result.ratio ? number(*result.ratio, 3) : "",
          "+-" + number(result.spread, 3),
          goalText(comparison),
          verdictText(result.verdict)};
}

}  // namespace

std::string quantity(double value, const std::string& unit) {
  static const std::map<std::string, std::string> larger{{"ns", "us"}, {"us", "ms"}, {"ms", "s"}};
  std::string shownUnit = unit;
  for (auto next = larger.find(shownUnit); value >= 10000 && next != larger.end(); next = larger.find(shownUnit)) {
    value /= 1000;
    shownUnit = next->second;
  }
  int digits = value < 10 ? 2 : 1;
  if (value >= 1000) digits = 0;
  return number(value, digits) + " " + shownUnit;
}

void printTable(const std::vector<Result>& results) {
  std::cout << "row\twhat\tours\tyardstick\t\tratio\tspread\tgoal\tverdict\n";
  for (const Result& result : results) {
    for (const std::string& cell : cells(result)) std::cout << cell << '\t';
    std::cout << '\n';
  }
}

}  // namespace bench

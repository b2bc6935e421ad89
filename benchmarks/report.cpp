// The report: reads what the benchmarks measured, prints one table, and writes it as JSON.
#include <fstream>
#include <iomanip>
#include <iostream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "statistics.h"

namespace {

using nlohmann::json;

std::string number(double value, int digits) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(digits) << value;
  return text.str();
}

// A time or size in few digits, with its unit.
std::string quantity(double value, const std::string& unit) {
  int digits = value < 10 ? 2 : 1;
  std::string shownUnit = unit;
  static const std::map<std::string, std::string> larger{{"ns", "us"}, {"us", "ms"}, {"ms", "s"}};
  for (auto next = larger.find(shownUnit); value >= 10000 && next != larger.end(); next = larger.find(shownUnit)) {
    value /= 1000;
    shownUnit = next->second;
  }
  if (value >= 1000) digits = 0;
  return number(value, digits) + " " + shownUnit;
}

std::string goalText(const json& line) {
  if (!line.contains("goal")) return "";
  const double goal = line["goal"];
  std::string text = line["yardstick"] == "" ? quantity(goal, line["unit"]) : number(goal, 2) + "x";
  if (line["allowance"] > 0) text += " + " + quantity(line["allowance"], line["unit"]);
  return "<= " + text;
}

// Adds medians, ratio, spread and verdict to one comparison.
void judge(json& line) {
  const auto ours = line["ours"].get<std::vector<double>>();
  const auto theirs = line["theirs"].get<std::vector<double>>();
  const double oursMedian = bench::median(ours);
  line["oursMedian"] = oursMedian;
  if (theirs.empty()) {
    line["spread"] = bench::spread(ours) / oursMedian;
    if (line.contains("goal")) line["met"] = oursMedian <= line["goal"];
    return;
  }
  const double theirsMedian = bench::median(theirs);
  line["theirsMedian"] = theirsMedian;
  line["ratio"] = oursMedian / theirsMedian;
  std::vector<double> ratios;
  for (std::size_t i = 0; i < std::min(ours.size(), theirs.size()); ++i) ratios.push_back(ours[i] / theirs[i]);
  line["spread"] = bench::spread(ratios);
  if (line.contains("goal")) {
    line["met"] =
        oursMedian <= static_cast<double>(line["goal"]) * theirsMedian + static_cast<double>(line["allowance"]);
  }
}

std::vector<std::string> cells(const json& line) {
  const bool compared = line.contains("ratio");
  return {line["row"],
          line["what"],
          quantity(line["oursMedian"], line["unit"]),
          line["yardstick"],
          compared ? quantity(line["theirsMedian"], line["unit"]) : "",
          compared ? number(line["ratio"], 3) : "",
          "+-" + number(static_cast<double>(line["spread"]) / 2, 3),
          goalText(line),
          !line.contains("met") ? ""
          : line["met"]         ? "met"
                                : "MISSED"};
}

void print(const std::vector<json>& lines) {
  std::vector<std::vector<std::string>> table{
      {"row", "what", "ours", "yardstick", "", "ratio", "spread", "goal", "met or not"}};
  for (const json& line : lines) table.push_back(cells(line));
  std::vector<std::size_t> widths(table.front().size());
  for (const auto& row : table) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  for (const auto& row : table) {
    std::string text;
    for (std::size_t i = 0; i < row.size(); ++i) text += row[i] + std::string(widths[i] + 2 - row[i].size(), ' ');
    text.erase(text.find_last_not_of(' ') + 1);
    std::cout << text << '\n';
  }
}

}  // namespace

int main(int count, char** words) {
  if (count < 3) {
    std::cerr << "usage: " << words[0] << " BENCH.JSON RESULTS...\n";
    return 2;
  }
  std::vector<json> lines;
  for (int i = 2; i < count; ++i) {
    std::ifstream file(words[i]);
    for (json& line : json::parse(file)) {
      judge(line);
      lines.push_back(line);
    }
  }
  print(lines);
  std::ofstream file(words[1]);
  file << json(lines).dump(1) << '\n';
  return file.flush() ? 0 : 1;
}

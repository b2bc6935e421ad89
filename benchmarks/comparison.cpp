// What a benchmark measured, written for the report.
#include "comparison.h"

#include <fstream>
#include <nlohmann/json.hpp>
#include <stdexcept>

namespace bench {

void writeComparisons(const std::string& path, const std::vector<Comparison>& comparisons) {
  nlohmann::json list = nlohmann::json::array();
  for (const Comparison& comparison : comparisons) {
    nlohmann::json entry{{"row", comparison.row},
                         {"what", comparison.what},
                         {"yardstick", comparison.yardstick},
                         {"unit", comparison.unit},
                         {"ours", comparison.ours},
                         {"theirs", comparison.theirs},
                         {"allowance", comparison.allowance},
                         {"plot", comparison.plot.plot},
                         {"variant", comparison.plot.variant},
                         {"place", comparison.plot.place}};
    if (comparison.goal) entry["goal"] = *comparison.goal;
    list.push_back(entry);
  }
  std::ofstream file(path);
  file << list.dump() << '\n';
  if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

std::vector<Comparison> readComparisons(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot read " + path);
  std::vector<Comparison> comparisons;
  for (const nlohmann::json& entry : nlohmann::json::parse(file)) {
    Comparison comparison{entry.at("row"),
                          entry.at("what"),
                          entry.at("yardstick"),
                          entry.at("unit"),
                          entry.at("ours"),
                          entry.at("theirs"),
                          {},
                          entry.at("allowance"),
                          {entry.at("plot"), entry.at("variant"), entry.at("place")}};
    if (entry.contains("goal")) comparison.goal = entry["goal"].get<double>();
    comparisons.push_back(comparison);
  }
  return comparisons;
}

}  // namespace bench

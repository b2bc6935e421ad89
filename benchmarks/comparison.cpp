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
                         {"allowance", comparison.allowance}};
    if (comparison.goal) entry["goal"] = *comparison.goal;
    list.push_back(entry);
  }
  std::ofstream file(path);
  file << list.dump() << '\n';
  if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

}  // namespace bench

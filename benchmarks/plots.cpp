// The results as lines of plots, for gnuplot.
#include "plots.h"

#include <algorithm>
#include <fstream>
#include <iomanip>
#include <map>
#include <stdexcept>
#include <utility>

namespace bench {

namespace {

// What the plots call our way.
const std::map<std::string, std::string> ourNames{
    {"frozen window", "plug-in"}, {"look-up", "plug-in"}, {"start", "command pipe"}};

struct Line {
  std::string title;
  std::map<double, double> seconds;  // the median at each place
};

struct Plot {
  std::vector<std::string> ways;
  std::vector<std::string> variants;
  std::map<std::pair<std::size_t, std::size_t>, Line> lines;  // by the numbers of way and variant
};

double inSeconds(double value, const std::string& unit) {
  static const std::map<std::string, double> factors{{"ns", 1e-9}, {"us", 1e-6}, {"ms", 1e-3}};
  return value * factors.at(unit);
}

// The number of a name, which is the next one for a name that is new.
std::size_t numberOf(const std::string& name, std::vector<std::string>& names) {
  const auto found = std::find(names.begin(), names.end(), name);
  const auto number = static_cast<std::size_t>(found - names.begin());
  if (found == names.end()) names.push_back(name);
  return number;
}

void addPoint(Plot& plot, const std::string& way, const PlotPlace& place, double seconds) {
  Line& line = plot.lines[{numberOf(way, plot.ways), numberOf(place.variant, plot.variants)}];
  line.title = place.variant.empty() ? way : way + ", " + place.variant;
  line.seconds[place.place] = seconds;
}

void writePlot(const std::string& path, const Plot& plot) {
  std::ofstream file(path);
  const char* betweenBlocks = "";
  for (const auto& [numbers, line] : plot.lines) {
    file << betweenBlocks << std::quoted(line.title) << '\n';
    for (const auto& [place, seconds] : line.seconds) file << place << ' ' << seconds << '\n';
    betweenBlocks = "\n\n";
  }
  if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

}  // namespace

void writePlots(const std::string& directory, const std::vector<Result>& results) {
  std::map<std::string, Plot> plots;
  for (const Result& result : results) {
    const Comparison& comparison = result.comparison;
    const PlotPlace& place = comparison.plot;
    if (place.plot.empty()) continue;
    Plot& plot = plots[place.plot];
    addPoint(plot, ourNames.at(place.plot), place, inSeconds(result.ours, comparison.unit));
    addPoint(plot, comparison.yardstick, place, inSeconds(result.theirs, comparison.unit));
  }
  for (const auto& [name, plot] : plots) {
    std::string fileName = name;
    std::replace_if(
        fileName.begin(), fileName.end(), [](char letter) { return letter == ' ' || letter == '-'; }, '_');
    writePlot(directory + "/" + fileName + ".dat", plot);
  }
}

}  // namespace bench

// The results as a picture: three plots, one below the other, both axes of each in powers of ten.
//
// The picture has a ground of its own, so that it can be read on light and dark pages.
#include "picture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <map>
#include <ostream>
#include <set>
#include <stdexcept>
#include <utility>

namespace bench {

namespace {

struct PlotText {
  const char* plot;
  const char* title;
  const char* ours;
  const char* horizontal;
  const char* unitOfPlace;
};

constexpr std::array<PlotText, 3> plotTexts{
    PlotText{"frozen window", "Longest stall of a live writer during a snapshot", "plug-in", "file systems", ""},
    PlotText{"look-up", "Mount-table look-up of the last entry", "plug-in", "mounts", ""},
    PlotText{"start", "Start of a program and its output", "command pipe", "memory of the host", " MB"}};

constexpr double width = 900;
constexpr double plotHeight = 340;
constexpr double left = 90;
constexpr double right = 560;
constexpr double top = 50;
constexpr double bottom = 280;
constexpr double legendBegin = 585;
constexpr double legendLine = 22;

// Ours first.
constexpr std::array<const char*, 4> colours{"#0b5fcc", "#c2570c", "#1a7f4b", "#7a3fc4"};
constexpr std::array<const char*, 2> dashes{"none", "6 4"};

// A line of a plot: a way to do one variant of the work.
struct Line {
  std::string way;
  std::string variant;
  std::map<double, double> values;  // the median in nanoseconds at each place
};

double inNanoseconds(double value, const std::string& unit) {
  static const std::map<std::string, double> factors{{"ns", 1}, {"us", 1e3}, {"ms", 1e6}};
  return value * factors.at(unit);
}

Line& lineOf(std::vector<Line>& lines, const std::string& way, const std::string& variant) {
  const auto found = std::find_if(lines.begin(), lines.end(),
                                  [&](const Line& line) { return line.way == way && line.variant == variant; });
  return found != lines.end() ? *found : lines.emplace_back(Line{way, variant, {}});
}

std::vector<Line> linesOf(const PlotText& text, const std::vector<Result>& results) {
  std::vector<Line> lines;
  for (const Result& result : results) {
    const auto& [plot, variant, place] = result.comparison.plot;
    if (plot != text.plot) continue;
    const std::string& unit = result.comparison.unit;
    lineOf(lines, text.ours, variant).values[place] = inNanoseconds(result.ours, unit);
    lineOf(lines, result.comparison.yardstick, variant).values[place] = inNanoseconds(result.theirs, unit);
  }
  return lines;
}

// Text for a time that is a power of ten of nanoseconds.
std::string timeText(int exponent) {
  static const std::array<const char*, 4> units{"ns", "&#181;s", "ms", "s"};
  const auto unit = static_cast<std::size_t>(std::clamp(exponent / 3, 0, 3));
  return std::to_string(std::lround(std::pow(10, exponent - 3 * static_cast<int>(unit)))) + " " + units[unit];
}

// Where values lie on an axis that is drawn from `begin` to `end`.
class Axis {
 public:
  Axis(double least, double most, double begin, double end)
      : m_least(std::log10(least)), m_most(std::log10(most)), m_begin(begin), m_end(end) {}

  double operator()(double value) const {
    return m_begin + (std::log10(value) - m_least) / (m_most - m_least) * (m_end - m_begin);
  }

 private:
  double m_least;
  double m_most;
  double m_begin;
  double m_end;
};

class Plot {
 public:
  Plot(std::ostream& out, const PlotText& text, std::vector<Line> lines)
      : m_out(out), m_text(text), m_lines(std::move(lines)) {
    for (const Line& line : m_lines) {
      for (const auto& [place, value] : line.values) {
        m_places.insert(place);
        m_leastExponent = std::min(m_leastExponent, static_cast<int>(std::floor(std::log10(value))));
        m_mostExponent = std::max(m_mostExponent, static_cast<int>(std::ceil(std::log10(value))));
      }
    }
  }

  void draw() const {
    const Axis across(*m_places.begin(), *m_places.rbegin(), left + 20, right - 20);
    const Axis upwards(std::pow(10, m_leastExponent), std::pow(10, m_mostExponent), bottom, top);
    drawText(left, top - 20, "start", m_text.title, "title");
    drawGrid(across, upwards);
    std::map<double, std::size_t, std::greater<>> fromTheTop;
    for (std::size_t i = 0; i < m_lines.size(); ++i) {
      drawLine(m_lines[i], across, upwards);
      fromTheTop[m_lines[i].values.rbegin()->second] = i;
    }
    double y = top + 10;
    for (const auto& [value, i] : fromTheTop) {
      drawLegend(m_lines[i], y);
      y += legendLine;
    }
  }

 private:
  void drawText(double x, double y, const char* anchor, const std::string& text, const char* kind = "label") const {
    m_out << "<text class=\"" << kind << "\" x=\"" << x << "\" y=\"" << y << "\" text-anchor=\"" << anchor << "\">"
          << text << "</text>\n";
  }

  void drawGrid(const Axis& across, const Axis& upwards) const {
    for (int exponent = m_leastExponent; exponent <= m_mostExponent; ++exponent) {
      const double y = upwards(std::pow(10, exponent));
      m_out << "<line class=\"grid\" x1=\"" << left << "\" y1=\"" << y << "\" x2=\"" << right << "\" y2=\"" << y
            << "\"/>\n";
      drawText(left - 8, y + 4, "end", timeText(exponent));
    }
    for (const double place : m_places) {
      const double x = across(place);
      m_out << "<line class=\"grid\" x1=\"" << x << "\" y1=\"" << top << "\" x2=\"" << x << "\" y2=\"" << bottom
            << "\"/>\n";
      drawText(x, bottom + 18, "middle", std::to_string(std::lround(place)) + m_text.unitOfPlace);
    }
    drawText((left + right) / 2, bottom + 40, "middle", m_text.horizontal);
    m_out << "<text class=\"label\" text-anchor=\"middle\" transform=\"translate(22 " << (top + bottom) / 2
          << ") rotate(-90)\">time</text>\n";
  }

  // Where a line's way or variant stands among all of the plot, ours first.
  std::size_t rankOf(const Line& line, std::string Line::*kind) const {
    std::vector<std::string> seen;
    if (kind == &Line::way) seen.emplace_back(m_text.ours);
    for (const Line& other : m_lines) {
      if (std::find(seen.begin(), seen.end(), other.*kind) == seen.end()) seen.push_back(other.*kind);
    }
    return static_cast<std::size_t>(std::find(seen.begin(), seen.end(), line.*kind) - seen.begin());
  }

  const char* colourOf(const Line& line) const { return colours.at(rankOf(line, &Line::way)); }

  // A way has one colour, and a variant one kind of line.
  std::string strokeOf(const Line& line) const {
    const bool ours = line.way == m_text.ours;
    return std::string("fill=\"none\" stroke=\"") + colourOf(line) + "\" stroke-width=\"" + (ours ? "3" : "1.8") +
           "\" stroke-dasharray=\"" + dashes.at(rankOf(line, &Line::variant)) + "\"";
  }

  void drawLine(const Line& line, const Axis& across, const Axis& upwards) const {
    m_out << "<polyline " << strokeOf(line) << " points=\"";
    for (const auto& [place, value] : line.values) m_out << across(place) << ',' << upwards(value) << ' ';
    m_out << "\"/>\n";
    for (const auto& [place, value] : line.values) {
      m_out << "<circle r=\"3\" cx=\"" << across(place) << "\" cy=\"" << upwards(value) << "\" fill=\""
            << colourOf(line) << "\"/>\n";
    }
  }

  void drawLegend(const Line& line, double y) const {
    m_out << "<line " << strokeOf(line) << " x1=\"" << legendBegin << "\" y1=\"" << y << "\" x2=\"" << legendBegin + 36
          << "\" y2=\"" << y << "\"/>\n";
    drawText(legendBegin + 44, y + 4, "start", line.variant.empty() ? line.way : line.way + ", " + line.variant);
  }

  std::ostream& m_out;
  const PlotText& m_text;
  std::vector<Line> m_lines;
  std::set<double> m_places;
  int m_leastExponent = 99;
  int m_mostExponent = 0;
};

}  // namespace

void drawPicture(const std::string& path, const std::vector<Result>& results) {
  std::ofstream file(path);
  const double height = plotHeight * static_cast<double>(plotTexts.size());
  file << "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " << width << ' ' << height << "\" width=\"" << width
       << "\" height=\"" << height << "\">\n"
       << "<style>text { font-family: sans-serif; fill: #24292f } .title { font-size: 16px; font-weight: bold }\n"
       << ".label { font-size: 12px } .grid { stroke: #d0d7de }</style>\n"
       << "<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n";
  double offset = 0;
  for (const PlotText& text : plotTexts) {
    std::vector<Line> lines = linesOf(text, results);
    if (!lines.empty()) {
      file << "<g transform=\"translate(0 " << offset << ")\">\n";
      Plot(file, text, std::move(lines)).draw();
      file << "</g>\n";
    }
    offset += plotHeight;
  }
  file << "</svg>\n";
  if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

}  // namespace bench

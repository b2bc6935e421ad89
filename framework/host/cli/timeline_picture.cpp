// Bars over a scale of time.
#include "cli/timeline_picture.h"

#include <algorithm>
#include <cmath>
#include <pugixml.hpp>
#include <sstream>

#include "cli/receipt_output.h"
#include "cli/snapshot_output.h"
#include "failure/host_error.h"
#include "failure/one_line.h"
#include "failure/plain_text.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

using Moment = FreezeReceipt::Moment;

// All in pixels.
constexpr double width = 900;
constexpr double left = 220;   // of the bars, with the names before them
constexpr double right = 880;  // of the bars
constexpr double top = 60;
constexpr double rowHeight = 34;
constexpr double barHeight = 18;
constexpr double footHeight = 70;
constexpr double narrowest = 2;  // bar

// They differ for those who see no colours, too.
constexpr const char* changingColour = "#a6cee3";
constexpr const char* frozenColour = "#1f78b4";
constexpr const char* splitColour = "#fdbf6f";
constexpr const char* proofColour = "#ff7f00";

std::string pixels(double value) {
  std::ostringstream text;
  text.precision(1);
  text << std::fixed << value;
  return text.str();
}

class Drawing {
 public:
  Drawing(double height, Moment end) : m_end(std::max(end, Moment(1))) {
    m_svg = m_document.append_child("svg");
    m_svg.append_attribute("xmlns") = "http://www.w3.org/2000/svg";
    m_svg.append_attribute("viewBox") = ("0 0 " + pixels(width) + " " + pixels(height)).c_str();
    m_svg.append_attribute("font-family") = "sans-serif";
    m_svg.append_attribute("font-size") = "12";
    box(0, 0, width, height, "white");
  }

  // Where a moment lies.
  double at(Moment moment) const {
    return left + (right - left) * static_cast<double>(moment.count()) / static_cast<double>(m_end.count());
  }

  pugi::xml_node box(double x, double y, double boxWidth, double boxHeight, const char* colour) {
    pugi::xml_node node = m_svg.append_child("rect");
    node.append_attribute("x") = pixels(x).c_str();
    node.append_attribute("y") = pixels(y).c_str();
    node.append_attribute("width") = pixels(boxWidth).c_str();
    node.append_attribute("height") = pixels(boxHeight).c_str();
    node.append_attribute("fill") = colour;
    return node;
  }

  // A box from one moment to another, which says what it is where a mouse rests on it.
  void span(Moment from, Moment to, double y, double height, const char* colour, const std::string& what) {
    pugi::xml_node node = box(at(from), y, std::max(at(to) - at(from), narrowest), height, colour);
    node.append_child("title")
        .append_child(pugi::node_pcdata)
        .set_value(translate("{0}, {1} to {2}", what, millisecondsText(from), millisecondsText(to)).c_str());
  }

  // anchor: "start", "middle" or "end".
  void text(double x, double y, const char* anchor, const std::string& content) {
    pugi::xml_node node = m_svg.append_child("text");
    node.append_attribute("x") = pixels(x).c_str();
    node.append_attribute("y") = pixels(y).c_str();
    node.append_attribute("text-anchor") = anchor;
    node.append_child(pugi::node_pcdata).set_value(plainText(content).c_str());
  }

  std::string document() const {
    std::ostringstream out;
    m_document.save(out, "  ");
    return out.str();
  }

 private:
  pugi::xml_document m_document;
  pugi::xml_node m_svg;
  Moment m_end;
};

// 1, 2 or 5 and zeros: some five of them are the whole.
Moment stepOf(Moment whole) {
  constexpr double wanted = 5;
  const double ideal = std::max(static_cast<double>(whole.count()) / wanted, 1.0);
  const double power = std::pow(10.0, std::floor(std::log10(ideal)));
  const double leading = ideal / power;
  return Moment(static_cast<Moment::rep>((leading > 5 ? 10 : leading > 2 ? 5 : leading > 1 ? 2 : 1) * power));
}

void drawScale(Drawing& drawing, Moment end, double y) {
  constexpr double tick = 5;
  constexpr double below = 18;
  for (Moment moment(0); moment <= end; moment += stepOf(end)) {
    drawing.box(drawing.at(moment), y, 1, tick, "black");
    drawing.text(drawing.at(moment), y + below, "middle", millisecondsText(moment));
  }
  drawing.box(left, y, right - left, 1, "black");
}

void drawFileSystem(Drawing& drawing, const std::string& mountPoint, const FileSystemReceipt& one, double y) {
  constexpr double baseline = 13;
  constexpr double gap = 10;
  drawing.text(left - gap, y + baseline, "end", inOneLine(mountPoint));
  drawing.span(one.freezeAsked, one.frozen, y, barHeight, changingColour, translate("being frozen"));
  drawing.span(one.frozen, one.thawAsked, y, barHeight, frozenColour, translate("frozen"));
  drawing.span(one.thawAsked, one.thawed, y, barHeight, changingColour, translate("being thawed"));
  if (!one.proven) return;
  drawing.span(*one.proven, *one.proven, y, barHeight, proofColour, translate("proven to be frozen"));
}

void drawLegend(Drawing& drawing, double y) {
  constexpr double size = 10;
  constexpr double distance = 165;
  constexpr double gap = 15;
  double x = left;
  for (const auto& [colour, meaning] : {std::pair{frozenColour, translatable("frozen")},
                                        {changingColour, translatable("being frozen, thawed")},
                                        {proofColour, translatable("proof of the freeze")},
                                        {splitColour, translatable("volumes are split")}}) {
    drawing.box(x, y, size, size, colour);
    drawing.text(x + gap, y + size, "start", translated(meaning));
    x += distance;
  }
}

}  // namespace

std::string timelineOf(const Snapshot& snapshot) {
  if (!snapshot.receipt) {
    throw HostError(translate("snapshot {0} has no receipt, so there is no time line of its freeze", snapshot.id))
        .about(snapshot.id);
  }
  const FreezeReceipt& receipt = *snapshot.receipt;
  const std::size_t rows = std::min(snapshot.nodes.size(), receipt.fileSystems.size());
  const double bottom = top + rowHeight * static_cast<double>(rows);
  constexpr double titleLine = 24;
  constexpr double secondLine = 42;
  constexpr double legendBelow = 45;
  constexpr double margin = 8;
  Drawing drawing(bottom + footHeight, receipt.over);
  drawing.text(left, titleLine, "start", translate("Snapshot {0}, {1}", snapshot.name, exactUtcTime(receipt.begin)));
  drawing.text(
      left, secondLine, "start",
      translate("proven: {0}; all thawed after {1}", levelName(levelOf(receipt)), millisecondsText(receipt.over)));
  drawing.span(receipt.splitBegan, receipt.splitEnded, top - margin, bottom - top, splitColour,
               translate("volumes are split"));
  for (std::size_t i = 0; i < rows; ++i) {
    drawFileSystem(drawing, snapshot.nodes[i].mountPoint, receipt.fileSystems[i],
                   top + rowHeight * static_cast<double>(i));
  }
  drawScale(drawing, receipt.over, bottom);
  drawLegend(drawing, bottom + legendBelow);
  return drawing.document();
}

}  // namespace qmfi_host

// Labels that are as wide as the widest.
#include "cli/labelled_lines.h"

#include <algorithm>

#include "cli/text_width.h"

namespace qmfi_host {

void printLabelled(std::ostream& out, const std::vector<LabelledLine>& lines) {
  std::size_t width = 0;
  for (const LabelledLine& line : lines) width = std::max(width, widthOf(line.label));
  for (const LabelledLine& line : lines) {
    out << padded(line.label, width) << (line.value.empty() ? "" : " " + line.value) << "\n";
  }
}

}  // namespace qmfi_host

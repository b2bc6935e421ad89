// Lines of which each says what its value is.
#ifndef LABELLED_LINES_H
#define LABELLED_LINES_H

#include <ostream>
#include <string>
#include <vector>

namespace qmfi_host {

// Texts in the user's language and values, which may be empty.
struct LabelledLine {
  std::string label;
  std::string value;
};

// Prints the lines with all values in one column.
void printLabelled(std::ostream& out, const std::vector<LabelledLine>& lines);

}  // namespace qmfi_host

#endif

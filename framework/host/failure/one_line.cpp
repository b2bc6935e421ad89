// Line feeds as text.
#include "failure/one_line.h"

namespace qmfi_host {

std::string inOneLine(std::string_view text) {
  std::string line;
  for (const char character : text) {
    if (character == '\n') {
      line += "\\x0a";
    } else {
      line += character;
    }
  }
  return line;
}

}  // namespace qmfi_host

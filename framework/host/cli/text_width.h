// How much room texts take in a line.
#ifndef TEXT_WIDTH_H
#define TEXT_WIDTH_H

#include <string>

namespace qmfi_host {

// The number of characters of a text in UTF-8.
std::size_t widthOf(const std::string& text);

// The text with blanks behind it, as wide as asked for; a wider one as it is.
std::string padded(const std::string& text, std::size_t width);

}  // namespace qmfi_host

#endif

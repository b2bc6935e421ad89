// Names in lines of text.
#ifndef ONE_LINE_H
#define ONE_LINE_H

#include <string>
#include <string_view>

namespace qmfi_host {

// The text with each line feed as "\x0a": a name that holds one must not look like a line of qmfi's own.
std::string inOneLine(std::string_view text);

}  // namespace qmfi_host

#endif

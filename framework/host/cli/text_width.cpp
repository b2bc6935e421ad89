// Characters and blanks.
#include "cli/text_width.h"

#include <algorithm>

namespace qmfi_host {

// Bytes that begin a character.
std::size_t widthOf(const std::string& text) {
  return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char character) {
    constexpr unsigned kindMask = 0xc0;
    constexpr unsigned continuation = 0x80;
    return (static_cast<unsigned char>(character) & kindMask) != continuation;
  }));
}

std::string padded(const std::string& text, std::size_t width) {
  const std::size_t own = widthOf(text);
  return own < width ? text + std::string(width - own, ' ') : text;
}

}  // namespace qmfi_host

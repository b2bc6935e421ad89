// Question marks.
#include "failure/plain_text.h"

#include <algorithm>

namespace qmfi_host {

std::string plainText(std::string text) {
  const auto isPlain = [](char character) { return character == '\n' || (character >= ' ' && character <= '~'); };
  std::replace_if(
      text.begin(), text.end(), [&](char character) { return !isPlain(character); }, '?');
  return text;
}

}  // namespace qmfi_host

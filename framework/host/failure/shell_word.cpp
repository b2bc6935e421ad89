// Quoting.
#include "failure/shell_word.h"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace qmfi_host {

namespace {

bool isPlain(char character) {
  constexpr std::string_view others = "/._-+:,@%=";
  return std::isalnum(static_cast<unsigned char>(character)) != 0 || others.find(character) != std::string_view::npos;
}

}  // namespace

std::string shellWord(const std::string& text) {
  if (!text.empty() && std::all_of(text.begin(), text.end(), isPlain)) return text;
  std::string word = "'";
  for (const char character : text) word += character == '\'' ? std::string("'\\''") : std::string(1, character);
  return word + "'";
}

}  // namespace qmfi_host

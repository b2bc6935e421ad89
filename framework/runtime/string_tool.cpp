// Small string operations.
#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>

#include "cfistringallocator.h"
#include "cfistringtool.h"

namespace qmfi_pdk_4_4 {

namespace {

constexpr const char* whiteSpace = " \t\n\v\f\r";

}  // namespace

std::string CFiStringTool::trim(const std::string& text, const std::string& characters) {
  const auto begin = text.find_first_not_of(characters);
  return begin != std::string::npos ? rtrim(text.substr(begin), characters) : std::string();
}

std::string CFiStringTool::rtrim(const std::string& text, const std::string& characters) {
  return text.substr(0, text.find_last_not_of(characters) + 1);
}

std::vector<std::string> CFiStringTool::tokenize(const std::string& text, const std::string& separators) {
  std::vector<std::string> pieces;
  for (auto begin = text.find_first_not_of(separators); begin != std::string::npos;) {
    const auto end = text.find_first_of(separators, begin);
    pieces.push_back(text.substr(begin, end - begin));
    begin = text.find_first_not_of(separators, end);
  }
  return pieces;
}

ACE_String_Base<char> CFiStringTool::str2tstr(const std::string& text) {
  return {text.data(), text.size(), CFiStringAllocator::instance()};
}

std::string CFiStringTool::tstr2str(const ACE_String_Base<char>& text) {
  return {text.c_str(), text.length()};
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): plug-ins import it under this signature.
std::string CFiStringTool::vec2str(const std::vector<std::string>& elements, std::string separator) {
  std::string joined;
  for (const std::string& element : elements) {
    joined += element;
    joined += separator;
  }
  return joined;
}

int CFiStringTool::str2int(const std::string& text) {
  std::string_view digits(text);
  digits.remove_prefix(std::min(digits.find_first_not_of(whiteSpace), digits.size()));
  // A plus sign is understood here, but not by the conversion.
  const bool plus = digits.starts_with('+');
  if (plus) digits.remove_prefix(1);
  if (plus && digits.starts_with('-')) return 0;
  int number = 0;
  const auto result = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  if (result.ec != std::errc::result_out_of_range) return number;
  return digits.starts_with('-') ? std::numeric_limits<int>::min() : std::numeric_limits<int>::max();
}

bool CFiStringTool::find(const std::vector<std::string>& lines, const std::string& text) {
  return std::any_of(lines.begin(), lines.end(),
                     [&](const std::string& line) { return line.find(text) != std::string::npos; });
}

}  // namespace qmfi_pdk_4_4

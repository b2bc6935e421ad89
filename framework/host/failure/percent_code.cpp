// Percent signs and digits.
#include "failure/percent_code.h"

#include <charconv>
#include <string_view>

#include "failure/host_error.h"
#include "texts/translation.h"

namespace qmfi_host {

std::string percentEncoded(const std::string& text) {
  constexpr std::string_view digits = "0123456789ABCDEF";
  std::string result;
  for (const char character : text) {
    const auto byte = static_cast<unsigned char>(character);
    if (byte >= ' ' && byte <= '~' && byte != '%') {
      result += character;
    } else {
      result += {'%', digits[byte / 16], digits[byte % 16]};
    }
  }
  return result;
}

std::string percentDecoded(const std::string& text) {
  std::string result;
  for (std::size_t at = 0; at < text.size(); ++at) {
    if (text[at] != '%') {
      result += text[at];
      continue;
    }
    unsigned byte = 0;
    const std::string code = text.substr(at + 1, 2);
    const auto [end, error] = std::from_chars(code.data(), code.data() + code.size(), byte, 16);
    if (error != std::errc() || code.size() != 2 || end != code.data() + 2) {
      throw HostError(translate("\"{0}\" holds a % that begins no byte", text));
    }
    result += static_cast<char>(byte);
    at += 2;
  }
  return result;
}

}  // namespace qmfi_host

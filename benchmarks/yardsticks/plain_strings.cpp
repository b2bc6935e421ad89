// Copy and append with a bound, by nothing but the C library's fast functions.
#include "yardsticks/plain_strings.h"

#include <cstring>

namespace bench {

std::size_t plainCopy(char* buffer, const char* text, std::size_t size) {
  const std::size_t length = strnlen(text, size - 1);
  std::memcpy(buffer, text, length);
  buffer[length] = '\0';
  return length;
}

std::size_t plainAppend(char* buffer, const char* text, std::size_t size) {
  const std::size_t used = strnlen(buffer, size - 1);
  const std::size_t length = strnlen(text, size - 1 - used);
  std::memcpy(buffer + used, text, length);
  buffer[used + length] = '\0';
  return length;
}

}  // namespace bench

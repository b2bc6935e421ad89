// Copy and append with a bound, by nothing but the C library's fast functions.
#ifndef PLAIN_STRINGS_H
#define PLAIN_STRINGS_H

#include <cstddef>

namespace bench {

// Both return the number of characters that they wrote. The buffer has room for at least one.
std::size_t plainCopy(char* buffer, const char* text, std::size_t size);
std::size_t plainAppend(char* buffer, const char* text, std::size_t size);

}  // namespace bench

#endif

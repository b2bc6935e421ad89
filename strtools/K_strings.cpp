// Bounded strings: every algorithm once for both character types, and the exported functions in front of them.
#include "K_strings.h"

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <memory>
#include <string>

namespace {

// char_traits reach memchr, memcpy and memset, or their wide counterparts, which are far faster than loops.
template <typename Char>
using Traits = std::char_traits<Char>;

// The length of `text`, at most `limit`; nothing beyond the first `limit` characters is read.
std::size_t boundedLength(const char* text, std::size_t limit) {
  return strnlen(text, limit);
}
std::size_t boundedLength(const wchar_t* text, std::size_t limit) {
  return wcsnlen(text, limit);
}

template <typename Char>
std::size_t copyBounded(Char* dst, const Char* src, std::size_t size) {
  if (dst == nullptr || src == nullptr || size == 0) return 0;
  const std::size_t length = boundedLength(src, size - 1);
  Traits<Char>::copy(dst, src, length);
  dst[length] = Char{};
  return length;
}

// A destination without a terminator among the first size-1 characters has no room, and nothing is written to it.
template <typename Char>
std::size_t appendBounded(Char* dst, const Char* src, std::size_t n, std::size_t size) {
  if (dst == nullptr || src == nullptr || size == 0) return 0;
  const std::size_t used = boundedLength(dst, size - 1);
  const std::size_t room = size - 1 - used;
  return room == 0 ? 0 : copyBounded(dst + used, src, std::min(n, room) + 1);
}

template <typename Char>
std::size_t copyPadded(Char* dst, const Char* src, std::size_t n, std::size_t size) {
  if (dst == nullptr || src == nullptr || size == 0) return 0;
  const std::size_t positions = std::min(n, size - 1);
  const std::size_t length = boundedLength(src, positions);
  Traits<Char>::copy(dst, src, length);
  // The padding counts as written, so that the result says nothing about the length of `src`: required.
  Traits<Char>::assign(dst + length, positions + 1 - length, Char{});
  return positions;
}

template <typename Char>
int verify(const Char* buffer, std::size_t size, std::size_t* length) {
  if (length != nullptr) *length = 0;
  if (buffer == nullptr) return -1;
  const Char* end = Traits<Char>::find(buffer, size, Char{});
  if (end == nullptr) return -1;
  if (length != nullptr) *length = static_cast<std::size_t>(end - buffer);
  return 0;
}

struct Free {
  void operator()(wchar_t* block) const { std::free(block); }
};

}  // namespace

extern "C" {

std::size_t K_strlcpy(char* dst, const char* src, std::size_t size) {
  return copyBounded(dst, src, size);
}

std::size_t K_wcslcpy(wchar_t* dst, const wchar_t* src, std::size_t size) {
  return copyBounded(dst, src, size);
}

std::size_t K_strlcat(char* dst, const char* src, std::size_t size) {
  return appendBounded(dst, src, SIZE_MAX, size);
}

std::size_t K_wcslcat(wchar_t* dst, const wchar_t* src, std::size_t size) {
  return appendBounded(dst, src, SIZE_MAX, size);
}

std::size_t K_strlncpy(char* dst, const char* src, std::size_t n, std::size_t size) {
  return copyPadded(dst, src, n, size);
}

std::size_t K_wcslncpy(wchar_t* dst, const wchar_t* src, std::size_t n, std::size_t size) {
  return copyPadded(dst, src, n, size);
}

std::size_t K_strlncat(char* dst, const char* src, std::size_t n, std::size_t size) {
  return appendBounded(dst, src, n, size);
}

std::size_t K_wcslncat(wchar_t* dst, const wchar_t* src, std::size_t n, std::size_t size) {
  return appendBounded(dst, src, n, size);
}

int K_strverify(const char* buffer, std::size_t size, std::size_t* length) {
  return verify(buffer, size, length);
}

int K_wstrverify(const wchar_t* buffer, std::size_t size, std::size_t* length) {
  return verify(buffer, size, length);
}

int K_vsnprintf(char* dst, std::size_t size, const char* format, va_list args) {
  if (dst == nullptr || size == 0) return -1;
  // The formatter counts in int, so a larger buffer cannot hold more text than this.
  const int bound = static_cast<int>(std::min<std::size_t>(size, INT_MAX));
  const int length = std::vsnprintf(dst, static_cast<std::size_t>(bound), format, args);
  if (length < 0) {
    *dst = '\0';
    return 0;
  }
  return std::min(length, bound - 1);
}

int K_snprintf(char* dst, std::size_t size, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const int length = K_vsnprintf(dst, size, format, args);
  va_end(args);
  return length;
}

int K_vsnwprintf(wchar_t* dst, std::size_t size, const wchar_t* format, va_list args) {
  if (size == 0) return -1;
  // Zeroed, since the formatter need not terminate a text that it could not finish.
  const std::unique_ptr<wchar_t, Free> text(static_cast<wchar_t*>(std::calloc(size, sizeof(wchar_t))));
  if (text == nullptr) return -1;
  const int length = std::vswprintf(text.get(), size, format, args);
  K_wcslcpy(dst, text.get(), size);
  return length;
}

int K_snwprintf(wchar_t* dst, std::size_t size, const wchar_t* format, ...) {
  va_list args;
  va_start(args, format);
  const int length = K_vsnwprintf(dst, size, format, args);
  va_end(args);
  return length;
}

void* K_dumb_realloc(void** block, std::size_t size) {
  if (block == nullptr) return nullptr;
  void* resized = std::realloc(*block, size);
  // A resize to 0 bytes has freed the block already.
  if (resized == nullptr && size != 0) std::free(*block);
  *block = resized;
  return resized;
}

}  // extern "C"

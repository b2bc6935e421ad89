// Bounded copying, appending, checking and formatting of narrow and wide strings, and a reallocation that never keeps a
// block it could not resize.
//
// Sizes are sizes of buffers in characters and include the terminating zero. No function ever writes past `size`
// characters of `dst`, and what it writes is terminated. The copying and appending functions return the number of
// characters that they wrote, not the number that was wanted. Source and destination must not overlap. Every function
// may be called from any thread; two threads must not share a destination.
#ifndef K_STRINGS_H
#define K_STRINGS_H

#include <cstdarg>
#include <cstddef>

extern "C" {

// Both copy `src` to `dst`, cut to size-1 characters. Return the number of characters copied; 0, with nothing written,
// for a null pointer or a size of 0.
std::size_t K_strlcpy(char* dst, const char* src, std::size_t size);
std::size_t K_wcslcpy(wchar_t* dst, const wchar_t* src, std::size_t size);

// Both append `src` to the string in `dst`, cut to what fits. Return the number of characters appended; 0, with nothing
// written, for a null pointer, a size of 0, or a `dst` without room for one character more (also one that has no
// terminator within the buffer).
std::size_t K_strlcat(char* dst, const char* src, std::size_t size);
std::size_t K_wcslcat(wchar_t* dst, const wchar_t* src, std::size_t size);

// Both copy at most `n` characters of `src`, fill what is left of these `n` positions with zeros, and terminate. Return
// the number of positions written before the terminator, padding included: `n`, or size-1 where `n` does not fit; 0,
// with nothing written, for a null pointer or a size of 0.
std::size_t K_strlncpy(char* dst, const char* src, std::size_t n, std::size_t size);
std::size_t K_wcslncpy(wchar_t* dst, const wchar_t* src, std::size_t n, std::size_t size);

// Both append at most `n` characters of `src` to the string in `dst`, cut to what fits. Return what K_strlcat does.
std::size_t K_strlncat(char* dst, const char* src, std::size_t n, std::size_t size);
std::size_t K_wcslncat(wchar_t* dst, const wchar_t* src, std::size_t n, std::size_t size);

// Both look for the terminator of `buffer` within its first `size` characters. Return 0 and store its position in
// `*length`, or return -1 and store 0 when there is none or `buffer` is null. `length` may be null.
int K_strverify(const char* buffer, std::size_t size, std::size_t* length);
int K_wstrverify(const wchar_t* buffer, std::size_t size, std::size_t* length);

// Both format as printf does, cut to size-1 characters. Return the number of characters in `dst`, 0 and an empty `dst`
// when the text cannot be formatted, or -1, with nothing written, for a null `dst` or a size of 0.
int K_vsnprintf(char* dst, std::size_t size, const char* format, va_list args) __attribute__((format(printf, 3, 0)));
int K_snprintf(char* dst, std::size_t size, const char* format, ...) __attribute__((format(printf, 3, 4)));

// Both format as wprintf does, cut to size-1 characters. Return the length of the text, or -1 when it was cut or could
// not be formatted (`dst` then holds what was formatted), or -1, with nothing written, for a size of 0 or when memory
// for `size` wide characters is not to be had. A null `dst` gets nothing.
int K_vsnwprintf(wchar_t* dst, std::size_t size, const wchar_t* format, va_list args);
int K_snwprintf(wchar_t* dst, std::size_t size, const wchar_t* format, ...);

// Resizes the block `*block` (from malloc, or null) to `size` bytes, stores the result back and returns it. A block
// that cannot be resized is freed and null is stored and returned, and so is one resized to 0 bytes; where there was
// none, 0 bytes too give a block, which holds nothing. The caller thus owns exactly what `*block` points to. Null, and
// nothing else, for a null `block`.
void* K_dumb_realloc(void** block, std::size_t size);

}  // extern "C"

#endif

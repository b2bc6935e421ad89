// Small files as a whole: settings, tables of the kernel, records of processes.
#ifndef SYSTEM_SMALL_FILE_H
#define SYSTEM_SMALL_FILE_H

#include <cstddef>
#include <optional>
#include <string>

namespace qmfi_system {

// More than any file has that a program of ours writes or the kernel makes up.
constexpr std::size_t largestSmallFile = std::size_t{1} << 20;

// The whole content of a regular file, links to one included; nothing, and errno, when it cannot be read. A larger file
// than `largest` bytes is refused with EFBIG, anything but a regular file with EISDIR or EINVAL; neither is waited for.
// Throws std::bad_alloc. Thread-safe; a point of cancellation.
std::optional<std::string> readSmallFile(const std::string& path, std::size_t largest = largestSmallFile);

}  // namespace qmfi_system

#endif

// The pieces in which a file is cloned, so that no single request keeps the file's writers waiting for long.
#ifndef FILE_PIECES_H
#define FILE_PIECES_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace qmfi_host {

// Cloning takes a time that grows with the number of extents; this many are one request, some 40 ms where it is slow.
inline constexpr std::size_t extentsPerPiece = 1024;

// Where the pieces of an open file end, in bytes from its beginning, ascending: behind every `extentsPerPiece`th of its
// extents. The last piece reaches to the end of the file and is not listed, so a file in few extents has none. Throws
// HostError with the name when the file system does not tell.
std::vector<std::uint64_t> pieceEndsOf(int file, const std::string& name);

// How many bytes of an open file it shares with others; nothing when its file system does not tell.
std::optional<std::uint64_t> sharedBytesOf(int file);

}  // namespace qmfi_host

#endif

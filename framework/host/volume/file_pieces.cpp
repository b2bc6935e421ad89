// The map of a file's extents, read from its file system.
#include "volume/file_pieces.h"

#include <linux/fiemap.h>
#include <linux/fs.h>
#include <sys/ioctl.h>

#include <bit>
#include <cstddef>
#include <vector>

#include "failure/host_error.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

// A request to the file system with room for the extents of one piece.
class ExtentMap {
 public:
  // Asks for the extents that begin at or behind an offset; returns how many there are, at most a piece's.
  std::size_t read(int file, std::uint64_t offset, const std::string& name) {
    fiemap& map = header();
    map = {};
    map.fm_start = offset;
    map.fm_length = FIEMAP_MAX_OFFSET - offset;
    map.fm_extent_count = extentsPerPiece;
    if (ioctl(file, FS_IOC_FIEMAP, &map) != 0) {
      throw systemError(translate("the extents of {0} cannot be read", name)).about(name);
    }
    return map.fm_mapped_extents;
  }

  std::uint64_t endOf(std::size_t index) {
    const fiemap_extent& extent = header().fm_extents[index];
    return extent.fe_logical + extent.fe_length;
  }

  std::uint64_t sharedBytes(std::size_t index) {
    const fiemap_extent& extent = header().fm_extents[index];
    return (extent.fe_flags & FIEMAP_EXTENT_SHARED) != 0 ? extent.fe_length : 0;
  }

  bool isLast(std::size_t index) { return (header().fm_extents[index].fe_flags & FIEMAP_EXTENT_LAST) != 0; }

 private:
  fiemap& header() { return *std::bit_cast<fiemap*>(m_memory.data()); }

  // In the alignment of 64-bit numbers, as the record wants it.
  std::vector<std::uint64_t> m_memory =
      std::vector<std::uint64_t>((sizeof(fiemap) + extentsPerPiece * sizeof(fiemap_extent)) / sizeof(std::uint64_t));
};

std::uint64_t sharedBytesOf(int file, ExtentMap& map) {
  std::uint64_t bytes = 0;
  for (std::uint64_t offset = 0;;) {
    const std::size_t count = map.read(file, offset, "a volume");
    for (std::size_t index = 0; index < count; ++index) bytes += map.sharedBytes(index);
    if (count < extentsPerPiece || map.isLast(count - 1)) return bytes;
    offset = map.endOf(count - 1);
  }
}

}  // namespace

std::optional<std::uint64_t> sharedBytesOf(int file) {
  try {
    ExtentMap map;
    return sharedBytesOf(file, map);
  } catch (const HostError&) {
    return std::nullopt;
  }
}

std::vector<std::uint64_t> pieceEndsOf(int file, const std::string& name) {
  std::vector<std::uint64_t> ends;
  ExtentMap map;
  std::uint64_t offset = 0;
  for (;;) {
    const std::size_t count = map.read(file, offset, name);
    if (count < extentsPerPiece || map.isLast(count - 1)) return ends;
    offset = map.endOf(count - 1);
    ends.push_back(offset);
  }
}

}  // namespace qmfi_host

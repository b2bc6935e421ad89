// Room for what is written while snapshots share the blocks of their volumes.
#ifndef STORAGE_SPACE_H
#define STORAGE_SPACE_H

#include <cstdint>
#include <string>
#include <vector>

#include "state/snapshot.h"
#include "volume/splitters.h"

namespace qmfi_host {

// Throws HostError unless there is room, where the volumes of a planned snapshot lie, for every block that would be
// written anew if all of them were overwritten, and all others there that snapshots share blocks with: a write that
// finds none fails, in the file system that the snapshot was taken of. others: the snapshots there are.
void requireSpace(const Splitters& splitters, const Snapshot& planned, const std::vector<Snapshot>& others);

// Bytes in the unit that leaves fewest digits, with one decimal: "12.3 MiB".
std::string bytesText(std::uint64_t bytes);

}  // namespace qmfi_host

#endif

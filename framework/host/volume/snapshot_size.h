// How much room a copy gets that is given a fixed one.
#ifndef SNAPSHOT_SIZE_H
#define SNAPSHOT_SIZE_H

#include <cstdint>
#include <string>
#include <variant>

namespace qmfi_host {

// A part of the volume's size, in percent.
struct PartOfVolume {
  int percent;
};

// A number of bytes.
struct FixedSize {
  std::uint64_t bytes;
};

using SnapshotSize = std::variant<PartOfVolume, FixedSize>;

// What is taken when the user says nothing.
inline constexpr PartOfVolume standardSnapshotSize{20};

// "20%" of the volume, 1 to 100, or "512M": bytes with K, M, G or T. Throws UsageError for anything else.
SnapshotSize snapshotSizeOf(const std::string& text);

// How many extents of a volume group the copy of a volume takes; never more than one for each of the volume's and one.
std::uint64_t extentsOf(const SnapshotSize& size, std::uint64_t volumeBytes, std::uint64_t extentBytes);

}  // namespace qmfi_host

#endif

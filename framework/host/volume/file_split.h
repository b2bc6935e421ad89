// Copying a volume's file by sharing its blocks.
#ifndef FILE_SPLIT_H
#define FILE_SPLIT_H

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

#include "system/descriptor.h"
#include "volume/split_plan.h"

namespace qmfi_host {

// A file whose copy is open, and empty but for the first block. One thread at a time.
class FileSplit {
 public:
  // Makes the copy's file. Throws HostError, with the file left, when the copy cannot be made as a whole later on.
  explicit FileSplit(const SplitPlan& plan);

  // Writes out what the volume has in memory. Throws HostError.
  void flush();

  // Copies the file. Allocates nothing, and writes to the copy only. Returns 0 or an errno value, ETIME after the
  // deadline.
  int split(std::chrono::steady_clock::time_point deadline) noexcept;

 private:
  int clonePiece(std::uint64_t offset, std::uint64_t length, std::chrono::steady_clock::time_point deadline) noexcept;

  std::string m_name;
  qmfi_system::Descriptor m_volume;
  qmfi_system::Descriptor m_snapshot;
  std::vector<std::uint64_t> m_pieceEnds{};
};

}  // namespace qmfi_host

#endif

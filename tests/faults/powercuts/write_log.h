// The writes that reached a disk, in their order, as the kernel's dm-log-writes recorded them.
#ifndef WRITE_LOG_H
#define WRITE_LOG_H

#include <cstdint>
#include <string>
#include <vector>

#include "system/descriptor.h"

namespace faults {

// One write, or a mark between writes.
struct LoggedWrite {
  std::uint64_t begin = 0;  // where on the disk, in bytes
  std::uint64_t bytes = 0;
  std::uint64_t data = 0;  // where in the log its data is
  bool isDurable = false;  // a flush, or past the disk's cache: all that stands before it survives a power cut
  bool isDiscard = false;  // what was there is of no use any more; it has no data
  std::string mark{};      // a text for the reader instead of a write
};

// A log in a file. A write that the disk still had in its cache is not in it.
class WriteLog {
 public:
  // Throws std::runtime_error where it is no such log.
  explicit WriteLog(const std::string& file);

  const std::vector<LoggedWrite>& writes() const { return m_writes; }

  // Throws std::system_error.
  std::string dataOf(const LoggedWrite& write) const;

 private:
  std::string read(std::uint64_t begin, std::uint64_t bytes) const;

  qmfi_system::Descriptor m_file;
  std::vector<LoggedWrite> m_writes;
};

}  // namespace faults

#endif

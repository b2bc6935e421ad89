// The file that one trace log writes to.
#ifndef TRACE_SINK_H
#define TRACE_SINK_H

#include <cstdint>
#include <string>
#include <string_view>

#include "unique_fd.h"

namespace qmfi_pdk_4_4 {

// The kit names this class, but only this library has it.
class CFiTraceSink {
 public:
  // Opens directory/name.log for appending and makes what is missing, the directory's parents excepted. Anything but a
  // regular file under that one name is refused, and a file of ours that others may use is made 0600. valid() tells
  // whether it went well.
  [[gnu::visibility("hidden")]] CFiTraceSink(const std::string& directory, const std::string& name);

  // Whether the file could be opened.
  bool valid() const { return m_file.valid(); }

  // Appends a record with a single write, so that it stays whole among those of other threads and processes. A record
  // that cannot be written is lost.
  [[gnu::visibility("hidden")]] void write(std::string_view record) const;

  // Both belong to the output that holds records back.
  std::uint64_t dropped = 0;
  bool retired = false;

 private:
  qmfi_runtime::UniqueFd m_file;
};

}  // namespace qmfi_pdk_4_4

#endif

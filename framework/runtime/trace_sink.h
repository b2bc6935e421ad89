// The file that one trace log writes to.
#ifndef TRACE_SINK_H
#define TRACE_SINK_H

#include <sys/stat.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>

namespace qmfi_pdk_4_4 {

// The kit names this class, but only this library has it.
class CFiTraceSink {
 public:
  // Opens directory/name.log for appending and makes what is missing, the directory's parents excepted. Anything but a
  // regular file under that one name is refused, and a file of ours that others may use is made 0600. valid() tells
  // whether it went well.
  [[gnu::visibility("hidden")]] CFiTraceSink(const std::string& directory, const std::string& name);
  CFiTraceSink(const CFiTraceSink&) = delete;
  CFiTraceSink& operator=(const CFiTraceSink&) = delete;
  // Closes the file, unless its descriptor has become somebody else's.
  [[gnu::visibility("hidden")]] ~CFiTraceSink();

  // Whether the file could be opened.
  bool valid() const { return m_file >= 0; }

  // Appends a record with a single write, so that it stays whole among those of other threads and processes. A record
  // that cannot be written is lost. A file that lies under the log's name no more, as after a rotation, gives way to a
  // new one there, if that can be had; a descriptor that a part of the host has closed, and perhaps uses for a file of
  // its own now, is neither written to nor closed. May be called from any thread.
  [[gnu::visibility("hidden")]] void write(std::string_view record);

  // Both belong to the output that holds records back.
  std::uint64_t dropped = 0;
  bool retired = false;

 private:
  bool isOurs(int file) const;
  bool isInPlace() const;
  void repair();
  void keep(int file);

  std::string m_path;
  // What follows is changed under the mutex only, and looked at without it.
  std::mutex m_mutex;
  std::atomic<int> m_file{-1};
  std::atomic<dev_t> m_device{0};
  std::atomic<ino_t> m_inode{0};
};

}  // namespace qmfi_pdk_4_4

#endif

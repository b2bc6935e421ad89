// A process that writes to a file system, which tells whether it is frozen.
#ifndef SUPPORT_WRITER_H
#define SUPPORT_WRITER_H

#include <cstdint>
#include <string>

namespace testbed_test {

// Tells whether a file system is frozen without asking the driver: a process that writes to it waits in the kernel.
class Writer {
 public:
  // Starts a process that writes to `path` again and again.
  explicit Writer(const std::string& path);
  Writer(const Writer&) = delete;
  Writer& operator=(const Writer&) = delete;
  // Nothing may be frozen any more, or the process cannot end.
  ~Writer();

  // Wait for the writer to be stopped by a freeze, or to get on; false after a minute without it.
  bool waitUntilBlocked() const;
  bool waitForProgress() const;

  // How often it has written so far.
  std::uint64_t writes() const;

 private:
  volatile std::uint64_t* m_writes;  // shared with the process
  int m_process;
};

}  // namespace testbed_test

#endif

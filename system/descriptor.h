// Ownership of a file descriptor.
#ifndef SYSTEM_DESCRIPTOR_H
#define SYSTEM_DESCRIPTOR_H

#include <unistd.h>

#include <cerrno>
#include <utility>

#include "system/thread_cancellation.h"

namespace qmfi_system {

// Owns one descriptor and closes it when it ends; owns none when it is negative. Movable only. One object is not to be
// used by two threads at the same time. A thread that is cancelled still closes, and closing leaves errno as it was.
class Descriptor {
 public:
  // Owns none.
  Descriptor() = default;
  // Takes a descriptor over, which may be negative.
  explicit Descriptor(int fd) : m_fd(fd) {}
  Descriptor(Descriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
  // Closes its own and takes the other's over.
  Descriptor& operator=(Descriptor&& other) noexcept {
    reset(std::exchange(other.m_fd, -1));
    return *this;
  }
  ~Descriptor() { reset(); }

  // The descriptor, which stays owned; negative when there is none.
  int get() const { return m_fd; }
  // Whether it owns one.
  bool valid() const { return m_fd >= 0; }

  // Closes the descriptor now and takes another one over, if one is given.
  void reset(int fd = -1) noexcept {
    // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult): the analyzer loses sight of the initial value.
    if (m_fd >= 0) {
      const CancellationDisabled whole;
      const int before = errno;
      close(m_fd);
      errno = before;
    }
    m_fd = fd;
  }

 private:
  int m_fd = -1;
};

}  // namespace qmfi_system

#endif

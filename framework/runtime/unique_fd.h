// Ownership of a file descriptor.
#ifndef UNIQUE_FD_H
#define UNIQUE_FD_H

#include <unistd.h>

#include <utility>

#include "cancellation_disabled.h"

namespace qmfi_runtime {

// Closes its descriptor when it ends; holds none when it is negative.
class UniqueFd {
 public:
  UniqueFd() = default;
  // Takes a descriptor over, which may be negative.
  explicit UniqueFd(int fd) : m_fd(fd) {}
  UniqueFd(UniqueFd&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    reset(std::exchange(other.m_fd, -1));
    return *this;
  }
  ~UniqueFd() { reset(); }

  int get() const { return m_fd; }
  // Whether it holds one.
  bool valid() const { return m_fd >= 0; }

  // Closes the descriptor and takes another one over, if one is given.
  void reset(int fd = -1) {
    if (m_fd >= 0) {
      const CancellationDisabled whole;
      close(m_fd);
    }
    m_fd = fd;
  }

 private:
  int m_fd = -1;
};

}  // namespace qmfi_runtime

#endif

// Ownership of a file descriptor.
#ifndef DESCRIPTOR_H
#define DESCRIPTOR_H

#include <unistd.h>

#include <utility>

namespace qmfi_host {

// Closes its descriptor when it ends; holds none when it is negative.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int fd) : m_fd(fd) {}
  Descriptor(Descriptor&& other) noexcept : m_fd(std::exchange(other.m_fd, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    std::swap(m_fd, other.m_fd);
    return *this;
  }
  ~Descriptor() {
    if (m_fd >= 0) close(m_fd);
  }

  int get() const { return m_fd; }
  bool valid() const { return m_fd >= 0; }

 private:
  int m_fd = -1;
};

}  // namespace qmfi_host

#endif

// A file descriptor that closes itself.
#pragma once

#include <unistd.h>

#include <utility>

namespace testbed {

// Owns one descriptor, or none (-1). Movable only; not to be shared between threads without a lock.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int descriptor) : m_descriptor(descriptor) {}
  Descriptor(Descriptor&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    if (this != &other) {
      close();
      m_descriptor = std::exchange(other.m_descriptor, -1);
    }
    return *this;
  }
  ~Descriptor() { close(); }

  int get() const { return m_descriptor; }
  bool valid() const { return m_descriptor >= 0; }

  // Closes the descriptor now; nothing happens when there is none.
  void close() {
    // NOLINTNEXTLINE(clang-analyzer-core.UndefinedBinaryOperatorResult): the analyzer loses sight of the initial value.
    if (m_descriptor >= 0) ::close(std::exchange(m_descriptor, -1));
  }

 private:
  int m_descriptor = -1;
};

}  // namespace testbed

// Ownership of a file descriptor.
#ifndef CFIDESCRIPTOR_H
#define CFIDESCRIPTOR_H

#include <unistd.h>

#include <cerrno>
#include <utility>

#include "cfiundisturbed.h"

namespace qmfi_pdk_4_4 {

// Closes a descriptor at its end, also in a thread that is cancelled, and leaves errno as it was. One thread at a time.
class CFiDescriptor {
 public:
  // Takes a descriptor over, which may be negative: then there is none.
  explicit CFiDescriptor(int descriptor) : m_descriptor(descriptor) {}
  CFiDescriptor(CFiDescriptor&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
  CFiDescriptor& operator=(CFiDescriptor&&) = delete;
  ~CFiDescriptor() {
    if (m_descriptor < 0) return;
    const CFiNotCancelled whole;
    const int before = errno;
    ::close(m_descriptor);
    errno = before;
  }

  // The descriptor, which stays owned.
  int get() const { return m_descriptor; }
  // Whether there is one.
  bool isOpen() const { return m_descriptor >= 0; }

 private:
  int m_descriptor;
};

}  // namespace qmfi_pdk_4_4

#endif

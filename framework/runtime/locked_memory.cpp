// Memory that is in place from the start and never swapped out.
#include "locked_memory.h"

#include <sys/mman.h>

#include <cerrno>

namespace qmfi_runtime {

int LockedMemory::acquire(std::size_t size) {
  if (m_data == nullptr) {
    void* const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_POPULATE, -1, 0);
    if (memory == MAP_FAILED) return errno;
    m_data = static_cast<char*>(memory);
    m_size = size;
  }
  if (!m_locked && mlock(m_data, m_size) != 0) return errno;
  m_locked = true;
  return 0;
}

void LockedMemory::release() {
  if (m_data == nullptr) return;
  munmap(m_data, m_size);
  m_data = nullptr;
  m_size = 0;
  m_locked = false;
}

}  // namespace qmfi_runtime

// Memory that nobody may touch, for arguments that an operation must not look at.
#ifndef FORBIDDEN_MEMORY_H
#define FORBIDDEN_MEMORY_H

#include <sys/mman.h>

#include <cstddef>
#include <new>

// A page whose use ends the program.
class ForbiddenMemory {
 public:
  ForbiddenMemory() : m_page(mmap(nullptr, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0)) {
    if (m_page == MAP_FAILED) throw std::bad_alloc();
  }
  ForbiddenMemory(const ForbiddenMemory&) = delete;
  ForbiddenMemory& operator=(const ForbiddenMemory&) = delete;
  ~ForbiddenMemory() { munmap(m_page, size); }

  // For a pointer parameter of any type.
  template <typename Record>
  operator Record*() const {
    return static_cast<Record*>(m_page);
  }

 private:
  static constexpr std::size_t size = 4096;
  void* m_page;
};

#endif

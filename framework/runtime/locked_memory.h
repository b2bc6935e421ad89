// Memory that is in place from the start and never swapped out.
#ifndef LOCKED_MEMORY_H
#define LOCKED_MEMORY_H

#include <cstddef>

namespace qmfi_runtime {

// A private range of memory. One thread at a time.
class LockedMemory {
 public:
  LockedMemory() = default;
  LockedMemory(const LockedMemory&) = delete;
  LockedMemory& operator=(const LockedMemory&) = delete;
  ~LockedMemory() { release(); }

  // Gets size bytes, present and locked, unless it has memory already. Returns 0 or an errno value; memory that is
  // there but cannot be locked is kept nevertheless, and the lock is tried again by the next call.
  int acquire(std::size_t size);
  // Gives the memory back; does nothing when there is none.
  void release();

  char* data() const { return m_data; }
  // 0 when there is none.
  std::size_t size() const { return m_size; }

 private:
  char* m_data = nullptr;
  std::size_t m_size = 0;
  bool m_locked = false;
};

}  // namespace qmfi_runtime

#endif

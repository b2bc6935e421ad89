// Allocations that leave an error number of their own, as any that succeeds may.
#include "errno_of_allocations.h"

#include <cerrno>
#include <cstdlib>
#include <new>

bool allocationsSetErrno = false;

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  void* const block = std::malloc(size);
  if (allocationsSetErrno) errno = EXFULL;
  return block;
}

void* operator new(std::size_t size) {
  void* const block = operator new(size, std::nothrow);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}

void operator delete(void* block) noexcept {
  std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}

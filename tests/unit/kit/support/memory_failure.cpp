// The replaced operators.
#include "memory_failure.h"

#include <algorithm>
#include <cstdlib>
#include <new>

namespace {

// How many calls still find memory; below 0 all of them do.
thread_local int callsLeft = -1;

bool memoryIsShort() {
  if (callsLeft > 0) {
    --callsLeft;
    return false;
  }
  return callsLeft == 0;
}

}  // namespace

MemoryFailure::MemoryFailure(int callsAhead) {
  callsLeft = callsAhead;
}

MemoryFailure::~MemoryFailure() {
  callsLeft = -1;
}

void* operator new(std::size_t size) {
  void* const block = memoryIsShort() ? nullptr : std::malloc(std::max<std::size_t>(size, 1));
  if (block == nullptr) {
    throw std::bad_alloc();
  }
  return block;
}

void* operator new[](std::size_t size) {
  return operator new(size);
}

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return memoryIsShort() ? nullptr : std::malloc(std::max<std::size_t>(size, 1));
}

void* operator new[](std::size_t size, const std::nothrow_t& tag) noexcept {
  return operator new(size, tag);
}

void operator delete(void* block) noexcept {
  std::free(block);
}

void operator delete[](void* block) noexcept {
  std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
  std::free(block);
}

void operator delete[](void* block, std::size_t) noexcept {
  std::free(block);
}

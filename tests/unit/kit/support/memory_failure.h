// Makes memory short.
#ifndef TESTS_UNIT_KIT_SUPPORT_MEMORY_FAILURE_H
#define TESTS_UNIT_KIT_SUPPORT_MEMORY_FAILURE_H

// While it lives, every operator new of this thread throws std::bad_alloc, but for the given number of calls ahead.
// Linked into a program, its source replaces operator new and delete there.
class MemoryFailure {
 public:
  explicit MemoryFailure(int callsAhead = 0);
  MemoryFailure(const MemoryFailure&) = delete;
  MemoryFailure& operator=(const MemoryFailure&) = delete;
  ~MemoryFailure();
};

#endif

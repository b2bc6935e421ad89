// Allocations that fail on demand. The program takes malloc and its kin and operator new over, for itself and for every
// library that it loads, counts the blocks that live, and fails the allocation it is told to.
#ifndef SUPPORT_ALLOCATION_FAULTS_H
#define SUPPORT_ALLOCATION_FAULTS_H

#include <cstdint>

// How often an allocation fails once its number has come.
enum class AllocationMode { once, fromThenOn };

// Which allocations count for a plan.
enum class AllocationKind { all, operatorNew };

// Whether this build takes all allocations over. Under ThreadSanitizer only operator new is, and nothing else fails or
// counts.
bool allocationsAreTakenOver();

// Requests for memory so far, also those that were refused, and blocks that are allocated and not freed, of all
// threads. Blocks are 0 always under AddressSanitizer, whose own copies of some functions free what was counted; there
// LeakSanitizer looks for leaks.
std::int64_t allocationRequests();
std::int64_t livingBlocks();
// Whether LeakSanitizer finds a block that nothing points to; it says on standard error where that came from.
bool leakSanitizerFindsLeaks();

// From now on, while the calling thread is inside a FaultyRegion, its number-th allocation there fails, counted from 1;
// number 0 only counts.
void planAllocationFault(std::uint64_t number, AllocationMode mode, AllocationKind kind = AllocationKind::all);
// Ends the plan.
void forgetAllocationFault();
// Writes the call stack of every allocation that is made to fail to standard error.
void showAllocationFaults();
// Allocations in faulty regions since the plan was made, and whether one was made to fail.
std::uint64_t plannedAllocations();
bool allocationFaultHappened();

// From now on allocations that succeed leave an error number all the same, as any may, or no longer.
void setErrnoInAllocations(bool set);

// The part of a thread's work in which its allocations count and may fail: a call of the code under test.
class FaultyRegion {
 public:
  FaultyRegion();
  ~FaultyRegion();
  FaultyRegion(const FaultyRegion&) = delete;
  FaultyRegion& operator=(const FaultyRegion&) = delete;
};

// Whether the calling thread is inside one.
bool inFaultyRegion();

// A part of a faulty region that is the harness's own work: calls that it has taken over, callbacks.
class SoundRegion {
 public:
  SoundRegion();
  ~SoundRegion();
  SoundRegion(const SoundRegion&) = delete;
  SoundRegion& operator=(const SoundRegion&) = delete;

 private:
  const bool m_wasFaulty;
};

// While it lives, every operator new of this thread fails, but for the given number of calls ahead.
class MemoryFailure {
 public:
  explicit MemoryFailure(int callsAhead = 0) {
    planAllocationFault(static_cast<std::uint64_t>(callsAhead) + 1, AllocationMode::fromThenOn,
                        AllocationKind::operatorNew);
  }
  MemoryFailure(const MemoryFailure&) = delete;
  MemoryFailure& operator=(const MemoryFailure&) = delete;
  ~MemoryFailure() { forgetAllocationFault(); }

 private:
  const FaultyRegion m_region;
};

#endif

// Allocations that fail on demand. The program takes malloc and its kin over from the C library, for itself and for
// every library that it loads, counts the blocks that live, and fails the allocation it is told to.
#ifndef ALLOCATION_FAULTS_H
#define ALLOCATION_FAULTS_H

#include <cstdint>

namespace faults {

// How often an allocation fails once its number has come.
enum class AllocationMode { once, fromThenOn };

// Whether this build takes allocations over; under ThreadSanitizer they are left alone, and nothing fails or counts.
bool allocationsAreTakenOver();

// Blocks that are allocated and not freed, of all threads. 0 always under AddressSanitizer, whose own copies of some
// functions free what was counted; there LeakSanitizer looks for leaks.
std::int64_t livingBlocks();
// Whether LeakSanitizer finds a block that nothing points to; it says on standard error where that came from.
bool leakSanitizerFindsLeaks();

// From now on, while the calling thread is inside a FaultyRegion, its number-th allocation there fails, counted from 1;
// number 0 only counts.
void planAllocationFault(std::uint64_t number, AllocationMode mode);
// Ends the plan.
void forgetAllocationFault();
// Writes the call stack of every allocation that is made to fail to standard error.
void showAllocationFaults();
// Allocations in faulty regions since the plan was made, and whether one was made to fail.
std::uint64_t plannedAllocations();
bool allocationFaultHappened();

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

}  // namespace faults

#endif

// Mutexes that fail on demand, which in earnest happens to damaged ones only. The program takes the calls over from the
// C library and from ACE, for itself and for every library that it loads.
#ifndef SUPPORT_MUTEX_FAULTS_H
#define SUPPORT_MUTEX_FAULTS_H

#include <cstdint>

// Whether this build takes locks over; under ThreadSanitizer they are left alone, and nothing fails or counts.
bool locksAreTakenOver();

// From now on only those locks fail and count whose caller this says yes to; all do by default. caller: an address in
// the function that asks for the lock.
using LockFilter = bool (*)(const void* caller);
void countLocks(LockFilter filter);
// Whether an address belongs to a library with this text in its path.
bool isOfLibrary(const void* address, const char* pathPart);

// The calling thread's number-th lock from now on, counted from 1, fails once with EINVAL; number 0 only counts.
void planMutexFault(std::uint64_t number);
// Ends the plan.
void forgetMutexFault();
// Writes the call stack of everything that is made to fail to standard error.
void showMutexFaults();
// The calling thread's locks since the last plan was made, or ever, and whether that plan has made one fail.
std::uint64_t plannedLocks();
bool mutexFaultHappened();

enum class MutexCall { lock, unlock };

// A plan for as long as it lives: this thread's call with that number answers the error. An unlock takes effect
// nevertheless.
class MutexFailure {
 public:
  MutexFailure(MutexCall call, int number, int error);
  MutexFailure(const MutexFailure&) = delete;
  MutexFailure& operator=(const MutexFailure&) = delete;
  ~MutexFailure() { forgetMutexFault(); }
};

#endif

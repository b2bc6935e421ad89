// Mutexes that fail on demand. The program takes the locking over from the C library and from ACE, for itself and for
// every library that it loads.
#ifndef MUTEX_FAULTS_H
#define MUTEX_FAULTS_H

#include <cstdint>

namespace faults {

// Whether this build takes locks over; under ThreadSanitizer they are left alone, and nothing fails or counts.
bool locksAreTakenOver();

// From now on, while the calling thread is inside a FaultyRegion, its number-th lock there fails once, counted from 1;
// number 0 only counts.
void planMutexFault(std::uint64_t number);
// Ends the plan.
void forgetMutexFault();
// Writes the call stack of every lock that is made to fail to standard error.
void showMutexFaults();
// Locks in faulty regions since the plan was made, and whether one was made to fail.
std::uint64_t plannedLocks();
bool mutexFaultHappened();

}  // namespace faults

#endif

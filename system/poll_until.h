// Waiting for descriptors with a deadline.
#ifndef SYSTEM_POLL_UNTIL_H
#define SYSTEM_POLL_UNTIL_H

#include <poll.h>

#include <chrono>
#include <span>

namespace qmfi_system {

// Waits until a descriptor of the set is ready or the deadline has passed; looks once when it has passed already.
// Signals do not end the wait. False when none was ready by then or it cannot wait. Thread-safe; a point of
// cancellation.
bool pollUntil(std::span<pollfd> set, std::chrono::steady_clock::time_point deadline);

}  // namespace qmfi_system

#endif

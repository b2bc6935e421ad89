// The time after which the kernel ends a freeze by itself.
#ifndef FREEZE_TIMEOUT_H
#define FREEZE_TIMEOUT_H

#include <chrono>
#include <string>

namespace qmfi_host {

inline constexpr int shortestFreezeTimeout = 1;
inline constexpr int longestFreezeTimeout = 3600;

// The time-out that the framework's configuration holds for a provider; two seconds where there is none or it lies
// outside the range above.
std::chrono::seconds configuredFreezeTimeout(const std::string& provider);

}  // namespace qmfi_host

#endif

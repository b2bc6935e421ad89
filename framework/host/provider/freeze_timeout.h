// The time after which the kernel ends a freeze by itself.
#ifndef FREEZE_TIMEOUT_H
#define FREEZE_TIMEOUT_H

#include <chrono>

#include "provider/provider.h"

namespace qmfi_host {

inline constexpr int shortestFreezeTimeout = 1;
inline constexpr int longestFreezeTimeout = 3600;

// The time-out that the framework's configuration holds for a provider, at the place that the provider's descriptor
// names; two seconds where there is none or it lies outside the range above.
std::chrono::seconds configuredFreezeTimeout(const Provider& provider);

}  // namespace qmfi_host

#endif

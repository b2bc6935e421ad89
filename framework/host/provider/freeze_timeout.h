// The time after which a freeze ends without a thaw.
#ifndef FREEZE_TIMEOUT_H
#define FREEZE_TIMEOUT_H

#include <chrono>

#include "provider/provider.h"

namespace qmfi_host {

// The range of a freeze's time-out, in seconds.
inline constexpr int shortestFreezeTimeout = 1;
inline constexpr int longestFreezeTimeout = 3600;

// The time-out that the framework's configuration holds for a provider, under the section and name in the provider's
// descriptor; two seconds where there is none. Ten for a provider whose freezes the kernel does not end. Throws
// HostError for one that is no number in the range above.
std::chrono::seconds configuredFreezeTimeout(const Provider& provider);

}  // namespace qmfi_host

#endif

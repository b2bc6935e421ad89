// Telling, after a host was killed, whether its freeze may still last.
#ifndef FREEZE_MOMENT_H
#define FREEZE_MOMENT_H

#include "state/snapshot.h"

namespace qmfi_host {

// The present moment of the running machine.
FreezeMoment presentMoment();

// Whether a freeze may still last now that was about to begin then: on the same run of the machine and, where the
// kernel ends such freezes, not long after that. kernelTimeout: zero where it does not.
bool mayStillLast(const FreezeMoment& then, std::chrono::seconds kernelTimeout, const FreezeMoment& now);

}  // namespace qmfi_host

#endif

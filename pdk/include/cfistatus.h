// What operations answer, and the numbers that errors carry.
#ifndef CFISTATUS_H
#define CFISTATUS_H

namespace qmfi_pdk_4_4 {

// Answers of entry points and operations, and numbers of CFiError. Operations return int, since a provider may have
// statuses of its own, and claim answers KFI_CLAIMED.
enum CFiStatus : int {
#define FI_STATUS(name, number, text) CFI_STATUS_##name = (number),
#include "cfistatus.def"
};

}  // namespace qmfi_pdk_4_4

#endif

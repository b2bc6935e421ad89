// The filter that hands freeze requests of the filtered processes to the driver.
#ifndef REQUEST_FILTER_H
#define REQUEST_FILTER_H

#include "system/descriptor.h"

namespace testbed {

// From now on the ioctl calls of this process and all its descendants that carry one of the freeze requests wait for
// the driver's answer. Returns the descriptor on which the driver listens. Throws std::system_error.
qmfi_system::Descriptor installRequestFilter();

}  // namespace testbed

#endif

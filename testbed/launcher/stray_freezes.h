// Freezes that did not go through the driver.
#ifndef STRAY_FREEZES_H
#define STRAY_FREEZES_H

#include <sys/types.h>

namespace testbed {

// Thaws every mounted file system on a volume of `pool`, whoever froze it: a program inside can do so without the
// driver, and one that stayed frozen when its last mount goes could never be thawed.
void thawStrayFreezes(dev_t pool);

}  // namespace testbed

#endif

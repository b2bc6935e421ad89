// The freeze of a snapshot as a picture.
#ifndef TIMELINE_PICTURE_H
#define TIMELINE_PICTURE_H

#include <string>

#include "state/snapshot.h"

namespace qmfi_host {

// SVG with a bar for each file system: when it was asked to freeze, frozen, proven to be and thawed, and when the
// volumes were split. Throws HostError for a snapshot without a receipt.
std::string timelineOf(const Snapshot& snapshot);

}  // namespace qmfi_host

#endif

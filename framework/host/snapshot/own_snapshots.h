// Telling snapshots of qmfi's own from file systems of the user's.
#ifndef OWN_SNAPSHOTS_H
#define OWN_SNAPSHOTS_H

#include <string>

#include "state/state_store.h"

namespace qmfi_host {

// Throws HostError that names the snapshot when a path is part of one: its directory, its alternate or something in
// them, or its device.
// path: a mount point, or the path of a device. What is not there is part of none.
void requireNoSnapshot(const StateStore& store, const std::string& path);

}  // namespace qmfi_host

#endif

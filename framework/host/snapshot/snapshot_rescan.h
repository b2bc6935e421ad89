// Rebuilding the state store from the records that lie beside the copies.
#ifndef SNAPSHOT_RESCAN_H
#define SNAPSHOT_RESCAN_H

#include <functional>

#include "state/state_store.h"
#include "volume/splitters.h"

namespace qmfi_host {

// Enters every snapshot that a record tells of and the store does not know, or knows as damaged; tells of each by its
// id. A record that is of no use is reported on standard error and keeps no other from being used. Returns whether
// there was none such. Throws HostError when the store cannot be written.
bool rescan(StateStore& store, const Splitters& splitters, const std::function<void(const std::string&)>& found);

}  // namespace qmfi_host

#endif

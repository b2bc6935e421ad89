// Taking a mounted file system out of use.
#ifndef ACCESS_DISABLING_H
#define ACCESS_DISABLING_H

#include <string>

#include "provider/provider.h"
#include "state/state_lock.h"
#include "state/state_store.h"

namespace qmfi_host {

// Unmounts the file system; what a later command needs to mount it again is in the state store before. Does nothing
// when it has been taken out of use already. force: unmount it also when it is in use. Throws HostError; the state
// store then still knows the file system unless it is still mounted. unlocked: for the unmount, which may be tried for
// long; the mount point is claimed then.
void disableAccess(Provider& provider, StateStore& store, const std::string& mountPoint, bool force,
                   const RunUnlocked& unlocked = runLocked);

}  // namespace qmfi_host

#endif

// What commands open before they work: a provider, the state.
#ifndef COMMAND_SESSION_H
#define COMMAND_SESSION_H

#include <optional>
#include <string>

#include "cli/command.h"
#include "failure/host_error.h"
#include "provider/installed_providers.h"
#include "state/state_directory.h"
#include "state/state_lock.h"
#include "state/state_store.h"
#include "state/work_claim.h"
#include "trust/trusted_path.h"
#include "volume/machine_splitters.h"

namespace qmfi_host {

// The providers that are installed, or the one that the user chose. Only files that root alone can change are used.
class OpenProviders : public InstalledProviders {
 public:
  // Starts none of them yet.
  explicit OpenProviders(const Settings& settings)
      : InstalledProviders(settings.providerDirectory, settings.provider, settings.language, requireTrusted) {}
};

// Starts every provider that a snapshot was made with. Throws HostError.
void requireProviders(Providers& providers, const Snapshot& snapshot);

// The state for reading; nothing is known where there is none. Makes nothing. Throws HostError, also for a directory
// that others than root can change.
StateStore openState(const Settings& settings);

// The state for changing: no other process changes it as long as this object lives.
class LockedState {
 public:
  // Waits for another process that has the state, and says so on standard error when it takes long. Throws HostError,
  // also at the end of the time that is waited.
  // movesDamagedAside: a database that is damaged gives way to an empty one, and lies beside it under another name;
  // waits until nobody works on anything.
  explicit LockedState(const Settings& settings, bool movesDamagedAside = false);

  StateStore& store() { return m_store; }

  // Claims a thing for the life of the result. Waits for another process that works on it, as for the state, which is
  // let go meanwhile: what was read before may have changed then. what: as for WorkClaim.
  WorkClaim claim(const std::string& what);

  // The same, but tells for whom it does not wait, and returns nothing then.
  std::optional<WorkClaim> claimUnlessWorkedOn(const std::string& what);

  // Lets other processes change the state while an action works on what is claimed.
  RunUnlocked unlocked();

 private:
  const Settings& m_settings;
  WaitingEnd m_waitingEnd;
  StateLock m_lock;
  StateStore m_store;
};

// What the splitters of a command need of its settings.
SplitterSettings splitterSettings(const Settings& settings);

// The failure of a command that cannot go on with a damaged snapshot.
HostError damageOf(const DamagedSnapshot& damaged);

// The id of the snapshot of an id or name, damaged or not. Throws HostError when there is no such snapshot.
std::string requireKnown(const StateStore& store, const std::string& idOrName);

// The snapshot of an id or name. Throws HostError when there is no such snapshot, or when it is damaged.
Snapshot requireSnapshot(const StateStore& store, const std::string& idOrName);

// Throws HostError for a snapshot that an interrupted command left.
void requireComplete(const Snapshot& snapshot);

// A mount point as mount tables write it: absolute, without symbolic links and needless slashes. Left as it is when the
// path does not exist.
std::string canonicalPath(const std::string& path);

// The same, of one that is to be mounted, unmounted or remounted by its name. Throws HostError where others than root
// decide what the name leads to.
std::string trustedMountPoint(const std::string& path);

// The same for a device that is to be formatted or mounted. Paths of the device directories of the providers' volumes
// are kept although they may be links themselves: they are what volumes are known by.
std::string trustedDevice(Providers& providers, const std::string& path);

}  // namespace qmfi_host

#endif

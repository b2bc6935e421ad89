// What commands open before they work: a provider, the state.
#ifndef COMMAND_SESSION_H
#define COMMAND_SESSION_H

#include <string>

#include "cli/command.h"
#include "provider/installed_providers.h"
#include "state/state_directory.h"
#include "state/state_store.h"

namespace qmfi_host {

// The providers that are installed, or the one that the user chose.
class OpenProviders : public InstalledProviders {
 public:
  explicit OpenProviders(const Settings& settings)
      : InstalledProviders(settings.providerDirectory, settings.provider, settings.language) {}
};

// Starts every provider that a snapshot was made with. Throws HostError.
void requireProviders(Providers& providers, const Snapshot& snapshot);

// The state for reading.
StateStore openState(const Settings& settings);

// The state for changing: no other process changes it as long as this object lives.
class LockedState {
 public:
  // Waits for another process that has the state. Throws HostError.
  explicit LockedState(const Settings& settings);

  StateStore& store() { return m_store; }

 private:
  StateLock m_lock;
  StateStore m_store;
};

// Throws HostError when there is no such snapshot.
Snapshot requireSnapshot(const StateStore& store, const std::string& idOrName);

// Throws HostError for a snapshot that an interrupted command left.
void requireComplete(const Snapshot& snapshot);

// A mount point as mount tables write it: absolute, without symbolic links and needless slashes. Left as it is when the
// path does not exist.
std::string canonicalPath(const std::string& path);

// The same for a device. Paths of the device directories of the providers' volumes are kept although they may be links
// themselves: they are what volumes are known by.
std::string canonicalDevice(Providers& providers, const std::string& path);

}  // namespace qmfi_host

#endif

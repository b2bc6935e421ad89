// What commands open before they work: a provider, the state.
#ifndef COMMAND_SESSION_H
#define COMMAND_SESSION_H

#include <string>

#include "cli/command.h"
#include "provider/provider.h"
#include "provider/provider_entry_points.h"
#include "state/state_directory.h"
#include "state/state_store.h"

namespace qmfi_host {

// A provider, loaded and started.
class LoadedProvider {
 public:
  // The provider of the settings, or the one that a snapshot was made with. Throws HostError.
  explicit LoadedProvider(const Settings& settings) : LoadedProvider(settings, settings.provider) {}
  LoadedProvider(const Settings& settings, const std::string& name)
      : m_library(settings.providerDirectory, name), m_provider(m_library.entryPoints(), name, settings.language) {}

  Provider& operator*() { return m_provider; }

 private:
  ProviderLibrary m_library;
  Provider m_provider;
};

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

// The same for a device. Paths of the volumes' own device directories are kept although they may be links themselves:
// they are what volumes are known by.
std::string canonicalDevice(const std::string& path);

}  // namespace qmfi_host

#endif

// Opening of the state.
#include "cli/command_session.h"

#include <algorithm>

#include "failure/host_error.h"

namespace qmfi_host {

namespace {

StateLock waitForLock(const Settings& settings) {
  makeStateDirectory(settings.stateDirectory);
  std::optional<StateLock> lock;
  settings.signals->deliverDuring([&] { lock.emplace(settings.stateDirectory); });
  return std::move(*lock);
}

}  // namespace

StateStore openState(const Settings& settings) {
  makeStateDirectory(settings.stateDirectory);
  return StateStore(settings.stateDirectory);
}

LockedState::LockedState(const Settings& settings) : m_lock(waitForLock(settings)), m_store(settings.stateDirectory) {}

void requireProviders(Providers& providers, const Snapshot& snapshot) {
  for (const SnapshotNode& node : snapshot.nodes) providers.named(node.provider);
}

Snapshot requireSnapshot(const StateStore& store, const std::string& idOrName) {
  std::optional<Snapshot> snapshot = store.find(idOrName);
  if (!snapshot) throw HostError("there is no snapshot \"" + idOrName + "\"");
  return std::move(*snapshot);
}

void requireComplete(const Snapshot& snapshot) {
  if (isAtRest(snapshot.phase)) return;
  throw HostError("the snapshot " + snapshot.id + " was interrupted (" + phaseName(snapshot.phase) +
                  "); \"qmfi recover\" puts it in order");
}

std::string canonicalPath(const std::string& path) {
  std::error_code error;
  const std::filesystem::path canonical = std::filesystem::canonical(path, error);
  return error ? path : canonical.string();
}

std::string canonicalDevice(Providers& providers, const std::string& path) {
  std::error_code error;
  const std::string absolute = std::filesystem::absolute(path, error).lexically_normal();
  const std::vector<Provider*> started = providers.started();
  const bool isVolume = std::any_of(started.begin(), started.end(), [&](const Provider* provider) {
    return isVolumeDevice(provider->descriptor(), absolute);
  });
  return isVolume ? absolute : canonicalPath(path);
}

}  // namespace qmfi_host

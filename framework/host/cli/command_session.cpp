// Opening of the state.
#include "cli/command_session.h"

#include <algorithm>
#include <chrono>
#include <exception>
#include <functional>

#include "texts/translation.h"

namespace qmfi_host {

namespace {

WaitingEnd waitingEndOf(const Settings& settings) {
  if (!settings.lockWait) return std::nullopt;
  return std::chrono::steady_clock::now() + std::chrono::seconds(*settings.lockWait);
}

// Signals end the process while it waits.
StateLock waitForLock(const Settings& settings, bool untilNobodyWorks, WaitingEnd end) {
  requireTrusted(settings.stateDirectory);
  makeStateDirectory(settings.stateDirectory);
  std::optional<StateLock> lock;
  settings.signals->deliverDuring([&] {
    lock.emplace(settings.stateDirectory, settings.command, printNotice, end);
    // Whoever works would go on with the database that is moved aside. Nobody begins to while the lock is held.
    while (untilNobodyWorks && isAnythingWorkedOn(settings.stateDirectory)) {
      lock->release();
      waitForWorker(settings.stateDirectory, std::nullopt, printNotice, end);
      lock->acquire();
    }
  });
  return std::move(*lock);
}

StateStore openStore(const std::filesystem::path& directory, bool movesDamagedAside) {
  if (movesDamagedAside) {
    if (const auto moved = StateStore::moveAsideIfDamaged(directory)) {
      printNotice(translate("the state store is damaged; it is now {0}", moved->string()));
    }
  }
  return StateStore(directory);
}

}  // namespace

StateStore openState(const Settings& settings) {
  requireTrusted(settings.stateDirectory / "state.db");
  return StateStore::readFrom(settings.stateDirectory);
}

LockedState::LockedState(const Settings& settings, bool movesDamagedAside)
    : m_settings(settings),
      m_waitingEnd(waitingEndOf(settings)),
      m_lock(waitForLock(settings, movesDamagedAside, m_waitingEnd)),
      m_store(openStore(settings.stateDirectory, movesDamagedAside)) {}

WorkClaim LockedState::claim(const std::string& what) {
  const std::filesystem::path& directory = m_settings.stateDirectory;
  for (;;) {
    std::optional<WorkClaim> claim = WorkClaim::take(directory, what, m_settings.command);
    if (claim) return std::move(*claim);
    m_lock.release();
    m_settings.signals->deliverDuring([&] {
      waitForWorker(directory, what, printNotice, m_waitingEnd);
      m_lock.acquire();
    });
  }
}

std::optional<WorkClaim> LockedState::claimUnlessWorkedOn(const std::string& what) {
  const std::filesystem::path& directory = m_settings.stateDirectory;
  std::optional<WorkClaim> claim = WorkClaim::take(directory, what, m_settings.command);
  if (claim) return claim;
  const std::optional<std::string> worker = workerOn(directory, what);
  printNotice(worker ? translate("does not wait for {0}", *worker) : translate("does not wait for another process"));
  return std::nullopt;
}

RunUnlocked LockedState::unlocked() {
  return [this](const std::function<void()>& action) {
    m_lock.release();
    std::exception_ptr error;
    try {
      action();
    } catch (const HostError&) {
      error = std::current_exception();
    }
    m_lock.acquire();
    if (error != nullptr) std::rethrow_exception(error);
  };
}

SplitterSettings splitterSettings(const Settings& settings) {
  return {settings.splitterCommand, settings.stateDirectory / "records"};
}

void requireProviders(Providers& providers, const Snapshot& snapshot) {
  for (const SnapshotNode& node : snapshot.nodes) providers.named(node.provider);
}

HostError damageOf(const DamagedSnapshot& damaged) {
  const std::string& id = damaged.snapshot.id;
  const std::string way = translate("\"qmfi snapshot delete {0}\" removes what can be found of it", id);
  return HostError(Failure::snapshotDamaged,
                   translate("the snapshot {0} is damaged ({1}); {2}", id, damaged.damage, way))
      .about(id)
      .because(damaged.damage)
      .advise(way);
}

namespace {

HostError unknownSnapshot(const std::string& idOrName) {
  return HostError(Failure::noSuchSnapshot, translate("there is no snapshot \"{0}\"", idOrName)).about(idOrName);
}

}  // namespace

std::string requireKnown(const StateStore& store, const std::string& idOrName) {
  if (const std::optional<Snapshot> snapshot = store.find(idOrName)) return snapshot->id;
  if (const std::optional<DamagedSnapshot> damaged = store.findDamaged(idOrName)) return damaged->snapshot.id;
  throw unknownSnapshot(idOrName);
}

Snapshot requireSnapshot(const StateStore& store, const std::string& idOrName) {
  if (std::optional<Snapshot> snapshot = store.find(idOrName)) return std::move(*snapshot);
  const std::optional<DamagedSnapshot> damaged = store.findDamaged(idOrName);
  if (!damaged) throw unknownSnapshot(idOrName);
  throw damageOf(*damaged);
}

void requireComplete(const Snapshot& snapshot) {
  if (isAtRest(snapshot.phase)) return;
  throw HostError(Failure::snapshotInterrupted,
                  translate("the snapshot {0} was interrupted ({1}); \"qmfi recover\" cleans it up", snapshot.id,
                            phaseName(snapshot.phase)))
      .about(snapshot.id);
}

std::string canonicalPath(const std::string& path) {
  std::error_code error;
  const std::filesystem::path canonical = std::filesystem::canonical(path, error);
  return error ? path : canonical.string();
}

std::string trustedMountPoint(const std::string& path) {
  requireTrustedUpTo(path);
  return canonicalPath(path);
}

std::string trustedDevice(Providers& providers, const std::string& path) {
  requireTrustedUpTo(path);
  std::error_code error;
  std::string absolute = std::filesystem::absolute(path, error).lexically_normal();
  const std::vector<Provider*> started = providers.started();
  const bool isVolume = std::any_of(started.begin(), started.end(), [&](const Provider* provider) {
    return isVolumeDevice(provider->descriptor(), absolute);
  });
  return isVolume ? absolute : canonicalPath(path);
}

}  // namespace qmfi_host

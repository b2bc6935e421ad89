// The steps of a snapshot.
#include "snapshot/snapshot_creation.h"

#include <sys/stat.h>

#include <iostream>
#include <utility>

#include "provider/freeze_timeout.h"
#include "snapshot/snapshot_removal.h"

namespace qmfi_host {

namespace {

dev_t fileSystemOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) throw systemError(path + " cannot be read");
  return status.st_dev;
}

// The split writes to the file system that holds the volume's file, which would wait for its own thaw.
void requireVolumesOutside(const Snapshot& snapshot) {
  std::map<dev_t, std::string> frozen;
  for (const SnapshotNode& node : snapshot.nodes) frozen.emplace(fileSystemOf(node.mountPoint), node.mountPoint);
  for (const SnapshotNode& node : snapshot.nodes) {
    const auto found = frozen.find(fileSystemOf(node.volume.volumeFile));
    if (found != frozen.end()) {
      throw HostError("the volume of " + node.mountPoint + " lies on " + found->second +
                      ", which is to be frozen with it");
    }
  }
}

}  // namespace

Snapshot SnapshotCreation::run(const SnapshotRequest& request) {
  initialiseNodes(request);
  plan(request);
  enterInStore();
  try {
    make();
  } catch (...) {
    undo();
    throw;
  }
  return m_snapshot;
}

void SnapshotCreation::initialiseNodes(const SnapshotRequest& request) {
  for (const ClaimedFileSystem& fileSystem : request.fileSystems) addPart(fileSystem, request);
  for (const ClaimedFileSystem& fileSystem : request.fileSystems) {
    Part& part = m_parts.at(fileSystem.provider);
    m_nodes.emplace_back(*part.provider, fileSystem.mountPoint).initialise(&*part.config);
  }
}

void SnapshotCreation::addPart(const ClaimedFileSystem& fileSystem, const SnapshotRequest& request) {
  const auto [place, isNew] = m_parts.try_emplace(fileSystem.provider);
  if (!isNew) return;
  Part& part = place->second;
  part.provider = &m_providers.named(fileSystem.provider);
  part.config.emplace(*part.provider, fileSystem.group, ObjectKind::object);
  part.config->initialise(nullptr);
  const std::optional<ProviderDescriptor::Timeout>& timeout = part.provider->descriptor().timeout;
  if (!timeout) return;
  part.timeout = request.freezeTimeout ? *request.freezeTimeout : configuredFreezeTimeout(*part.provider);
  part.config->configure(timeout->parameter, std::to_string(part.timeout->count()));
}

void SnapshotCreation::plan(const SnapshotRequest& request) {
  m_snapshot.id = newSnapshotId();
  m_snapshot.name = request.name.empty() ? m_snapshot.id : request.name;
  m_snapshot.created = std::chrono::floor<Snapshot::Time::duration>(std::chrono::system_clock::now());
  for (Node& node : m_nodes) {
    const std::vector<std::string> devices = node.subObjects();
    if (devices.empty()) throw HostError(node.name() + " has no device");
    SnapshotNode planned;
    const ProviderDescriptor& descriptor = node.provider().descriptor();
    planned.provider = node.provider().name();
    planned.thawRequest = descriptor.thawRequest;
    planned.mountPoint = node.name();
    planned.volume = m_splitter.plan(devices.front(), m_snapshot.id);
    planned.volume.rawDevice = rawDeviceOf(descriptor, planned.volume.snapshotDevice);
    planned.alternate = node.name() + "_alt" + m_snapshot.id;
    m_snapshot.nodes.push_back(std::move(planned));
  }
  requireVolumesOutside(m_snapshot);
}

// SQLite may report a failure, as of unlocking, for what it has written all the same.
void SnapshotCreation::enterInStore() {
  try {
    m_store.add(m_snapshot);
  } catch (const UsageError&) {
    // It is another snapshot that the store knows by this id or name.
    throw;
  } catch (const HostError&) {
    m_store.remove(m_snapshot.id);
    throw;
  }
}

void SnapshotCreation::enter(Phase phase) {
  m_signals.throwIfPending();
  m_snapshot.phase = phase;
  m_store.update(m_snapshot);
}

void SnapshotCreation::make() {
  split();
  enter(Phase::attaching);
  const std::vector<std::unique_ptr<SnapshotDevice>> devices = attach();
  enter(Phase::mounting);
  mount();
  enter(Phase::ready);
}

void SnapshotCreation::split() {
  std::map<std::string, FreezeGroup> byProvider;
  auto node = m_nodes.begin();
  for (const SnapshotNode& planned : m_snapshot.nodes) {
    const Part& part = m_parts.at(planned.provider);
    FreezeGroup& group =
        byProvider.try_emplace(planned.provider, FreezeGroup{part.provider, part.timeout}).first->second;
    group.targets.push_back({&*node++, planned.volume.device, m_splitter.prepare(planned.volume)});
  }
  std::vector<FreezeGroup> groups;
  groups.reserve(byProvider.size());
  for (auto& [provider, group] : byProvider) groups.push_back(std::move(group));
  enter(Phase::freezing);
  m_snapshot.frozen = splitFrozen(groups);
}

// The devices must be held until they are mounted.
std::vector<std::unique_ptr<SnapshotDevice>> SnapshotCreation::attach() {
  std::vector<std::unique_ptr<SnapshotDevice>> devices;
  for (const SnapshotNode& node : m_snapshot.nodes) devices.push_back(m_splitter.attach(node.volume));
  return devices;
}

void SnapshotCreation::mount() {
  auto node = m_nodes.begin();
  for (SnapshotNode& planned : m_snapshot.nodes) {
    m_signals.throwIfPending();
    Node& primary = *node++;
    primary.nameAlternate(planned.alternate);
    planned.alternate =
        primary.provider().buildAlternate(primary, m_snapshot.id, planned.volume.device, planned.volume.snapshotDevice);
    Node alternate(primary.provider(), planned.alternate);
    alternate.initialiseAlternate(primary);
    planned.state = primary.fetchState();
    planned.alternateState = alternate.fetchState();
  }
}

// What fails here is told now; the failure that led here is told by whoever catches it.
void SnapshotCreation::undo() {
  m_nodes.clear();
  m_parts.clear();
  if (tryOrReport([&] { SnapshotRemoval(m_providers, m_splitter, m_store).remove(m_snapshot); })) return;
  std::cerr << "qmfi: the unfinished snapshot " << m_snapshot.id << " is left; \"qmfi recover\" removes it\n";
}

}  // namespace qmfi_host

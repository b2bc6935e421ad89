// The steps of a snapshot.
#include "snapshot/snapshot_creation.h"

#include <sys/stat.h>

#include <algorithm>
#include <utility>

#include "provider/freeze_timeout.h"
#include "snapshot/freeze_moment.h"
#include "snapshot/nested_nodes.h"
#include "snapshot/snapshot_removal.h"
#include "snapshot/storage_space.h"
#include "state/snapshot_record.h"
#include "volume/possible_name.h"

namespace qmfi_host {

namespace {

dev_t fileSystemOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) throw systemError(path + " cannot be read").about(path);
  return status.st_dev;
}

// What a split writes to would wait for its own thaw.
void requireVolumesOutside(const Snapshot& snapshot, const Splitters& splitters) {
  std::map<dev_t, std::string> frozen;
  for (const SnapshotNode& node : snapshot.nodes) frozen.emplace(fileSystemOf(node.mountPoint), node.mountPoint);
  for (const SnapshotNode& node : snapshot.nodes) {
    const std::string place = splitters.named(node.volume.splitter).workPlace(node.volume);
    const auto found = place.empty() ? frozen.end() : frozen.find(fileSystemOf(place));
    if (found == frozen.end()) continue;
    const bool isVolume = place == node.volume.volumeFile;
    throw HostError((isVolume ? "the volume of " + node.mountPoint + " lies on "
                              : "what splits the volume of " + node.mountPoint + " writes to " + place + " on ") +
                    found->second + ", which is to be frozen with it");
  }
}

// Providers hand names to programs as words, and refuse such a one only when they do so, after the freeze.
void requireWord(const std::string& what, const std::string& name) {
  if (name.find_first_of(" \t\n") == std::string::npos) return;
  throw HostError("no snapshot can be taken with " + what + " \"" + name +
                  "\": a name with a blank, a tab or a line feed cannot be given to the programs that mount; use "
                  "another name");
}

// A receipt has the file systems in the order in which they were frozen.
FreezeReceipt inOrderOf(const Snapshot& snapshot, FreezeReceipt receipt, const std::vector<FreezeGroup>& groups) {
  std::map<std::string, FileSystemReceipt> byMountPoint;
  auto next = receipt.fileSystems.begin();
  for (const FreezeGroup& group : groups) {
    for (const FreezeTarget& target : group.targets) byMountPoint[target.fileSystem->mountPoint()] = *next++;
  }
  receipt.fileSystems.clear();
  for (const SnapshotNode& node : snapshot.nodes) receipt.fileSystems.push_back(byMountPoint.at(node.mountPoint));
  return receipt;
}

}  // namespace

void requireLevel(const FreezeReceipt& receipt, ProofLevel required) {
  if (levelOf(receipt) >= required) return;
  throw HostError(ExitStatus::weakerThanRequired,
                  "it is not proven that all file systems were frozen until their volumes had been split, since the "
                  "thaw came after a time-out; the snapshot is not kept, as --require " +
                      levelName(required) + " asks; --freeze-timeout sets a longer time-out");
}

Snapshot SnapshotCreation::run(const SnapshotRequest& request) {
  m_whenComplete = request.whenComplete;
  m_requiredLevel = request.required;
  initialiseNodes(request);
  plan(request);
  enterInStore();
  claimDirectory();
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
  part.timeout = request.freezeTimeout ? *request.freezeTimeout : configuredFreezeTimeout(*part.provider);
  const std::optional<ProviderDescriptor::Timeout>& timeout = part.provider->descriptor().timeout;
  if (timeout) part.config->configure(timeout->parameter, std::to_string(part.timeout.count()));
}

void SnapshotCreation::plan(const SnapshotRequest& request) {
  m_snapshot.id = request.id;
  m_snapshot.name = request.name.empty() ? m_snapshot.id : request.name;
  m_store.requireUnknown(m_snapshot);
  m_snapshot.created = std::chrono::floor<Snapshot::Time::duration>(std::chrono::system_clock::now());
  for (Node& node : m_nodes) {
    const std::vector<std::string> devices = node.subObjects();
    if (devices.empty()) throw HostError(node.name() + " has no device");
    requireWord("the mount point", node.name());
    requireWord("the device", devices.front());
    SnapshotNode planned;
    const ProviderDescriptor& descriptor = node.provider().descriptor();
    planned.provider = node.provider().name();
    planned.thawRequest = descriptor.thawRequest;
    planned.mountPoint = node.name();
    planned.volume = splitterFor(devices.front(), node.name(), request).plan(devices.front(), m_snapshot.id);
    planned.volume.rawDevice = rawDeviceOf(descriptor, planned.volume.snapshotDevice);
    planned.alternate = m_directories.plan(request.alternateDirectory, m_snapshot.name, node.name());
    for (const std::string& path : {planned.alternate, planned.volume.rawDevice}) requirePossibleName(path);
    m_snapshot.nodes.push_back(std::move(planned));
  }
  requireVolumesOutside(m_snapshot, m_splitters);
  if (!request.overcommit) requireSpace(m_splitters, m_snapshot, m_store.snapshots());
}

const VolumeSplitter& SnapshotCreation::splitterFor(const std::string& device, const std::string& mountPoint,
                                                    const SnapshotRequest& request) const {
  const auto chosen = request.splitters.find(mountPoint);
  return m_splitters.choose(device, chosen != request.splitters.end() ? chosen->second : request.splitter);
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

// Another qmfi has the directory: nothing below it is ours, to be unmounted or removed.
void SnapshotCreation::claimDirectory() {
  try {
    m_directories.claim(m_snapshot);
  } catch (const HostError&) {
    if (!tryOrReport([&] { m_store.remove(m_snapshot.id); })) tellWhatIsLeft();
    throw;
  }
}

void SnapshotCreation::enter(Phase phase) {
  m_signals.throwIfPending();
  m_snapshot.phase = phase;
  // Once before there is anything that could be lost, and once when all is known.
  if (phase == Phase::freezing || phase == m_whenComplete) keepRecords();
  m_store.update(m_snapshot);
}

void SnapshotCreation::keepRecords() {
  const std::string record = recordOf(m_snapshot);
  for (const SnapshotNode& node : m_snapshot.nodes) {
    m_splitters.named(node.volume.splitter).keepRecord(node.volume, record);
  }
}

void SnapshotCreation::make() {
  makeDirectories();
  split();
  enter(Phase::attaching);
  const std::vector<std::unique_ptr<SnapshotDevice>> devices = attach();
  enter(Phase::mounting);
  mount();
  enter(m_whenComplete);
}

// What cannot be made is known before the freeze. A nested one will be there when that around it is mounted.
void SnapshotCreation::makeDirectories() {
  for (const SnapshotNode& planned : m_snapshot.nodes) {
    if (!isNested(m_snapshot, planned)) m_directories.make(m_snapshot, planned);
  }
}

std::vector<FreezeGroup> SnapshotCreation::freezeGroups() {
  std::map<std::string, FreezeGroup> byProvider;
  auto node = m_nodes.begin();
  for (SnapshotNode& planned : m_snapshot.nodes) {
    const Part& part = m_parts.at(planned.provider);
    FreezeGroup& group =
        byProvider.try_emplace(planned.provider, FreezeGroup{part.provider, part.timeout}).first->second;
    const ProviderDescriptor& driver = part.provider->descriptor();
    if (driver.timeout) planned.kernelTimeout = part.timeout;
    std::unique_ptr<MountedFileSystem> fileSystem =
        m_fileSystems.open({planned.mountPoint, planned.volume.device, driver.freezeRequest, driver.thawRequest});
    group.targets.push_back({&*node++, planned.volume.device, std::move(fileSystem)});
  }
  std::vector<FreezeGroup> groups;
  groups.reserve(byProvider.size());
  for (auto& [provider, group] : byProvider) groups.push_back(std::move(group));
  return groups;
}

// One for each splitter, in the order of the splitters.
std::vector<std::unique_ptr<GroupSplit>> SnapshotCreation::prepareSplits() const {
  std::vector<std::unique_ptr<GroupSplit>> splits;
  for (const VolumeSplitter* const splitter : m_splitters.all()) {
    std::vector<SplitPlan> plans;
    for (const SnapshotNode& node : m_snapshot.nodes) {
      if (node.volume.splitter == splitter->name()) plans.push_back(node.volume);
    }
    if (!plans.empty()) splits.push_back(splitter->prepare(plans));
  }
  return splits;
}

void SnapshotCreation::split() {
  const std::vector<std::unique_ptr<GroupSplit>> splits = prepareSplits();
  // To prepare may take long: the file systems are opened only now, so that what they are is known late.
  std::vector<FreezeGroup> groups = freezeGroups();
  m_snapshot.freeze = presentMoment();
  enter(Phase::freezing);
  m_snapshot.receipt = inOrderOf(m_snapshot, splitFrozen(groups, splits), groups);
  m_snapshot.frozen = m_snapshot.receipt->over;
  requireLevel(*m_snapshot.receipt, m_requiredLevel);
}

// The devices must be held until they are mounted.
std::vector<std::unique_ptr<SnapshotDevice>> SnapshotCreation::attach() {
  std::vector<std::unique_ptr<SnapshotDevice>> devices;
  for (const SnapshotNode& node : m_snapshot.nodes) {
    devices.push_back(m_splitters.named(node.volume.splitter).attach(node.volume));
  }
  return devices;
}

void SnapshotCreation::mount() {
  for (SnapshotNode* const planned : outerFirst(m_snapshot)) {
    m_signals.throwIfPending();
    m_directories.make(m_snapshot, *planned);
    mountAlternate(*planned, nodeOf(*planned));
    m_directories.secure(*planned);
  }
}

void SnapshotCreation::mountAlternate(SnapshotNode& planned, Node& primary) {
  const std::string asked = planned.alternate;
  Provider& provider = primary.provider();
  primary.nameAlternate(asked);
  planned.alternate =
      provider.buildAlternate(primary, m_snapshot.id, planned.volume.device, planned.volume.snapshotDevice);
  if (planned.alternate != asked) {
    throw HostError("the provider " + provider.name() + " mounted the snapshot of " + planned.mountPoint + " on " +
                    planned.alternate + ", and not on " + asked + " as it was asked to");
  }
  Node alternate(provider, planned.alternate);
  alternate.initialiseAlternate(primary);
  planned.state = primary.fetchState();
  planned.alternateState = alternate.fetchState();
}

Node& SnapshotCreation::nodeOf(const SnapshotNode& planned) {
  return *std::find_if(m_nodes.begin(), m_nodes.end(),
                       [&](const Node& node) { return node.name() == planned.mountPoint; });
}

// What fails here is told now; the failure that led here is told by whoever catches it.
void SnapshotCreation::undo() {
  m_nodes.clear();
  m_parts.clear();
  if (tryOrReport([&] { SnapshotRemoval(m_providers, m_splitters, m_store, m_unlocked).remove(m_snapshot); })) return;
  tellWhatIsLeft();
}

void SnapshotCreation::tellWhatIsLeft() const {
  printNotice("the unfinished snapshot " + m_snapshot.id + " is left; \"qmfi recover\" removes it");
}

}  // namespace qmfi_host

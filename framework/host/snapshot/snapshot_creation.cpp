// The steps of a snapshot.
#include "snapshot/snapshot_creation.h"

#include <algorithm>
#include <chrono>
#include <list>
#include <map>
#include <string>
#include <utility>

#include "snapshot/freeze_hooks.h"
#include "snapshot/freeze_moment.h"
#include "snapshot/nested_nodes.h"
#include "snapshot/snapshot_removal.h"
#include "snapshot/storage_space.h"
#include "state/snapshot_record.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

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
                  translate("it is not proven that all file systems were frozen until their volumes had been split, "
                            "since the thaw came after a time-out; the snapshot is not kept, as --require {0} asks; "
                            "--freeze-timeout sets a longer time-out",
                            levelName(required)));
}

Snapshot SnapshotCreation::run(const SnapshotRequest& request) {
  m_whenComplete = request.whenComplete;
  m_requiredLevel = request.required;
  m_hooks = hooksIn(request.hooks.directory).programs;
  m_hookTime = request.hooks.time;
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

void SnapshotCreation::plan(const SnapshotRequest& request) {
  m_planning.emplace(m_providers, m_splitters, m_directories, request);
  for (const ClaimedFileSystem& fileSystem : request.fileSystems) m_planning->initialise(fileSystem);
  m_snapshot.id = request.id;
  m_snapshot.name = request.name.empty() ? m_snapshot.id : request.name;
  m_store.requireUnknown(m_snapshot);
  m_snapshot.created = std::chrono::floor<Snapshot::Time::duration>(std::chrono::system_clock::now());
  for (Node& node : m_planning->nodes()) m_snapshot.nodes.push_back(m_planning->plan(node, m_snapshot));
  for (const SnapshotNode& node : m_snapshot.nodes) {
    m_progress.choice(node.mountPoint, node.provider, node.volume.splitter);
  }
  requireVolumesOutside(m_snapshot, m_splitters);
  if (!request.overcommit) requireSpace(m_splitters, m_snapshot, m_store.snapshots());
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
  auto node = m_planning->nodes().begin();
  for (SnapshotNode& planned : m_snapshot.nodes) {
    Provider& provider = node->provider();
    const std::chrono::seconds timeout = m_planning->timeoutOf(planned.provider);
    FreezeGroup& group = byProvider.try_emplace(planned.provider, FreezeGroup{&provider, timeout}).first->second;
    if (provider.descriptor().timeout) planned.kernelTimeout = timeout;
    group.targets.push_back({&*node++, planned.volume.device, m_fileSystems.open(placeOf(planned, provider))});
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
    if (plans.empty()) continue;
    m_progress.step(Step::prepare, splitter->name());
    splits.push_back(splitter->prepare(plans));
  }
  return splits;
}

void SnapshotCreation::split() {
  const std::vector<std::unique_ptr<GroupSplit>> splits = prepareSplits();
  FreezeHooks hooks(m_hooks, m_hookTime, m_snapshot, m_signals, m_progress);
  m_progress.step(Step::freeze, m_snapshot.name);
  // To prepare may take long: the file systems are opened only now, so that what they are is known late.
  std::vector<FreezeGroup> groups = freezeGroups();
  m_snapshot.freeze = presentMoment();
  enter(Phase::freezing);
  m_snapshot.receipt = inOrderOf(m_snapshot, splitFrozen(groups, splits), groups);
  m_snapshot.frozen = m_snapshot.receipt->over;
  m_progress.thawed(m_snapshot.frozen, m_signals.pending());
  requireLevel(*m_snapshot.receipt, m_requiredLevel);
  hooks.taken();
}

// The devices must be held until they are mounted.
std::vector<std::unique_ptr<SnapshotDevice>> SnapshotCreation::attach() {
  std::vector<std::unique_ptr<SnapshotDevice>> devices;
  for (const SnapshotNode& node : m_snapshot.nodes) {
    m_progress.step(Step::attach, node.volume.snapshotDevice);
    devices.push_back(m_splitters.named(node.volume.splitter).attach(node.volume));
  }
  return devices;
}

void SnapshotCreation::mount() {
  for (SnapshotNode* const planned : outerFirst(m_snapshot)) {
    m_signals.throwIfPending();
    m_progress.step(Step::mount, planned->alternate);
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
    throw HostError(translate("the provider {0} mounted the snapshot of {1} on {2}, and not on {3} as it was asked to",
                              provider.name(), planned.mountPoint, planned.alternate, asked));
  }
  Node alternate(provider, planned.alternate);
  alternate.initialiseAlternate(primary);
  planned.state = primary.fetchState();
  planned.alternateState = alternate.fetchState();
}

Node& SnapshotCreation::nodeOf(const SnapshotNode& planned) {
  std::list<Node>& nodes = m_planning->nodes();
  return *std::find_if(nodes.begin(), nodes.end(), [&](const Node& node) { return node.name() == planned.mountPoint; });
}

// What fails here is told now; the failure that led here is told by whoever catches it.
void SnapshotCreation::undo() {
  m_planning.reset();
  m_progress.step(Step::undo, m_snapshot.name);
  if (tryOrReport([&] { SnapshotRemoval(m_providers, m_splitters, m_store, m_unlocked).remove(m_snapshot); })) return;
  tellWhatIsLeft();
}

void SnapshotCreation::tellWhatIsLeft() const {
  printNotice(translate("the unfinished snapshot {0} is left; \"qmfi recover\" removes it", m_snapshot.id));
}

}  // namespace qmfi_host

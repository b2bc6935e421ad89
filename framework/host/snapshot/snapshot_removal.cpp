// Deport, dispose, release.
#include "snapshot/snapshot_removal.h"

#include <exception>
#include <vector>

#include "provider/node.h"
#include "snapshot/alternate_directories.h"
#include "snapshot/foreign_mounts.h"
#include "snapshot/nested_nodes.h"

namespace qmfi_host {

namespace {

// Last made, first removed. An error about one node does not keep the others.
template <typename Action>
void forEachNode(Snapshot& snapshot, Action action) {
  std::exception_ptr first;
  const std::vector<SnapshotNode*> nodes = outerFirst(snapshot);
  for (auto node = nodes.rbegin(); node != nodes.rend(); ++node) {
    try {
      action(**node);
    } catch (const HostError&) {
      if (first == nullptr) first = std::current_exception();
    }
  }
  if (first != nullptr) std::rethrow_exception(first);
}

// A full disk keeps nobody from taking something away. What is interrupted then is told by what is missing.
void rememberIfThereIsRoom(StateStore& store, const Snapshot& snapshot) {
  try {
    store.update(snapshot);
  } catch (const FullStorage&) {
    return;
  }
}

void restore(Node& node, const NodeState& state) {
  if (!state.empty()) node.storeState(state);
}

}  // namespace

void SnapshotRemoval::remove(Snapshot& snapshot) {
  snapshot.phase = Phase::deleting;
  rememberIfThereIsRoom(m_store, snapshot);
  const auto takeAway = [&](const SnapshotNode& node) {
    if (!isForeignMount(node, m_splitters)) {
      m_progress.step(Step::unmount, node.alternate);
      if (isNested(snapshot, node)) unmountAlternate(node, &Provider::unmountOnly);
      unmountAlternate(node, &Provider::deport);
      removeAlternateDirectory(snapshot, node);
    }
    m_progress.step(Step::remove, node.volume.snapshotDevice);
    m_splitters.named(node.volume.splitter).release(node.volume);
  };
  m_unlocked([&] { forEachNode(snapshot, takeAway); });
  m_store.remove(snapshot.id);
}

void SnapshotRemoval::unmount(Snapshot& snapshot) {
  snapshot.phase = Phase::unmounting;
  rememberIfThereIsRoom(m_store, snapshot);
  const auto takeOffline = [&](const SnapshotNode& node) {
    if (!isForeignMount(node, m_splitters)) {
      m_progress.step(Step::unmount, node.alternate);
      // The mount point of a nested one is part of another alternate, and stays.
      unmountAlternate(node, isNested(snapshot, node) ? &Provider::unmountOnly : &Provider::takeOffline);
      removeAlternateDirectory(snapshot, node);
    }
    m_progress.step(Step::detach, node.volume.snapshotDevice);
    m_splitters.named(node.volume.splitter).detach(node.volume);
  };
  m_unlocked([&] { forEachNode(snapshot, takeOffline); });
  snapshot.phase = Phase::unmounted;
  m_store.updatePhase(snapshot);
}

void SnapshotRemoval::unmountAlternate(const SnapshotNode& node, PairOperation operation) {
  Provider& provider = m_providers.named(node.provider);
  Node primary(provider, node.mountPoint);
  Node alternate(provider, node.alternate);
  restore(primary, node.state);
  restore(alternate, node.alternateState);
  (provider.*operation)(primary, alternate);
}

}  // namespace qmfi_host

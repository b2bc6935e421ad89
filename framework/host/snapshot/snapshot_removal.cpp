// Deport, dispose, release.
#include "snapshot/snapshot_removal.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <exception>

#include "provider/node.h"

namespace qmfi_host {

namespace {

// Last made, first removed. An error about one node does not keep the others.
template <typename Action>
void forEachNode(const Snapshot& snapshot, Action action) {
  std::exception_ptr first;
  for (auto node = snapshot.nodes.rbegin(); node != snapshot.nodes.rend(); ++node) {
    try {
      action(*node);
    } catch (const HostError&) {
      if (first == nullptr) first = std::current_exception();
    }
  }
  if (first != nullptr) std::rethrow_exception(first);
}

void restore(Node& node, const NodeState& state) {
  if (!state.empty()) node.storeState(state);
}

// A provider leaves the directory when nothing was mounted on it, as after a failed mount or a restart of the machine.
void removeMountPoint(const std::string& directory) {
  if (rmdir(directory.c_str()) == 0) return;
  const int reason = errno;
  // A read-only file system refuses before it has looked whether there is anything.
  struct stat status {};
  if (lstat(directory.c_str(), &status) != 0 && errno == ENOENT) return;
  throw systemError("the mount point " + directory + " could not be removed", reason);
}

}  // namespace

void SnapshotRemoval::remove(Snapshot& snapshot) {
  snapshot.phase = Phase::deleting;
  m_store.update(snapshot);
  forEachNode(snapshot, [&](const SnapshotNode& node) {
    unmountAlternate(node, &Provider::deport);
    removeMountPoint(node.alternate);
    m_splitter.release(node.volume);
  });
  m_store.remove(snapshot.id);
}

void SnapshotRemoval::unmount(Snapshot& snapshot) {
  snapshot.phase = Phase::unmounting;
  m_store.update(snapshot);
  forEachNode(snapshot, [&](const SnapshotNode& node) {
    unmountAlternate(node, &Provider::takeOffline);
    m_splitter.detach(node.volume);
  });
  snapshot.phase = Phase::unmounted;
  m_store.update(snapshot);
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

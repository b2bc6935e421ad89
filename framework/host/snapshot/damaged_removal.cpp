// Removal of the parts that are known.
#include "snapshot/damaged_removal.h"

#include <sys/mount.h>

#include <cerrno>

#include "failure/host_error.h"
#include "snapshot/alternate_directories.h"
#include "snapshot/foreign_mounts.h"
#include "snapshot/snapshot_removal.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

bool carries(const std::string& path, const std::string& id) {
  return !id.empty() && path.starts_with('/') && path.find(id) != std::string::npos;
}

// Whether all that is removed with the file system is of this snapshot.
bool isCertain(const Snapshot& snapshot, const SnapshotNode& node) {
  const std::string& id = snapshot.id;
  return (carries(node.alternate, id) || isInOwnDirectory(snapshot, node)) && carries(node.volume.snapshotFile, id) &&
         carries(node.volume.snapshotDevice, id) &&
         (node.volume.rawDevice.empty() || carries(node.volume.rawDevice, id));
}

void tellWhatIsLeft(const SnapshotNode& node) {
  printNotice(translate("what belongs to the file system \"{0}\" is not certain and is left: \"{1}\" \"{2}\" \"{3}\"",
                        node.mountPoint, node.alternate, node.volume.snapshotDevice, node.volume.snapshotFile));
}

// The provider of a file system may be what is not known any more.
void removePastProviders(const Splitters& splitters, const Snapshot& snapshot) {
  for (const SnapshotNode& node : snapshot.nodes) {
    tryOrReport([&] {
      const bool isForeign = isForeignMount(node, splitters);
      if (!isForeign && umount2(node.alternate.c_str(), UMOUNT_NOFOLLOW) != 0 && errno != EINVAL && errno != ENOENT) {
        throw systemError(translate("{0} could not be unmounted", node.alternate)).about(node.alternate);
      }
      if (!isForeign) removeAlternateDirectory(snapshot, node);
      splitters.named(node.volume.splitter).release(node.volume);
    });
  }
}

}  // namespace

void removeDamaged(Providers& providers, const Splitters& splitters, StateStore& store, DamagedSnapshot& damaged,
                   const RunUnlocked& unlocked, const Progress& progress) {
  Snapshot& snapshot = damaged.snapshot;
  for (const SnapshotNode& node : snapshot.nodes) {
    if (!isCertain(snapshot, node)) tellWhatIsLeft(node);
  }
  Snapshot certain = snapshot;
  std::erase_if(certain.nodes, [&](const SnapshotNode& node) { return !isCertain(snapshot, node); });
  SnapshotRemoval removal(providers, splitters, store, unlocked, progress);
  if (!tryOrReport([&] { removal.remove(certain); })) removePastProviders(splitters, certain);
  store.remove(snapshot.id);
}

}  // namespace qmfi_host

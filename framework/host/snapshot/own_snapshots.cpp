// Comparing paths and device numbers with those of the snapshots.
#include "snapshot/own_snapshots.h"

#include <sys/stat.h>

#include <optional>

#include "failure/host_error.h"
#include "snapshot/alternate_directories.h"
#include "snapshot/nested_nodes.h"
#include "system/loop_device.h"
#include "texts/translation.h"
#include "volume/loop_device.h"

namespace qmfi_host {

namespace {

// The number of the device that a path names, or that a file system is on; nothing where there is none.
std::optional<dev_t> deviceNumberOf(const std::string& path) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return std::nullopt;
  return S_ISBLK(status.st_mode) ? status.st_rdev : status.st_dev;
}

// The number of a loop device of ours is somebody else's as soon as it is detached, and its node may have stayed.
bool isOnDeviceOf(const SnapshotNode& node, dev_t device) {
  struct stat status {};
  const std::string& path = node.volume.snapshotDevice;
  if (stat(path.c_str(), &status) != 0 || !S_ISBLK(status.st_mode) || status.st_rdev != device) return false;
  const bool isLoop = node.volume.splitter == reflinkSplitterName && qmfi_system::isLoopDevice(device);
  return !isLoop || loopDeviceOver(path, node.volume.snapshotFile).has_value();
}

bool isPartOf(const Snapshot& snapshot, const SnapshotNode& node, const std::string& path,
              std::optional<dev_t> device) {
  if (isWithin(path, node.alternate)) return true;
  const bool hasDirectory = isInOwnDirectory(snapshot, snapshot.nodes.front());
  if (hasDirectory && isWithin(path, ownDirectoryOf(snapshot))) return true;
  if (path == node.volume.snapshotDevice || path == node.volume.rawDevice) return true;
  return device && isOnDeviceOf(node, *device);
}

}  // namespace

void requireNoSnapshot(const StateStore& store, const std::string& path) {
  const std::optional<dev_t> device = deviceNumberOf(path);
  for (const Snapshot& snapshot : store.snapshots()) {
    for (const SnapshotNode& node : snapshot.nodes) {
      if (!isPartOf(snapshot, node, path, device)) continue;
      throw HostError(Failure::partOfSnapshot,
                      translate("{0} is part of the snapshot {1}, which stays as it is; \"qmfi snapshot unmount\" and "
                                "\"delete\" take it away",
                                path, snapshot.name))
          .about(path);
    }
  }
}

}  // namespace qmfi_host

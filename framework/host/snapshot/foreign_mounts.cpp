// Comparing what is mounted with the snapshot's device.
#include "snapshot/foreign_mounts.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <optional>

#include "snapshot/snapshot_status.h"
#include "system/loop_device.h"

namespace qmfi_host {

namespace {

// The device of the file system that is mounted on a path; nothing where none is.
std::optional<dev_t> deviceMountedOn(const std::string& path) {
  struct statx status {};
  const int flags = AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT | AT_STATX_DONT_SYNC;
  if (statx(AT_FDCWD, path.c_str(), flags, STATX_TYPE, &status) != 0) return std::nullopt;
  if ((status.stx_attributes & STATX_ATTR_MOUNT_ROOT) == 0) return std::nullopt;
  return makedev(status.stx_dev_major, status.stx_dev_minor);
}

}  // namespace

bool isForeignMount(const SnapshotNode& node, const Splitters& splitters) {
  const std::optional<dev_t> mounted = deviceMountedOn(node.alternate);
  if (!mounted) return false;
  const std::optional<dev_t> own = splitters.look(node.volume, LookAt::copy).device;
  // Something may be mounted over it.
  if (own) return *mounted != *own && !mountedDevices().contains(*own);
  if (node.volume.splitter != reflinkSplitterName) return false;
  // The node of the snapshot's device may be gone, and its file, while it is mounted still.
  const std::string file = qmfi_system::backingFileName(*mounted);
  return !file.empty() && !file.starts_with(node.volume.snapshotFile);
}

}  // namespace qmfi_host

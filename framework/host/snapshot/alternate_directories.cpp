// Directories by descriptors: no symbolic link is followed below them.
#include "snapshot/alternate_directories.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cerrno>
#include <optional>
#include <utility>

#include "failure/host_error.h"
#include "system/descriptor.h"
#include "texts/translation.h"
#include "trust/trusted_path.h"

namespace qmfi_host {

namespace fs = std::filesystem;

using qmfi_system::Descriptor;

namespace {

// Where an alternate stands below the directory that its snapshot's own lies in.
fs::path belowDirectory(const std::string& snapshotName, const std::string& mountPoint) {
  return mountPoint == "/" ? fs::path(snapshotName) : snapshotName / fs::path(mountPoint).relative_path();
}

// The directory that the snapshot's own lies in; nothing for an alternate that stands beside its file system, where
// they were mounted once.
std::optional<fs::path> directoryOf(const Snapshot& snapshot, const SnapshotNode& node) {
  if (snapshot.name.empty()) return std::nullopt;
  const std::string end = "/" + belowDirectory(snapshot.name, node.mountPoint).string();
  if (!node.alternate.ends_with(end)) return std::nullopt;
  const std::string directory = node.alternate.substr(0, node.alternate.size() - end.size());
  return directory.empty() ? "/" : directory;
}

// What a directory is.
struct Look {
  struct statx status {};

  dev_t device() const { return makedev(status.stx_dev_major, status.stx_dev_minor); }
  bool isMountPoint() const { return (status.stx_attributes & STATX_ATTR_MOUNT_ROOT) != 0; }
  bool isRootsAlone() const { return status.stx_uid == 0 && (status.stx_mode & (S_IRWXG | S_IRWXO)) == 0; }
};

// A walk down to a directory.
class Descent {
 public:
  // From the root.
  Descent() : m_here(open("/", O_PATH | O_DIRECTORY | O_CLOEXEC)) {}

  // Goes on to a name; false, with errno, when that is none of a directory.
  bool enter(const std::string& name) {
    Descriptor next(openat(m_here.get(), name.c_str(), O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!next.valid()) return false;
    m_here = std::move(next);
    m_path /= name;
    return true;
  }

  // The same; makes the directory where it is missing (mode 0700).
  void enterOrMake(const std::string& name) {
    const fs::path next = m_path / name;
    const bool made = mkdirat(m_here.get(), name.c_str(), S_IRWXU) == 0 || errno == EEXIST;
    if (!made || !enter(name)) {
      throw systemError(translate("the directory {0} cannot be made", next.string())).about(next.string());
    }
  }

  // Whether the name is one of a directory, by another question than enter() asks.
  bool hasDirectory(const std::string& name) const {
    struct stat status {};
    return fstatat(m_here.get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
  }

  Look look() const {
    Look look;
    if (statx(m_here.get(), "", AT_EMPTY_PATH, STATX_BASIC_STATS | STATX_MNT_ID, &look.status) != 0) {
      throw systemError(translate("{0} cannot be read", m_path.string())).about(m_path.string());
    }
    return look;
  }
  const Descriptor& here() const { return m_here; }
  const fs::path& path() const { return m_path; }

 private:
  Descriptor m_here;
  fs::path m_path = "/";
};

// Nothing when a part of the path is gone, or has become something else than a directory.
std::optional<Descent> reach(const fs::path& path) {
  Descent descent;
  for (const fs::path& name : path.relative_path()) {
    if (descent.enter(name)) continue;
    const int reason = errno;
    // What passes for gone is left behind for ever.
    if ((reason == ENOENT || reason == ENOTDIR) && !descent.hasDirectory(name)) return std::nullopt;
    const std::string entered = descent.path() / name;
    throw systemError(translate("{0} cannot be entered", entered), reason).about(entered);
  }
  return descent;
}

// Does nothing where there is none.
void removeEmpty(const Descent& parent, const std::string& name) {
  if (unlinkat(parent.here().get(), name.c_str(), AT_REMOVEDIR) == 0) return;
  const int reason = errno;
  // A read-only file system refuses before it has looked whether there is anything.
  struct stat status {};
  if (fstatat(parent.here().get(), name.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 && errno == ENOENT) return;
  const std::string mountPoint = parent.path() / name;
  throw systemError(translate("the mount point {0} could not be removed", mountPoint), reason).about(mountPoint);
}

bool isMissing(const fs::path& path) {
  std::error_code error;
  return fs::symlink_status(path, error).type() == fs::file_type::not_found;
}

HostError inUse(const fs::path& own) {
  return HostError(Failure::nameTaken,
                   translate("{0} is in use already; --name gives the snapshot another name, --alternate-dir another "
                             "place",
                             own.string()))
      .about(own.string());
}

void requireRootsAlone(const Descent& descent, const Look& look) {
  if (look.isRootsAlone()) return;
  throw HostError(translate("others than root can enter {0}, where a snapshot is to be mounted; root must own it, with "
                            "mode 0700",
                            descent.path().string()))
      .about(descent.path().string())
      .advise(translate("give it to root, with mode 0700"));
}

}  // namespace

std::string PrivateAlternateDirectories::plan(const fs::path& directory, const std::string& snapshotName,
                                              const std::string& mountPoint) const {
  requireTrusted(directory);
  const fs::path canonical = fs::weakly_canonical(fs::absolute(directory));
  const fs::path own = canonical / snapshotName;
  if (!isMissing(own)) throw inUse(own);
  return canonical / belowDirectory(snapshotName, mountPoint);
}

void PrivateAlternateDirectories::claim(const Snapshot& snapshot) const {
  const fs::path directory = directoryOf(snapshot, snapshot.nodes.front()).value();
  requireTrusted(directory);
  Descent descent;
  for (const fs::path& name : directory.relative_path()) descent.enterOrMake(name);
  if (mkdirat(descent.here().get(), snapshot.name.c_str(), S_IRWXU) == 0) return;
  const fs::path own = directory / snapshot.name;
  if (errno == EEXIST) {
    throw HostError(Failure::nameTaken,
                    translate("{0} is in use already: another snapshot is mounted there, or something has been left "
                              "in it",
                              own.string()))
        .about(own.string());
  }
  throw systemError(translate("the directory {0} cannot be made", own.string())).about(own.string());
}

void PrivateAlternateDirectories::make(const Snapshot& snapshot, const SnapshotNode& node) const {
  const std::optional<fs::path> directory = directoryOf(snapshot, node);
  if (!directory) return requireTrusted(fs::path(node.alternate).parent_path());
  requireTrusted(*directory);
  Descent descent;
  for (const fs::path& name : directory->relative_path()) descent.enterOrMake(name);
  const auto mount = descent.look().status.stx_mnt_id;
  Look look;
  for (const fs::path& name : belowDirectory(snapshot.name, node.mountPoint)) {
    descent.enterOrMake(name);
    look = descent.look();
    // What lies below another alternate is as it was in the file system.
    if (look.status.stx_mnt_id == mount) requireRootsAlone(descent, look);
  }
  if (look.isMountPoint()) {
    throw HostError(ExitStatus::busy,
                    translate("something is mounted on {0} already; \"umount {0}\" takes it away", node.alternate))
        .about(node.alternate)
        .advise(translate("\"umount {0}\" takes it away", node.alternate));
  }
}

void PrivateAlternateDirectories::secure(const SnapshotNode& node) const {
  const std::optional<Descent> alternate = reach(node.alternate);
  if (!alternate) throw HostError(translate("{0} is gone, or a link stands in its path", node.alternate));
  struct stat device {};
  if (stat(node.volume.snapshotDevice.c_str(), &device) != 0) {
    throw systemError(translate("{0} cannot be read", node.volume.snapshotDevice)).about(node.volume.snapshotDevice);
  }
  const Look look = alternate->look();
  if (!look.isMountPoint() || look.device() != device.st_rdev) {
    throw HostError(translate("{0} does not show the snapshot of {1}: the file system there is not on {2}",
                              node.alternate, node.mountPoint, node.volume.snapshotDevice));
  }
  mount_attr attributes{};
  attributes.attr_set = MOUNT_ATTR_NOSUID | MOUNT_ATTR_NODEV;
  // What is mounted within it would have neither of them in other mount namespaces.
  attributes.propagation = MS_PRIVATE;
  if (mount_setattr(alternate->here().get(), "", AT_EMPTY_PATH, &attributes, sizeof(attributes)) != 0) {
    throw systemError(translate("{0} cannot be kept from devices and set-user-id programs", node.alternate))
        .about(node.alternate);
  }
}

bool isInOwnDirectory(const Snapshot& snapshot, const SnapshotNode& node) {
  return directoryOf(snapshot, node).has_value();
}

std::string ownDirectoryOf(const Snapshot& snapshot) {
  return directoryOf(snapshot, snapshot.nodes.front()).value() / snapshot.name;
}

void removeAlternateDirectory(const Snapshot& snapshot, const SnapshotNode& node) {
  const fs::path alternate = node.alternate;
  const fs::path end = directoryOf(snapshot, node).value_or(alternate.parent_path());
  const std::optional<Descent> outside = reach(end);
  if (!outside) return;
  if (const std::optional<Descent> parent = reach(alternate.parent_path())) {
    if (parent->look().status.stx_mnt_id != outside->look().status.stx_mnt_id) return;
    removeEmpty(*parent, alternate.filename());
  }
  // Other alternates of the snapshot may be there still.
  for (fs::path above = alternate.parent_path(); above != end; above = above.parent_path()) {
    const std::optional<Descent> parent = reach(above.parent_path());
    if (!parent || unlinkat(parent->here().get(), above.filename().c_str(), AT_REMOVEDIR) == 0) continue;
    if (errno == ENOTEMPTY || errno == EEXIST) return;
    // Something else in its place is not ours.
    if (errno == ENOENT || errno == ENOTDIR) continue;
    throw systemError(translate("the directory {0} could not be removed", above.string())).about(above.string());
  }
}

}  // namespace qmfi_host

// Where alternates are mounted: in directories of root's own. Nobody else decides what a mount there covers, and nobody
// else reaches what is mounted.
#ifndef ALTERNATE_DIRECTORIES_H
#define ALTERNATE_DIRECTORIES_H

#include <filesystem>
#include <string>

#include "state/snapshot.h"

namespace qmfi_host {

// Where the directories of snapshots lie unless the user names another place.
inline constexpr const char* standardAlternateDirectory = "/run/qmfi/snapshots";

// A snapshot has one directory (mode 0700), called by its name, with the original paths below it: that of "nightly" has
// the alternate of /mnt/orders at nightly/mnt/orders. Failures are thrown as HostError.
class AlternateDirectories {
 public:
  virtual ~AlternateDirectories() = default;

  // Decides where the alternate of a mount point will be; makes nothing. directory: where the snapshot's own directory
  // will lie. Throws also when something is there by the snapshot's name, or when not root alone decides what the path
  // leads to.
  virtual std::string plan(const std::filesystem::path& directory, const std::string& snapshotName,
                           const std::string& mountPoint) const = 0;

  // Makes the own directory of a snapshot that is about to be made, or mounted again. Throws when there is one: another
  // qmfi, with another state, was quicker.
  virtual void claim(const Snapshot& snapshot) const = 0;

  // Makes the directory of an alternate with all that is missing above it. Throws when it is not root's own, a
  // component of its path is a symbolic link, or something is mounted there. One that lies below another alternate is
  // part of that one, which must be mounted.
  virtual void make(const Snapshot& snapshot, const SnapshotNode& node) const = 0;

  // Looks at what has been mounted there: unless it is the snapshot's device it is refused. From then on it has no
  // devices and no programs with the rights of others.
  virtual void secure(const SnapshotNode& node) const = 0;
};

// Those of the machine.
class PrivateAlternateDirectories : public AlternateDirectories {
 public:
  std::string plan(const std::filesystem::path& directory, const std::string& snapshotName,
                   const std::string& mountPoint) const override;
  void claim(const Snapshot& snapshot) const override;
  void make(const Snapshot& snapshot, const SnapshotNode& node) const override;
  void secure(const SnapshotNode& node) const override;
};

// Whether an alternate stands in its snapshot's directory, with its original path, and not beside its file system.
bool isInOwnDirectory(const Snapshot& snapshot, const SnapshotNode& node);

// The directory of a complete snapshot, in which all its alternates stand.
std::string ownDirectoryOf(const Snapshot& snapshot);

// Removes the directory of an alternate that is not mounted any more, and those above it that are empty then, up to the
// snapshot's own. Does nothing where there is none, or where it is part of another alternate. Throws HostError when
// there is something in it.
void removeAlternateDirectory(const Snapshot& snapshot, const SnapshotNode& node);

}  // namespace qmfi_host

#endif

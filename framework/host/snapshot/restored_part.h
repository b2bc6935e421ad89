// What of a snapshot is restored.
#ifndef RESTORED_PART_H
#define RESTORED_PART_H

#include <string>
#include <vector>

#include "failure/host_error.h"
#include "state/snapshot.h"

namespace qmfi_host {

// A file system of a snapshot, or a file or directory of one.
struct RestoredPart {
  std::string path;    // the original one, absolute, without needless slashes
  SnapshotNode node;   // the file system
  std::string inside;  // where it lies below the mount point; empty for the whole file system
};

// All file systems of a snapshot, those that lie within others behind these; or what paths name, in their order. A path
// lies in the file system with the longest mount point above it. Throws UsageError for a path that is not absolute, has
// ".." in it or is given twice, and HostError for one that lies in none of the file systems.
std::vector<RestoredPart> partsOf(Snapshot snapshot, const std::vector<std::string>& paths);

// The failure for a path that a snapshot does not have.
HostError notInSnapshot(const std::string& snapshotName, const std::string& path);

}  // namespace qmfi_host

#endif

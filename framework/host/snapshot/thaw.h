// Thawing without the provider, for a freeze that its maker can no longer end.
#ifndef THAW_H
#define THAW_H

#include <string>
#include <vector>

namespace qmfi_host {

struct MountedFileSystem {
  std::string mountPoint;
  std::string device;
  unsigned long thawRequest;  // of the file system's own driver
};

// Thaws each of the file systems that is mounted on its mount point and frozen. A failure keeps none of the others
// frozen; when all have been tried, a HostError tells of all that failed.
void thawFileSystems(const std::vector<MountedFileSystem>& fileSystems);

}  // namespace qmfi_host

#endif

// Thawing without the provider, for a freeze that its maker can no longer end.
#ifndef THAW_H
#define THAW_H

#include <string>
#include <vector>

#include "failure/host_error.h"
#include "snapshot/mounted_file_system.h"

namespace qmfi_host {

// What is told of a thaw that failed: it may be frozen still, unless it is of a kind that cannot be.
HostError cannotBeThawed(const std::string& mountPoint, int errorNumber);

// Thaws each of the file systems that is frozen. A failure keeps none of the others frozen; when all have been tried, a
// HostError tells of all that failed.
void thawFileSystems(const std::vector<MountedFileSystem*>& fileSystems);

}  // namespace qmfi_host

#endif

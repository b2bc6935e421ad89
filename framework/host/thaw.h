// Thawing without the provider, for a freeze that its maker can no longer end.
#ifndef THAW_H
#define THAW_H

#include <string>

namespace qmfi_host {

// Thaws the file system on the mount point if it is the one of the device; does nothing when it is not frozen or not
// mounted any more. Throws HostError when it cannot be thawed.
void thawFileSystem(const std::string& mountPoint, const std::string& device);

}  // namespace qmfi_host

#endif

// The mount table of the file systems that providers mount.
#ifndef MOUNT_OPTIONS_H
#define MOUNT_OPTIONS_H

#include <filesystem>
#include <string>

namespace qmfi_host {

// Whether what was mounted last on a mount point has an option ("ro", "size=4k") in a mount table; false where nothing
// is mounted, or the table cannot be read.
bool hasMountOption(const std::string& mountPoint, const std::string& option,
                    const std::filesystem::path& mountTable = "/etc/mtab");

}  // namespace qmfi_host

#endif

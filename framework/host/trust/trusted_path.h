// Paths that nobody but root can change.
#ifndef TRUSTED_PATH_H
#define TRUSTED_PATH_H

#include <filesystem>

namespace qmfi_host {

// Throws HostError unless root alone decides what the path leads to: every directory on the way, every directory that a
// symbolic link on the way leads through, and the file itself belong to root and are writable by nobody else. A sticky
// directory that others can write to, as /tmp, is not enough. Where the path ends early, what is there of it is looked
// at: who makes the rest is root. Once it has returned, only root can make its answer wrong.
void requireTrusted(const std::filesystem::path& path);

// The same but for what the path leads to, such as a mount point or a device, which may belong to anybody.
void requireTrustedUpTo(const std::filesystem::path& path);

}  // namespace qmfi_host

#endif

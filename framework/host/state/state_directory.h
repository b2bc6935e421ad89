// The directory that holds what the host remembers between its runs.
#ifndef STATE_DIRECTORY_H
#define STATE_DIRECTORY_H

#include <filesystem>
#include <string>
#include <vector>

#include "system/descriptor.h"

namespace qmfi_host {

// Makes the directory with its parents where it is missing (mode 0700). Throws HostError when it cannot be used.
void makeStateDirectory(const std::filesystem::path& directory);

// Throws HostError when the directory lies on the file system of one of the mount points: the state could not be
// written while that is frozen.
void requireOutside(const std::filesystem::path& directory, const std::vector<std::string>& mountPoints);

// Held by one process at a time, from its making to its end; another process waits. Freed by the kernel when its holder
// is killed.
class StateLock {
 public:
  // Waits for the lock of a state directory. Throws HostError.
  explicit StateLock(const std::filesystem::path& directory);

 private:
  Descriptor m_file;
};

}  // namespace qmfi_host

#endif

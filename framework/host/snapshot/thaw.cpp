// Thaws, and the failures of several.
#include "snapshot/thaw.h"

#include <cerrno>
#include <string>

namespace qmfi_host {

HostError cannotBeThawed(const std::string& mountPoint, int errorNumber) {
  HostError error = systemError("the file system on " + mountPoint + " could not be thawed", errorNumber);
  const bool canBeFrozen = errorNumber != EOPNOTSUPP && errorNumber != ENOTTY;
  if (canBeFrozen) error.setFailure(Failure::freezeUncertain);
  return error.about(mountPoint);
}

void thawFileSystems(const std::vector<MountedFileSystem*>& fileSystems) {
  std::string failures;
  for (MountedFileSystem* const fileSystem : fileSystems) {
    const int failure = fileSystem->thaw().error;
    if (failure == 0) continue;
    failures += (failures.empty() ? "" : "; ") + std::string(cannotBeThawed(fileSystem->mountPoint(), failure).what());
  }
  if (!failures.empty()) throw HostError(ExitStatus::freezeUncertain, failures);
}

}  // namespace qmfi_host

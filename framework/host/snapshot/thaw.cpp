// Thaws, and the failures of several.
#include "snapshot/thaw.h"

#include <cerrno>
#include <string>

#include "texts/translation.h"

namespace qmfi_host {

HostError cannotBeThawed(const std::string& mountPoint, int errorNumber) {
  HostError error = systemError(translate("the file system on {0} could not be thawed", mountPoint), errorNumber);
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

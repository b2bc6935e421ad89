// The thaw requests.
#include "snapshot/thaw.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "failure/host_error.h"
#include "system/descriptor.h"

namespace qmfi_host {

namespace {

// Answers of a thaw request when there is nothing that it could thaw; the last one when the driver is another one.
constexpr std::array nothingToThaw = {EINVAL, ETIMEDOUT, ENOTTY};

bool isFileSystemOf(const Descriptor& directory, const std::string& device) {
  struct stat mounted {};
  struct stat node {};
  return fstat(directory.get(), &mounted) == 0 && stat(device.c_str(), &node) == 0 && S_ISBLK(node.st_mode) &&
         mounted.st_dev == node.st_rdev;
}

// 0 when it is not frozen now, otherwise an errno value. A freeze that the file system's own driver did not make is
// ended by the request that all file systems know. A failure of the driver counts although the other request finds
// nothing frozen: that one need not know of the driver's freeze.
int thaw(const Descriptor& directory, unsigned long thawRequest) {
  int failure = 0;
  for (const unsigned long request : {thawRequest, static_cast<unsigned long>(FITHAW)}) {
    if (ioctl(directory.get(), request, 0) == 0) return 0;
    const bool failed = std::find(nothingToThaw.begin(), nothingToThaw.end(), errno) == nothingToThaw.end();
    if (failed && failure == 0) failure = errno;
  }
  return failure;
}

}  // namespace

void thawFileSystems(const std::vector<MountedFileSystem>& fileSystems) {
  std::string failures;
  for (const auto& [mountPoint, device, thawRequest] : fileSystems) {
    const Descriptor directory(open(mountPoint.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory.valid() || !isFileSystemOf(directory, device)) continue;
    const int failure = thaw(directory, thawRequest);
    if (failure == 0) continue;
    const std::string what = "the file system on " + mountPoint + " could not be thawed";
    failures += (failures.empty() ? "" : "; ") + std::string(systemError(what, failure).what());
  }
  if (!failures.empty()) throw HostError(failures);
}

}  // namespace qmfi_host

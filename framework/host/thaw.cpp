// The thaw requests.
#include "thaw.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "descriptor.h"
#include "host_error.h"

namespace qmfi_host {

namespace {

// Of the file system's own driver. A freeze that it did not make is ended by the request that all file systems know.
constexpr unsigned long thawRequest = 0x514D4602;

// Answers of a thaw request when there is nothing to be thawed.
constexpr std::array notFrozen = {EINVAL, ETIMEDOUT};

bool isFileSystemOf(const Descriptor& directory, const std::string& device) {
  struct stat mounted {};
  struct stat node {};
  return fstat(directory.get(), &mounted) == 0 && stat(device.c_str(), &node) == 0 && S_ISBLK(node.st_mode) &&
         mounted.st_dev == node.st_rdev;
}

}  // namespace

void thawFileSystem(const std::string& mountPoint, const std::string& device) {
  const Descriptor directory(open(mountPoint.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!directory.valid() || !isFileSystemOf(directory, device)) return;
  if (ioctl(directory.get(), thawRequest, 0) == 0 || ioctl(directory.get(), FITHAW, 0) == 0) return;
  if (std::find(notFrozen.begin(), notFrozen.end(), errno) == notFrozen.end()) {
    throw systemError("the file system on " + mountPoint + " could not be thawed");
  }
}

}  // namespace qmfi_host

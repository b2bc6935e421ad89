// Opening of mount points, and requests by descriptor.
#include "snapshot/mounted_file_system.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "failure/host_error.h"
#include "system/descriptor.h"
#include "texts/translation.h"

namespace qmfi_host {

using qmfi_pdk_4_4::CFiFreezableFileSystem;
using qmfi_pdk_4_4::CFiThawAnswer;
using qmfi_system::Descriptor;

namespace {

class OpenFileSystem : public MountedFileSystem {
 public:
  OpenFileSystem(FileSystemPlace place, Descriptor directory)
      : m_place(std::move(place)), m_directory(std::move(directory)) {}

  const std::string& mountPoint() const override { return m_place.mountPoint; }
  CFiFreezableFileSystem freezable() const override { return {m_directory.get(), m_place.thawRequest}; }

  void flush() override {
    if (syncfs(m_directory.get()) != 0) {
      throw systemError(translate("{0} could not be written out", m_place.mountPoint)).about(m_place.mountPoint);
    }
  }

  int freezeAgain() noexcept override {
    // Should this process end between the two requests. The kernel's own request has no time-out and ignores this one.
    constexpr unsigned long shortestTimeout = 1;
    if (ioctl(m_directory.get(), m_place.freezeRequest, shortestTimeout) != 0) return errno;
    thaw();
    return 0;
  }

  CFiThawAnswer thaw() noexcept override { return thawFileSystem(freezable()); }

 private:
  const FileSystemPlace m_place;
  const Descriptor m_directory;
};

}  // namespace

std::unique_ptr<MountedFileSystem> KernelFileSystems::open(const FileSystemPlace& place) const {
  Descriptor directory(::open(place.mountPoint.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!directory.valid()) {
    throw systemError(translate("{0} cannot be opened", place.mountPoint)).about(place.mountPoint);
  }
  struct stat mounted {};
  struct stat node {};
  if (fstat(directory.get(), &mounted) != 0) {
    throw systemError(translate("{0} cannot be read", place.mountPoint)).about(place.mountPoint);
  }
  if (stat(place.device.c_str(), &node) != 0) {
    throw systemError(translate("{0} cannot be read", place.device)).about(place.device);
  }
  if (!S_ISBLK(node.st_mode) || mounted.st_dev != node.st_rdev) {
    throw HostError(
        translate("{0} does not lead to the file system of {1}: another one has been mounted there, or the "
                  "path has been changed; nothing was frozen, and \"findmnt --target {0}\" shows what is "
                  "there",
                  place.mountPoint, place.device));
  }
  return std::make_unique<OpenFileSystem>(place, std::move(directory));
}

}  // namespace qmfi_host

// File systems by what is mounted, not by the names of their mount points.
#ifndef MOUNTED_FILE_SYSTEM_H
#define MOUNTED_FILE_SYSTEM_H

#include <linux/fs.h>

#include <memory>
#include <string>

#include "cfifreezewatchdog.h"

namespace qmfi_host {

// Where a file system is expected, and how its driver freezes it.
struct FileSystemPlace {
  std::string mountPoint;
  std::string device;
  unsigned long freezeRequest = FIFREEZE;  // of its driver, as the one below
  unsigned long thawRequest = FITHAW;
};

// A file system that is open from before its freeze until after its thaw. Whoever owns a directory above the mount
// point can rename it or put a link there at any moment: what is asked for here reaches this file system all the same.
// One thread at a time.
class MountedFileSystem {
 public:
  virtual ~MountedFileSystem() = default;

  // Where it was found.
  virtual const std::string& mountPoint() const = 0;

  // A descriptor on it, which is open as long as this object lives, and how it is thawed.
  virtual qmfi_pdk_4_4::CFiFreezableFileSystem freezable() const = 0;

  // Writes out what the file system has in memory. Throws HostError.
  virtual void flush() = 0;

  // Asks for a freeze, which is ended at once if it comes about. Returns EBUSY when the file system is frozen already,
  // 0 when it was not, otherwise the errno value that it refuses with. Allocates nothing.
  virtual int freezeAgain() noexcept = 0;

  // Ends a freeze, whoever made it. Allocates nothing.
  virtual qmfi_pdk_4_4::CFiThawAnswer thaw() noexcept = 0;
};

// The file systems of the machine.
class FileSystems {
 public:
  virtual ~FileSystems() = default;

  // Opens a file system by its mount point. Throws HostError unless it is the one of the device.
  virtual std::unique_ptr<MountedFileSystem> open(const FileSystemPlace& place) const = 0;
};

// Those that are really mounted.
class KernelFileSystems : public FileSystems {
 public:
  std::unique_ptr<MountedFileSystem> open(const FileSystemPlace& place) const override;
};

}  // namespace qmfi_host

#endif

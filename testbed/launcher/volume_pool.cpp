// The pool of sparse volume files, and the volumes over it.
#include "launcher/volume_pool.h"

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "common/program.h"
#include "system/checked.h"

namespace testbed {

using qmfi_system::checked;
using qmfi_system::Descriptor;

namespace fs = std::filesystem;

namespace {

constexpr off64_t poolBytes = 64LL << 30;  // sparse: only what is written takes room

void makeSparse(int file, off64_t bytes, const std::string& name) {
  checked(ftruncate64(file, bytes), "setting the size of " + name);
}

}  // namespace

std::string blockDeviceOf(const VolumeSpec& volume) {
  return "/dev/qm/dsk/dg1/" + volume.name;
}
std::string rawDeviceOf(const VolumeSpec& volume) {
  return "/dev/qm/rdsk/dg1/" + volume.name;
}

Descriptor makePoolImage() {
  const char* chosen = std::getenv("TMPDIR");
  const std::string directory = chosen != nullptr && *chosen != '\0' ? chosen : "/var/tmp";
  Descriptor image(checked(open(directory.c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600),
                           "making an unnamed file in " + directory + " (TMPDIR names another directory)"));
  makeSparse(image.get(), poolBytes, "the pool");
  return image;
}

VolumePool VolumePool::ownPool(Descriptor image) {
  const LoopDevice loop = attachLoopDevice(image.get());
  const std::string node = "/dev/loop" + std::to_string(loop.number);
  if (runProgram({"/sbin/mkfs.xfs", "-q", "-K", "-m", "reflink=1", node}) != 0) {
    throw std::runtime_error("mkfs.xfs could not format the pool");
  }
  fs::create_directory(poolDirectory);
  checked(mount(node.c_str(), poolDirectory.c_str(), "xfs", MS_NOATIME, nullptr), "mounting the pool");
  return VolumePool(loop.device);
}

VolumePool VolumePool::sharedPool() {
  struct stat status {};
  checked(stat(poolDirectory.c_str(), &status), "stat of the pool");
  return VolumePool(status.st_dev);
}

bool VolumePool::add(const VolumeSpec& volume) {
  fs::create_directories(poolDirectory + "/dg1");
  const std::string path = poolDirectory + "/dg1/" + volume.name;
  Descriptor file(open(path.c_str(), O_CREAT | O_EXCL | O_RDWR | O_CLOEXEC, 0600));
  const bool isNew = file.valid();
  if (isNew) {
    makeSparse(file.get(), static_cast<off64_t>(volume.bytes), path);
  } else {
    file = Descriptor(checked(open(path.c_str(), O_RDWR | O_CLOEXEC), "making " + path));
  }
  LoopDevice loop = attachLoopDevice(file.get());
  for (const auto& node : {blockDeviceOf(volume), rawDeviceOf(volume)}) {
    fs::create_directories(fs::path(node).parent_path());
    checked(mknod(node.c_str(), S_IFBLK | 0600, loop.device), "making " + node);
  }
  m_volumes.push_back(std::move(loop));
  return isNew;
}

}  // namespace testbed

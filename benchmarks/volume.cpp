// Volumes of the testbed: what is written to them, and how they are split.
#include "volume.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "system/checked.h"
#include "system/loop_device.h"

namespace bench {

namespace {

namespace fs = std::filesystem;

constexpr std::size_t megabyte = std::size_t{1} << 20;

[[noreturn]] void fail(const std::string& what) {
  throw std::system_error(errno, std::generic_category(), what);
}

qmfi_system::Descriptor openFile(const std::string& path, int flags) {
  return qmfi_system::Descriptor(qmfi_system::checked(open(path.c_str(), flags | O_CLOEXEC, 0600), path));
}

// The file behind the loop device of a mounted file system.
std::string backingFile(const std::string& mountPoint) {
  struct stat status {};
  if (stat(mountPoint.c_str(), &status) != 0) fail(mountPoint);
  return qmfi_system::backingFileName(status.st_dev);
}

std::string dirtyFile(const std::string& mountPoint) {
  return mountPoint + "/dirty";
}

std::string clonePath(const std::string& imagePath) {
  return imagePath + "-clone";
}

}  // namespace

Volume::Volume(const std::string& mountPoint)
    : m_path(mountPoint),
      m_directory(openFile(mountPoint, O_RDONLY | O_DIRECTORY)),
      m_imagePath(backingFile(mountPoint)),
      m_image(openFile(m_imagePath, O_RDONLY)),
      m_clone(openFile(clonePath(m_imagePath), O_RDWR | O_CREAT)) {}

Volume::~Volume() {
  unlink(clonePath(m_imagePath).c_str());
}

void Volume::flush() const {
  if (syncfs(m_directory.get()) != 0 || fdatasync(m_image.get()) != 0) fail("cannot write out " + m_path);
}

void Volume::split() const {
  if (ioctl(m_clone.get(), FICLONE, m_image.get()) != 0) fail("cannot clone " + m_imagePath);
}

void Volume::makeDirty(std::size_t megabytes) const {
  // A new one: the kernel begins at once to write out a file that was emptied and filled again.
  const auto file = openFile(dirtyFile(m_path), O_WRONLY | O_CREAT | O_EXCL);
  const std::string block(megabyte, 'x');
  for (std::size_t written = 0; written < megabytes; ++written) {
    if (write(file.get(), block.data(), block.size()) != static_cast<ssize_t>(block.size())) fail("cannot write");
  }
}

void Volume::clean() const {
  fs::remove(dirtyFile(m_path));
  if (ftruncate(m_clone.get(), 0) != 0) fail("cannot empty the clone");
  flush();
}

std::vector<std::unique_ptr<Volume>> mountedVolumes() {
  std::vector<std::unique_ptr<Volume>> volumes;
  for (std::string path = "/bench/0"; fs::exists(path); path = "/bench/" + std::to_string(volumes.size())) {
    volumes.push_back(std::make_unique<Volume>(path));
  }
  return volumes;
}

}  // namespace bench

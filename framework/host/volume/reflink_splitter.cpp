// Cloning of volume files, and devices for the clones.
#include "volume/reflink_splitter.h"

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <utility>

#include "failure/host_error.h"
#include "system/descriptor.h"
#include "volume/loop_device.h"

namespace qmfi_host {

namespace fs = std::filesystem;

namespace {

void requireAbsent(const std::string& path) {
  std::error_code error;
  if (fs::symlink_status(path, error).type() != fs::file_type::not_found) {
    throw HostError("the name " + path + ", which the snapshot needs, is taken");
  }
}

void removeFile(const std::string& path) {
  if (unlink(path.c_str()) != 0 && errno != ENOENT) throw systemError(path + " could not be removed");
}

class FileSplit : public VolumeSplit {
 public:
  FileSplit(Descriptor volume, Descriptor snapshot, std::string name)
      : m_volume(std::move(volume)), m_snapshot(std::move(snapshot)), m_name(std::move(name)) {}

  void flush() override {
    if (fdatasync(m_volume.get()) != 0) throw systemError(m_name + " could not be written out");
  }

  int split() noexcept override { return ioctl(m_snapshot.get(), FICLONE, m_volume.get()) == 0 ? 0 : errno; }

 private:
  Descriptor m_volume;
  Descriptor m_snapshot;
  std::string m_name;
};

class LoopSnapshotDevice : public SnapshotDevice {
 public:
  explicit LoopSnapshotDevice(Descriptor node) : m_node(std::move(node)) {}

 private:
  Descriptor m_node;
};

// Cloning the first block tells, before anything is frozen, whether the whole can be cloned.
void tryToShareBlocks(const Descriptor& volume, const Descriptor& snapshot, const SplitPlan& plan) {
  struct stat status {};
  if (fstat(volume.get(), &status) != 0) throw systemError(plan.volumeFile + " cannot be read");
  file_clone_range firstBlock{volume.get(), 0, static_cast<__u64>(status.st_blksize), 0};
  if (status.st_size < status.st_blksize) firstBlock.src_length = 0;
  if (ioctl(snapshot.get(), FICLONERANGE, &firstBlock) != 0) {
    throw systemError("the volume " + plan.device + " cannot be split: the file system of " + plan.volumeFile +
                      " does not share blocks between files");
  }
}

void makeRawNode(const std::string& raw, const Descriptor& node) {
  std::error_code error;
  if (raw.empty() || !fs::is_directory(fs::path(raw).parent_path(), error)) return;
  struct stat status {};
  if (fstat(node.get(), &status) != 0 || mknod(raw.c_str(), S_IFBLK | 0600, status.st_rdev) != 0) {
    throw systemError("the device " + raw + " could not be made");
  }
}

}  // namespace

SplitPlan ReflinkSplitter::plan(const std::string& device, const std::string& snapshotId) const {
  const std::string file = backingFileOf(device);
  SplitPlan plan{device, device + "-" + snapshotId, file, file + "-" + snapshotId, {}};
  requireAbsent(plan.snapshotDevice);
  requireAbsent(plan.snapshotFile);
  return plan;
}

std::unique_ptr<VolumeSplit> ReflinkSplitter::prepare(const SplitPlan& plan) const {
  Descriptor volume(open(plan.volumeFile.c_str(), O_RDONLY | O_CLOEXEC));
  if (!volume.valid()) throw systemError("the volume file " + plan.volumeFile + " cannot be opened");
  Descriptor snapshot(open(plan.snapshotFile.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!snapshot.valid()) throw systemError("the snapshot file " + plan.snapshotFile + " could not be made");
  tryToShareBlocks(volume, snapshot, plan);
  return std::make_unique<FileSplit>(std::move(volume), std::move(snapshot), plan.volumeFile);
}

std::unique_ptr<SnapshotDevice> ReflinkSplitter::attach(const SplitPlan& plan) const {
  detach(plan);
  Descriptor node = attachLoopDevice(plan.snapshotDevice, plan.snapshotFile);
  makeRawNode(plan.rawDevice, node);
  return std::make_unique<LoopSnapshotDevice>(std::move(node));
}

void ReflinkSplitter::detach(const SplitPlan& plan) const {
  // The number of a device that detached itself may belong to somebody else by now.
  if (isLoopDeviceOver(plan.snapshotDevice, plan.snapshotFile)) detachLoopDevice(plan.snapshotDevice);
  if (!plan.rawDevice.empty()) removeFile(plan.rawDevice);
  removeFile(plan.snapshotDevice);
}

void ReflinkSplitter::release(const SplitPlan& plan) const {
  detach(plan);
  removeFile(plan.snapshotFile);
}

}  // namespace qmfi_host

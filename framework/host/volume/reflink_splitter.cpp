// Cloning of volume files, and devices for the clones.
#include "volume/reflink_splitter.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cerrno>
#include <filesystem>
#include <set>
#include <utility>
#include <vector>

#include "failure/host_error.h"
#include "system/descriptor.h"
#include "system/durable_file.h"
#include "system/loop_device.h"
#include "system/small_file.h"
#include "texts/translation.h"
#include "trust/trusted_path.h"
#include "volume/block_device.h"
#include "volume/device_nodes.h"
#include "volume/file_pieces.h"
#include "volume/file_split.h"
#include "volume/loop_device.h"
#include "volume/possible_name.h"

namespace qmfi_host {

using qmfi_system::Descriptor;

namespace fs = std::filesystem;

namespace {

class FilesSplit : public GroupSplit {
 public:
  explicit FilesSplit(const std::vector<SplitPlan>& plans) {
    for (const SplitPlan& plan : plans) m_volumes.push_back({plan.device, FileSplit(plan)});
  }

  void flush() override {
    for (Volume& volume : m_volumes) volume.split.flush();
  }

  int split(std::chrono::steady_clock::time_point deadline) noexcept override {
    for (Volume& volume : m_volumes) {
      m_error = volume.split.split(deadline);
      m_last = &volume;
      if (m_error != 0) return m_error;
    }
    return 0;
  }

  void requireSplit() override {
    if (m_error != 0) {
      throw systemError(translate("the volume {0} could not be split", m_last->device), m_error).about(m_last->device);
    }
  }

 private:
  struct Volume {
    std::string device;
    FileSplit split;
  };

  std::vector<Volume> m_volumes{};
  const Volume* m_last = nullptr;
  int m_error = 0;
};

// What is to be mounted must not detach itself when the host is killed: its number would be somebody else's, whose file
// system a program that the host had started to mount it would mount then.
class LoopSnapshotDevice : public SnapshotDevice {
 public:
  explicit LoopSnapshotDevice(Descriptor node) : m_node(std::move(node)) {}
  LoopSnapshotDevice(const LoopSnapshotDevice&) = delete;
  LoopSnapshotDevice& operator=(const LoopSnapshotDevice&) = delete;
  ~LoopSnapshotDevice() override { qmfi_system::detachWithLastUser(m_node); }

 private:
  Descriptor m_node;
};

std::uint64_t bytesOf(const struct stat& file) {
  constexpr std::uint64_t block = 512;
  return static_cast<std::uint64_t>(file.st_blocks) * block;
}

void lookAtStorage(const std::string& volumeFile, VolumeStatus& status) {
  const Descriptor volume(open(volumeFile.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat found {};
  struct statvfs storage {};
  if (!volume.valid() || fstat(volume.get(), &found) != 0 || fstatvfs(volume.get(), &storage) != 0) return;
  status.storage = "file system " + deviceNumberText(found.st_dev);
  status.occupied = bytesOf(found);
  status.needs = sharedBytesOf(volume.get()).value_or(status.occupied);
  status.free = static_cast<std::uint64_t>(storage.f_bavail) * storage.f_frsize;
}

constexpr const char* recordSuffix = ".qmfi";

std::string recordFileOf(const std::string& snapshotFile) {
  return snapshotFile + recordSuffix;
}

// Where the files lie that are volumes now.
std::set<fs::path> volumeDirectories() {
  std::set<fs::path> directories;
  for (const int number : qmfi_system::attachedLoopDevices()) {
    const fs::path file = qmfi_system::backingFileName(qmfi_system::loopDevice(number));
    if (file.is_absolute()) directories.insert(file.parent_path());
  }
  return directories;
}

// What others can write to is no place for records of root's.
bool isTrusted(const fs::path& path) {
  try {
    requireTrusted(path);
    return true;
  } catch (const HostError&) {
    return false;
  }
}

void addRecordsIn(const fs::path& directory, std::vector<KeptRecord>& records) {
  std::error_code error;
  for (fs::directory_iterator entry(directory, error); !error && entry != fs::directory_iterator();
       entry.increment(error)) {
    const fs::path& path = entry->path();
    if (path.extension() != recordSuffix || !isTrusted(path)) continue;
    const fs::path copy = path.parent_path() / path.stem();
    std::error_code missing;
    const auto text = qmfi_system::readSmallFile(path);
    if (text && fs::is_regular_file(copy, missing)) records.push_back({copy, *text});
  }
}

}  // namespace

bool ReflinkSplitter::isFor(const std::string& device) const {
  const std::optional<dev_t> number = blockDeviceAt(device);
  return number && qmfi_system::isLoopDevice(*number);
}

SplitPlan ReflinkSplitter::plan(const std::string& device, const std::string& snapshotId) const {
  const std::string file = backingFileOf(device);
  SplitPlan plan{device, device + "-" + snapshotId, file, file + "-" + snapshotId, {}, name()};
  requireAbsent(plan.snapshotDevice);
  requireAbsent(plan.snapshotFile);
  requirePossibleName(plan.snapshotDevice);
  // Of all the files of the snapshot there it has the longest name.
  requirePossibleName(qmfi_system::unfinishedFileOf(recordFileOf(plan.snapshotFile)));
  requireUsable();
  return plan;
}

std::unique_ptr<GroupSplit> ReflinkSplitter::prepare(const std::vector<SplitPlan>& plans) const {
  return std::make_unique<FilesSplit>(plans);
}

std::unique_ptr<SnapshotDevice> ReflinkSplitter::attach(const SplitPlan& plan) const {
  detach(plan);
  auto device = std::make_unique<LoopSnapshotDevice>(attachLoopDevice(plan.snapshotDevice, plan.snapshotFile));
  struct stat status {};
  if (stat(plan.snapshotDevice.c_str(), &status) != 0) {
    throw systemError(translate("the device {0} cannot be read", plan.snapshotDevice)).about(plan.snapshotDevice);
  }
  makeRawNode(plan, status.st_rdev);
  return device;
}

void ReflinkSplitter::detach(const SplitPlan& plan) const {
  // The number of a device that detached itself may belong to somebody else by now.
  if (loopDeviceOver(plan.snapshotDevice, plan.snapshotFile)) detachLoopDevice(plan.snapshotDevice);
  removeNodes(plan);
}

VolumeStatus ReflinkSplitter::look(const SplitPlan& plan, LookAt what) const {
  VolumeStatus status;
  struct stat found {};
  if (stat(plan.snapshotFile.c_str(), &found) == 0 && S_ISREG(found.st_mode)) {
    status.exists = true;
    status.bytes = bytesOf(found);
  }
  status.device = loopDeviceOver(plan.snapshotDevice, plan.snapshotFile);
  if (what == LookAt::everything) lookAtStorage(plan.volumeFile, status);
  return status;
}

void ReflinkSplitter::keepRecord(const SplitPlan& plan, const std::string& text) const {
  const int error = qmfi_system::replaceFile(recordFileOf(plan.snapshotFile), text);
  if (error != 0) {
    throw systemError(translate("the record of {0} could not be written", plan.snapshotFile), error)
        .about(plan.snapshotFile);
  }
}

std::vector<KeptRecord> ReflinkSplitter::records() const {
  std::vector<KeptRecord> records;
  for (const fs::path& directory : volumeDirectories()) addRecordsIn(directory, records);
  return records;
}

void ReflinkSplitter::release(const SplitPlan& plan) const {
  detach(plan);
  removeName(plan.snapshotFile);
  const std::string record = recordFileOf(plan.snapshotFile);
  removeName(qmfi_system::unfinishedFileOf(record));
  removeName(record);
  // A copy that is back after a crash would belong to nobody.
  const std::string directory = fs::path(plan.snapshotFile).parent_path();
  const int error = qmfi_system::writeOutDirectory(directory);
  if (error != 0 && error != ENOENT && error != ENOTDIR) {
    throw systemError(translate("{0} could not be written out", directory), error).about(directory);
  }
}

}  // namespace qmfi_host

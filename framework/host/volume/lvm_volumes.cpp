// Names, kinds and room of logical volumes.
#include "volume/lvm_volumes.h"

#include <algorithm>
#include <cctype>
#include <string_view>

#include "failure/host_error.h"
#include "texts/translation.h"
#include "volume/block_device.h"

namespace qmfi_host {

namespace {

constexpr std::string_view deviceDirectory = "/dev/";

// As lvm itself allows. What begins with "-" would be an option.
bool isName(const std::string& text) {
  constexpr std::string_view others = "+_.-";
  return !text.empty() && text.front() != '-' && text.front() != '.' &&
         std::all_of(text.begin(), text.end(), [&](unsigned char character) {
           return std::isalnum(character) != 0 || others.find(static_cast<char>(character)) != std::string_view::npos;
         });
}

std::uint64_t shareOf(std::uint64_t bytes, double percent) {
  constexpr double whole = 100;
  return static_cast<std::uint64_t>(static_cast<double>(bytes) * std::clamp(percent, 0.0, whole) / whole);
}

bool hasThinSnapshot(const VolumeGroup& group, const std::string& name) {
  return std::any_of(group.volumes.begin(), group.volumes.end(),
                     [&](const auto& one) { return isThin(one.second) && one.second.origin == name; });
}

// The volume and its copies share blocks of the pool.
void lookAtPool(const LvmNames& names, const VolumeGroup& group, const LogicalVolume& volume, VolumeStatus& status) {
  const LogicalVolume* const pool = findVolume(group, volume.pool);
  if (pool == nullptr) return;
  status.storage = "lvm " + names.group + "/" + volume.pool;
  status.occupied = shareOf(volume.bytes, volume.data);
  status.needs = hasThinSnapshot(group, names.volume) ? status.occupied : 0;
  status.free = pool->bytes - shareOf(pool->bytes, pool->data);
}

// Nothing else has the room of a classic copy. Where it is at its end only the copy is lost.
void lookAtCopysOwnRoom(const SplitPlan& plan, const LogicalVolume& volume, const LogicalVolume* snapshot,
                        VolumeStatus& status) {
  status.storage = "lvm " + plan.snapshotFile;
  if (snapshot == nullptr) return;
  status.needs = volume.bytes;
  status.free = snapshot->bytes - shareOf(snapshot->bytes, snapshot->data);
}

}  // namespace

LvmNames lvmNamesIn(const std::string& path) {
  const std::size_t slash = path.find('/', deviceDirectory.size());
  if (path.starts_with(deviceDirectory) && slash != std::string::npos) {
    LvmNames names{path.substr(deviceDirectory.size(), slash - deviceDirectory.size()), path.substr(slash + 1)};
    if (isName(names.group) && isName(names.volume)) return names;
  }
  throw HostError(translate("{0} is not the path of a logical volume", path));
}

bool isThin(const LogicalVolume& volume) {
  return volume.kind == "thin";
}

const LogicalVolume* findVolume(const VolumeGroup& group, const std::string& name) {
  const auto found = group.volumes.find(name);
  return found == group.volumes.end() ? nullptr : &found->second;
}

VolumeStatus lvmStatusOf(const SplitPlan& plan, const VolumeGroup& group) {
  const LvmNames names = lvmNamesIn(plan.volumeFile);
  const LogicalVolume* const volume = findVolume(group, names.volume);
  const LogicalVolume* const snapshot = findVolume(group, lvmNamesIn(plan.snapshotFile).volume);
  VolumeStatus status;
  // A copy that was left half made is a volume without an origin.
  status.exists = snapshot != nullptr && (isThin(*snapshot) || !snapshot->origin.empty());
  if (status.exists) {
    status.bytes = shareOf(snapshot->bytes, snapshot->data);
    status.device = blockDeviceAt(plan.snapshotDevice);
  }
  if (volume == nullptr) return status;
  if (isThin(*volume)) {
    lookAtPool(names, group, *volume, status);
  } else {
    lookAtCopysOwnRoom(plan, *volume, snapshot, status);
  }
  return status;
}

}  // namespace qmfi_host

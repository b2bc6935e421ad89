// Snapshots of logical volumes.
#include "volume/lvm_splitter.h"

#include <sys/utsname.h>

#include <charconv>
#include <string_view>
#include <utility>

#include "failure/host_error.h"
#include "texts/translation.h"
#include "volume/block_device.h"
#include "volume/device_nodes.h"
#include "volume/lvm_split.h"
#include "volume/lvm_volumes.h"
#include "volume/possible_name.h"

namespace qmfi_host {

namespace {

constexpr std::string_view deviceDirectory = "/dev/";
constexpr double fullMetadata = 95;

HostError refusal(const LvmNames& names, const std::string& reason) {
  return HostError(Failure::cannotBeSplit,
                   translate("the volume {0} cannot be split: {1}; nothing was frozen", names.whole(), reason))
      .about(names.whole())
      .because(reason);
}

void requireRoomInPool(const LvmNames& names, const VolumeGroup& group, const std::string& poolName) {
  const LogicalVolume* const pool = findVolume(group, poolName);
  if (pool == nullptr) throw refusal(names, translate("lvm tells nothing of its pool {0}", poolName));
  constexpr double full = 100;
  if (pool->data >= full) throw refusal(names, translate("its pool {0} is full", poolName));
  if (pool->metadata >= fullMetadata) {
    throw refusal(names,
                  translate("the metadata of its pool {0} are {1}% full", poolName, static_cast<int>(pool->metadata)));
  }
}

// Takes the copy's extents from those that are free.
std::uint64_t takeExtents(const LvmNames& names, VolumeGroup& group, const LogicalVolume& volume,
                          const SnapshotSize& size) {
  const std::uint64_t extents = extentsOf(size, volume.bytes, group.extentBytes);
  const std::uint64_t free = group.freeBytes / group.extentBytes;
  if (extents > free) {
    throw refusal(
        names,
        translate(
            "its snapshot wants {0} extents, and the volume group has {1} free; --snapshot-size sets another size",
            extents, free));
  }
  group.freeBytes -= extents * group.extentBytes;
  return extents;
}

LvmSnapshot snapshotFor(const SplitPlan& plan, VolumeGroup& group, const SnapshotSize& size) {
  const LvmNames names = lvmNamesIn(plan.volumeFile);
  const std::string copy = lvmNamesIn(plan.snapshotFile).volume;
  const LogicalVolume* const volume = findVolume(group, names.volume);
  if (volume == nullptr) throw refusal(names, translate("it is not there"));
  if (findVolume(group, copy) != nullptr) throw refusal(names, translate("there is a volume {0}", copy));
  if (isThin(*volume)) {
    requireRoomInPool(names, group, volume->pool);
    return {names.group, names.volume, copy, std::nullopt};
  }
  if (!volume->origin.empty()) throw refusal(names, translate("it is a snapshot itself"));
  return {names.group, names.volume, copy, takeExtents(names, group, *volume, size)};
}

// lvm may have been killed in the middle of a snapshot.
void requireResumed(const LvmProgram& lvm, const SplitPlan& plan) {
  const std::optional<dev_t> device = blockDeviceAt(plan.volumeFile);
  if (device && isSuspended(*device)) lvm.run({"lvchange", "--refresh", lvmNamesIn(plan.volumeFile).whole()});
}

}  // namespace

std::string runningKernel() {
  utsname names{};
  return uname(&names) == 0 ? names.release : "";
}

void requireNestedFreezes(const std::string& kernel) {
  constexpr std::pair firstVersion(6, 8);
  std::pair version(0, 0);
  const char* const end = kernel.data() + kernel.size();
  const auto first = std::from_chars(kernel.data(), end, version.first);
  if (first.ptr != end && *first.ptr == '.') std::from_chars(first.ptr + 1, end, version.second);
  if (version >= firstVersion) return;
  throw HostError(Failure::cannotBeSplit,
                  translate("the kernel {0} cannot suspend a logical volume whose file system is frozen, so lvm cannot "
                            "split it; Linux 6.8 and later can; nothing was frozen",
                            kernel));
}

LvmSplitter::LvmSplitter(LvmSettings settings, const std::filesystem::path& recordDirectory)
    : m_settings(std::move(settings)),
      m_lvm(m_settings.program, m_settings.trust),
      m_records(recordDirectory, splitterName) {}

bool LvmSplitter::isFor(const std::string& device) const {
  const std::optional<dev_t> number = blockDeviceAt(device);
  return number && mapperIdentity(*number).starts_with("LVM-");
}

void LvmSplitter::requireUsable() const {
  requireNestedFreezes(m_settings.kernel);
  m_lvm.requireUsable();
}

SplitPlan LvmSplitter::plan(const std::string& device, const std::string& snapshotId) const {
  if (blockDeviceAt(device) && !isFor(device)) {
    throw HostError(
        Failure::cannotBeSplit,
        translate("the volume {0} cannot be split by lvm: it is {1}, and no logical volume", device, kindOf(device)))
        .about(device);
  }
  requireUsable();
  const auto [group, name] = m_lvm.namesOf(device);
  const std::string volume = std::string(deviceDirectory) + group + "/" + name;
  const std::string snapshot = volume + "-" + snapshotId;
  SplitPlan plan{device, snapshot, volume, snapshot, {}, this->name()};
  lvmNamesIn(snapshot);
  requireAbsent(snapshot);
  requirePossibleName(snapshot);
  m_records.requirePossible(snapshot);
  return plan;
}

std::string LvmSplitter::workPlace(const SplitPlan& /*plan*/) const {
  return m_lvm.lockDirectory();
}

std::unique_ptr<GroupSplit> LvmSplitter::prepare(const std::vector<SplitPlan>& plans) const {
  m_lvm.requireUsable();
  std::map<std::string, VolumeGroup> groups;
  std::vector<LvmSnapshot> snapshots;
  for (const SplitPlan& plan : plans) {
    const std::string name = lvmNamesIn(plan.volumeFile).group;
    if (!groups.contains(name)) groups[name] = m_lvm.groupOf(name);
    snapshots.push_back(snapshotFor(plan, groups[name], m_settings.snapshotSize));
  }
  return std::make_unique<LvmSplit>(m_settings.program, std::move(snapshots));
}

std::unique_ptr<SnapshotDevice> LvmSplitter::attach(const SplitPlan& plan) const {
  const LvmNames names = lvmNamesIn(plan.snapshotFile);
  m_lvm.requireUsable();
  m_lvm.run({"lvchange", "--yes", "--activate", "y", "--ignoreactivationskip", names.whole()});
  // Where udev is late or not there.
  if (!blockDeviceAt(plan.snapshotDevice)) m_lvm.run({"vgmknodes", names.whole()});
  const std::optional<dev_t> device = blockDeviceAt(plan.snapshotDevice);
  if (!device) throw HostError(translate("lvm has made no device {0}", plan.snapshotDevice));
  std::unique_ptr<SnapshotDevice> held = holdDevice(plan.snapshotDevice);
  if (!plan.rawDevice.empty()) removeName(plan.rawDevice);
  makeRawNode(plan, *device);
  return held;
}

void LvmSplitter::detach(const SplitPlan& plan) const {
  const LvmNames names = lvmNamesIn(plan.snapshotFile);
  if (!plan.rawDevice.empty()) removeName(plan.rawDevice);
  m_lvm.requireUsable();
  const VolumeGroup group = m_lvm.groupOf(names.group);
  const LogicalVolume* const snapshot = findVolume(group, names.volume);
  // To deactivate a classic one would deactivate its volume, too.
  if (snapshot != nullptr && isThin(*snapshot)) m_lvm.run({"lvchange", "--activate", "n", names.whole()});
}

// Both are told by one run of the program.
VolumeStatus LvmSplitter::look(const SplitPlan& plan, LookAt /*what*/) const {
  try {
    m_lvm.requireUsable();
    return lvmStatusOf(plan, m_lvm.groupOf(lvmNamesIn(plan.volumeFile).group));
  } catch (const HostError&) {
    return {};
  }
}

void LvmSplitter::keepRecord(const SplitPlan& plan, const std::string& text) const {
  m_records.keep(plan.snapshotFile, text);
}

std::vector<KeptRecord> LvmSplitter::records() const {
  return m_records.all();
}

void LvmSplitter::release(const SplitPlan& plan) const {
  const LvmNames names = lvmNamesIn(plan.snapshotFile);
  if (!plan.rawDevice.empty()) removeName(plan.rawDevice);
  m_lvm.requireUsable();
  const VolumeGroup group = m_lvm.groupOf(names.group);
  // Also one that was left half made.
  if (findVolume(group, names.volume) != nullptr) m_lvm.run({"lvremove", "--force", "--yes", names.whole()});
  requireResumed(m_lvm, plan);
  m_records.remove(plan.snapshotFile);
}

}  // namespace qmfi_host

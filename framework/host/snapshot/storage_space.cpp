// What overwriting would take.
#include "snapshot/storage_space.h"

#include <array>
#include <iomanip>
#include <map>
#include <set>
#include <sstream>

#include "failure/host_error.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

struct Storage {
  std::uint64_t needs = 0;
  std::uint64_t free = 0;
  std::string mountPoint;  // of the first file system whose volume lies there
};

}  // namespace

void requireSpace(const Splitters& splitters, const Snapshot& planned, const std::vector<Snapshot>& others) {
  std::map<std::string, Storage> storages;
  std::set<std::string> counted;
  for (const SnapshotNode& node : planned.nodes) {
    const VolumeStatus volume = splitters.look(node.volume, LookAt::everything);
    if (volume.storage.empty()) continue;
    Storage& storage = storages.try_emplace(volume.storage, Storage{0, volume.free, node.mountPoint}).first->second;
    if (counted.insert(node.volume.volumeFile).second) storage.needs += volume.occupied;
  }
  for (const Snapshot& other : others) {
    for (const SnapshotNode& node : other.nodes) {
      if (!counted.insert(node.volume.volumeFile).second) continue;
      const VolumeStatus volume = splitters.look(node.volume, LookAt::everything);
      const auto storage = storages.find(volume.storage);
      if (storage != storages.end()) storage->second.needs += volume.needs;
    }
  }
  for (const auto& [name, storage] : storages) {
    if (storage.needs <= storage.free) continue;
    throw HostError(
        Failure::storageFull,
        translate("the storage of {0} has {1} free, and needs {2} if all is overwritten that snapshots share "
                  "with their volumes; what is written to a full one is lost. --overcommit takes the "
                  "snapshot all the same",
                  storage.mountPoint, bytesText(storage.free), bytesText(storage.needs)))
        .about(storage.mountPoint)
        .advise(translate("make room, or take the snapshot all the same by --overcommit"));
  }
}

std::string bytesText(std::uint64_t bytes) {
  constexpr std::array units = {"KiB", "MiB", "GiB", "TiB", "PiB"};
  constexpr double step = 1024;
  double amount = static_cast<double>(bytes) / step;
  std::size_t unit = 0;
  for (; amount >= step && unit + 1 < units.size(); ++unit) amount /= step;
  std::ostringstream text;
  text << std::fixed << std::setprecision(1) << amount << " " << units[unit];
  return text.str();
}

}  // namespace qmfi_host

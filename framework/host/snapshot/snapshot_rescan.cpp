// From records to rows.
#include "snapshot/snapshot_rescan.h"

#include <algorithm>
#include <vector>

#include "failure/host_error.h"
#include "state/snapshot_record.h"
#include "texts/translation.h"

namespace qmfi_host {

namespace {

// A record counts only beside a copy that it tells of: it may have been copied to another place with its directory.
Snapshot snapshotOf(const KeptRecord& record) {
  Snapshot snapshot = snapshotOfRecord(record.text);
  const bool isBeside = std::any_of(snapshot.nodes.begin(), snapshot.nodes.end(), [&](const SnapshotNode& node) {
    return node.volume.snapshotFile == record.snapshotFile;
  });
  if (!isBeside) throw HostError(translate("it tells of other files"));
  return snapshot;
}

bool readRecord(const KeptRecord& record, std::vector<Snapshot>& snapshots) {
  try {
    snapshots.push_back(snapshotOf(record));
    return true;
  } catch (const HostError& error) {
    reportError(HostError(translate("the record of {0} is of no use: {1}", record.snapshotFile, error.what())));
    return false;
  }
}

}  // namespace

bool rescan(StateStore& store, const Splitters& splitters, const std::function<void(const std::string&)>& found) {
  std::vector<Snapshot> snapshots;
  bool isWhole = true;
  for (const VolumeSplitter* const splitter : splitters.all()) {
    for (const KeptRecord& record : splitter->records()) isWhole = readRecord(record, snapshots) && isWhole;
  }
  // The records of one snapshot differ when the host was killed while it wrote them.
  std::stable_partition(snapshots.begin(), snapshots.end(), [](const Snapshot& one) { return isAtRest(one.phase); });
  for (const Snapshot& snapshot : snapshots) {
    if (store.find(snapshot.id)) continue;
    isWhole = tryOrReport([&] {
                store.replaceDamaged(snapshot);
                found(snapshot.id);
              }) &&
              isWhole;
  }
  return isWhole;
}

}  // namespace qmfi_host

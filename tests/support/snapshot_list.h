// Snapshots as qmfi tells of them.
#ifndef SUPPORT_SNAPSHOT_LIST_H
#define SUPPORT_SNAPSHOT_LIST_H

#include <string>
#include <vector>

namespace testbed_test {

struct SnapshotNode {
  std::string mountPoint;
  std::string device;
  std::string snapshotDevice;
  std::string alternate;
};

struct Snapshot {
  std::string id;
  std::string name;
  std::string state;  // "ready", "interrupted"...
  std::string phase;  // "ready", "freezing"...
  long frozenMicroseconds;
  std::vector<SnapshotNode> nodes;
};

// The one that "snapshot create --json" has made; empty when the text is no JSON. Those that "snapshot list --json"
// shows; throws when the text is no JSON.
Snapshot snapshotIn(const std::string& json);
std::vector<Snapshot> snapshotsIn(const std::string& json);

}  // namespace testbed_test

#endif

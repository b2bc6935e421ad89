// Comparing mount points.
#include "snapshot/nested_nodes.h"

#include <algorithm>

namespace qmfi_host {

namespace {

// Deeper ones are never above others.
auto depthOf(const SnapshotNode& node) {
  return node.mountPoint == "/" ? 0 : std::count(node.mountPoint.begin(), node.mountPoint.end(), '/');
}

}  // namespace

bool isWithin(const std::string& path, const std::string& directory) {
  return path == directory || path.starts_with(directory == "/" ? directory : directory + "/");
}

bool isNested(const Snapshot& snapshot, const SnapshotNode& node) {
  return std::any_of(snapshot.nodes.begin(), snapshot.nodes.end(), [&](const SnapshotNode& other) {
    return node.mountPoint != other.mountPoint && isWithin(node.mountPoint, other.mountPoint);
  });
}

std::vector<SnapshotNode*> outerFirst(Snapshot& snapshot) {
  std::vector<SnapshotNode*> nodes;
  for (SnapshotNode& node : snapshot.nodes) nodes.push_back(&node);
  std::stable_sort(nodes.begin(), nodes.end(),
                   [](const SnapshotNode* one, const SnapshotNode* other) { return depthOf(*one) < depthOf(*other); });
  return nodes;
}

}  // namespace qmfi_host

// qmfi, as the demonstration uses it.
#ifndef SNAPSHOT_CLIENT_H
#define SNAPSHOT_CLIENT_H

#include <chrono>
#include <string>
#include <vector>

namespace demo {

// One file system of a snapshot, as qmfi shows it.
struct SnapshotNode {
  std::string mountPoint;
  std::string device;
  std::string snapshotDevice;
  std::string alternate;
};

// A snapshot that is deleted at the end.
class TakenSnapshot {
 public:
  // Takes it. Throws DemoError.
  explicit TakenSnapshot(const std::vector<std::string>& mountPoints);
  TakenSnapshot(const TakenSnapshot&) = delete;
  TakenSnapshot& operator=(const TakenSnapshot&) = delete;
  ~TakenSnapshot();

  const std::string& id() const { return m_id; }
  std::chrono::microseconds frozen() const { return m_frozen; }
  // In the order of the mount points.
  const std::vector<SnapshotNode>& nodes() const { return m_nodes; }

  // Deletes it now. Throws DemoError.
  void remove();

 private:
  std::string m_id;
  std::chrono::microseconds m_frozen{0};
  std::vector<SnapshotNode> m_nodes;
  bool m_present = true;
};

// How many snapshots qmfi knows.
std::size_t countSnapshots();

}  // namespace demo

#endif

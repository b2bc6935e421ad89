// What the tests of volumes of several kinds share: mounting them, and looking whether anything was left behind.
#ifndef KINDS_FIXTURE_H
#define KINDS_FIXTURE_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <list>
#include <string>
#include <vector>

#include "ledger.h"

namespace machine_test {

// A volume that with_volumes has made.
struct Volume {
  std::string place;     // a logical volume, or a file
  std::string type;      // of its file system
  std::string splitter;  // that qmfi is to choose for it

  bool isFile() const { return splitter == "reflink"; }
  bool isThin() const { return place.find("thin") != std::string::npos; }
};

// Which volumes are orders, invoices and ledger.
struct Layout {
  std::string name;
  std::array<Volume, demo::fileSystems> volumes;
};

inline const Layout thinFirst = {
    "ThinFirst",
    {Volume{"/dev/data/thin_xfs", "xfs", "lvm"}, Volume{"/dev/data/classic_ext4", "ext4", "lvm"},
     Volume{"/storage/file_xfs", "xfs", "reflink"}}};
inline const Layout fileFirst = {
    "FileFirst",
    {Volume{"/storage/file_ext4", "ext4", "reflink"}, Volume{"/dev/data/thin_ext4", "ext4", "lvm"},
     Volume{"/dev/data/classic_xfs", "xfs", "lvm"}}};

inline std::vector<std::string> mountPoints() {
  return {demo::ledgerMountPoints.begin(), demo::ledgerMountPoints.end()};
}

// Runs a program that must succeed. Returns its output.
std::string mustRun(const std::vector<std::string>& words);

// A file system on a volume.
class MountedVolume {
 public:
  MountedVolume(const Volume& volume, std::string directory, const std::string& options = "rw");
  MountedVolume(const MountedVolume&) = delete;
  MountedVolume& operator=(const MountedVolume&) = delete;
  ~MountedVolume();

 private:
  std::string m_directory;
};

// All volumes of a layout.
class MountedLayout {
 public:
  explicit MountedLayout(const Layout& layout);
  MountedLayout(const MountedLayout&) = delete;
  MountedLayout& operator=(const MountedLayout&) = delete;
  ~MountedLayout();

 private:
  std::array<Volume, demo::fileSystems> m_volumes;
  std::list<MountedVolume> m_mounted;
};

// A snapshot of what is mounted, which must succeed.
class TakenSnapshot {
 public:
  explicit TakenSnapshot(const std::vector<std::string>& mountPoints);

  // In the order of the mount points: where the copies are, and what split them.
  const std::vector<std::string>& trees() const { return m_trees; }
  const std::vector<std::string>& splitters() const { return m_splitters; }

  // Runs "qmfi snapshot" with this command.
  void let(const std::string& command) const;

 private:
  std::string m_id;
  std::vector<std::string> m_trees;
  std::vector<std::string> m_splitters;
};

// Mounts, logical volumes, files, devices and snapshots of the machine, one line each.
std::string machineState();

}  // namespace machine_test

#endif

// Splits volumes that are files, mounted through loop devices, by sharing their blocks with a copy.
#ifndef REFLINK_SPLITTER_H
#define REFLINK_SPLITTER_H

#include <memory>
#include <string>

#include "volume/loop_device.h"
#include "volume/volume_splitter.h"

namespace qmfi_host {

// The snapshot's file lies beside the volume's, on a file system that can share blocks between files, and its device
// beside the volume's. Both get the name "<volume>-<snapshot id>". The plan leaves out the raw device, which a file
// system's provider knows of.
class ReflinkSplitter : public VolumeSplitter {
 public:
  std::string name() const override { return reflinkSplitterName; }
  void requireUsable() const override { requireLoopControl(); }
  bool isFor(const std::string& device) const override;
  SplitPlan plan(const std::string& device, const std::string& snapshotId) const override;
  std::string workPlace(const SplitPlan& plan) const override { return plan.volumeFile; }
  std::unique_ptr<GroupSplit> prepare(const std::vector<SplitPlan>& plans) const override;
  std::unique_ptr<SnapshotDevice> attach(const SplitPlan& plan) const override;
  void detach(const SplitPlan& plan) const override;
  VolumeStatus look(const SplitPlan& plan, LookAt what) const override;
  void keepRecord(const SplitPlan& plan, const std::string& text) const override;
  std::vector<KeptRecord> records() const override;
  void release(const SplitPlan& plan) const override;
};

}  // namespace qmfi_host

#endif

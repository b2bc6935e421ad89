// Splits logical volumes by snapshots of lvm, thin and classic ones.
#ifndef LVM_SPLITTER_H
#define LVM_SPLITTER_H

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "trust/trusted_path.h"
#include "volume/lvm_program.h"
#include "volume/record_directory.h"
#include "volume/snapshot_size.h"
#include "volume/volume_splitter.h"

namespace qmfi_host {

// What the splitter is told, and what it finds on the machine.
struct LvmSettings {
  std::string program = "/sbin/lvm";
  std::string kernel{};                              // the running kernel's release: "6.12.9-amd64"
  SnapshotSize snapshotSize = standardSnapshotSize;  // of classic snapshots
  LvmProgram::Trust trust = [](const std::string& path) { requireTrusted(path); };
};

// The release of the kernel that runs.
std::string runningKernel();

// Throws HostError unless the kernel can suspend a logical volume whose file system is frozen.
void requireNestedFreezes(const std::string& kernel);

// The snapshot of a volume /dev/GROUP/NAME is the volume /dev/GROUP/NAME-ID; lvm makes its nodes. That of a thin volume
// is attached by its activation. A classic one is active as long as its volume is.
class LvmSplitter : public VolumeSplitter {
 public:
  // recordDirectory: where the records of its snapshots are kept.
  LvmSplitter(LvmSettings settings, const std::filesystem::path& recordDirectory);

  std::string name() const override { return splitterName; }
  void requireUsable() const override;
  bool isFor(const std::string& device) const override;
  SplitPlan plan(const std::string& device, const std::string& snapshotId) const override;
  std::string workPlace(const SplitPlan& plan) const override;
  std::unique_ptr<GroupSplit> prepare(const std::vector<SplitPlan>& plans) const override;
  std::unique_ptr<SnapshotDevice> attach(const SplitPlan& plan) const override;
  void detach(const SplitPlan& plan) const override;
  VolumeStatus look(const SplitPlan& plan, LookAt what) const override;
  void keepRecord(const SplitPlan& plan, const std::string& text) const override;
  std::vector<KeptRecord> records() const override;
  void release(const SplitPlan& plan) const override;

 private:
  static constexpr const char* splitterName = "lvm";

  LvmSettings m_settings;
  LvmProgram m_lvm;
  RecordDirectory m_records;
};

}  // namespace qmfi_host

#endif

// Splits volumes of any kind by a program of the administrator's, for arrays, clouds and clusters.
#ifndef COMMAND_SPLITTER_H
#define COMMAND_SPLITTER_H

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "volume/command_program.h"
#include "volume/record_directory.h"
#include "volume/volume_splitter.h"

namespace qmfi_host {

// The device of a snapshot is a node beside the volume's, "<volume>-<snapshot id>", of the device that the program
// names. The program knows the copy by a name that is planned before anything is made, so whatever it has made can be
// removed although it, or this process, was killed.
class CommandSplitter : public VolumeSplitter {
 public:
  // program: its absolute path. recordDirectory: where the records of its snapshots are kept.
  CommandSplitter(std::string program, const std::filesystem::path& recordDirectory);

  std::string name() const override { return splitterName; }
  void requireUsable() const override { m_program.requireUsable(); }
  // Any block device, where there is a program.
  bool isFor(const std::string& device) const override;
  SplitPlan plan(const std::string& device, const std::string& snapshotId) const override;
  std::string workPlace(const SplitPlan& /*plan*/) const override { return {}; }
  std::unique_ptr<GroupSplit> prepare(const std::vector<SplitPlan>& plans) const override;
  std::unique_ptr<SnapshotDevice> attach(const SplitPlan& plan) const override;
  void detach(const SplitPlan& plan) const override;
  VolumeStatus look(const SplitPlan& plan, LookAt what) const override;
  void keepRecord(const SplitPlan& plan, const std::string& text) const override;
  std::vector<KeptRecord> records() const override;
  void release(const SplitPlan& plan) const override;

 private:
  static constexpr const char* splitterName = "command";

  CommandProgram m_program;
  RecordDirectory m_records;
};

}  // namespace qmfi_host

#endif

// One split of a group of logical volumes.
#ifndef LVM_SPLIT_H
#define LVM_SPLIT_H

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "volume/program_dialogue.h"
#include "volume/volume_splitter.h"

namespace qmfi_host {

// A snapshot that lvm is to make.
struct LvmSnapshot {
  std::string group;
  std::string origin;
  std::string name;
  std::optional<std::uint64_t> extents{};  // of a classic snapshot; a thin one takes its room from the pool
};

// Whether lvm is only to try what it can without changing anything.
enum class LvmMode { trial, earnest };

// What lvm is told in its shell to make a snapshot, with a line feed.
std::string commandOf(const LvmSnapshot& snapshot, LvmMode mode);

// lvm runs, in its shell mode, from before the freeze until it has made the snapshots. It is never ended in the middle
// of a command: it might leave a volume suspended.
class LvmSplit : public GroupSplit {
 public:
  // Starts lvm and lets it try all: what it needs for the split is in its memory then, and the kernel has the modules.
  // Throws HostError.
  LvmSplit(const std::string& program, std::vector<LvmSnapshot> snapshots);
  LvmSplit(const LvmSplit&) = delete;
  LvmSplit& operator=(const LvmSplit&) = delete;
  ~LvmSplit() override;

  // What the volumes have in memory belongs to their file systems.
  void flush() override {}
  int split(std::chrono::steady_clock::time_point deadline) noexcept override;
  void requireSplit() override;

 private:
  void requireMade(int error, LvmMode mode) const;

  std::vector<LvmSnapshot> m_snapshots;
  std::string m_commands;
  ProgramDialogue m_shell;
  int m_error = 0;
};

}  // namespace qmfi_host

#endif

// Calls of lvm, the program that manages logical volumes.
#ifndef LVM_PROGRAM_H
#define LVM_PROGRAM_H

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

namespace qmfi_host {

// What lvm printed, without the blanks and line ends around it: it indents all that it prints.
std::string withoutIndentation(const std::string& printed);

// A volume of a volume group, as lvm reports it.
struct LogicalVolume {
  std::string kind;  // "linear", "thin", "thin-pool"...
  std::uint64_t bytes = 0;
  std::string pool{};    // of a thin volume
  std::string origin{};  // of a snapshot
  double data = 0;       // how much of it is used, in percent; of a classic snapshot, a thin volume, a pool
  double metadata = 0;   // the same of a pool's metadata
};

// A volume group.
struct VolumeGroup {
  std::uint64_t extentBytes = 0;
  std::uint64_t freeBytes = 0;
  std::map<std::string, LogicalVolume> volumes{};  // by name
};

// The program, which is run for each of these.
class LvmProgram {
 public:
  // Throws HostError for a path that others than root can change.
  using Trust = std::function<void(const std::string& path)>;

  // path: absolute. trust: what is asked before the program is used.
  LvmProgram(std::string path, Trust trust) : m_path(std::move(path)), m_trust(std::move(trust)) {}

  const std::string& path() const { return m_path; }

  // Throws HostError unless it can be trusted.
  void requireUsable() const { m_trust(m_path); }

  // Where it makes its locks, or will make the directory for them. Throws HostError.
  std::string lockDirectory() const;

  // The names of the volume group and the volume that a device is. Throws HostError.
  std::pair<std::string, std::string> namesOf(const std::string& device) const;

  // A volume group as it is now. Throws HostError.
  VolumeGroup groupOf(const std::string& name) const;

  // Runs one of its commands. Throws HostError with what it printed when it fails. Returns what it printed.
  std::string run(const std::vector<std::string>& words) const;

 private:
  std::string m_path;
  Trust m_trust;
};

}  // namespace qmfi_host

#endif

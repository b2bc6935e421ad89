// The two disks of the machine whose power is cut: one with qmfi's state, one with the storage of the volumes.
#ifndef DISKS_H
#define DISKS_H

#include <array>
#include <cstdint>
#include <string>

#include "system/descriptor.h"
#include "write_log.h"

namespace faults {

// The volumes, each a file on the storage, and what mounts them.
struct Volume {
  std::string name;
  std::string type;
  std::string bytes;
};
inline const std::array<Volume, 3> volumes = {Volume{"orders", "xfs", "300M"}, Volume{"invoices", "ext4", "100M"},
                                              Volume{"ledger", "xfs", "300M"}};

// A text that lies in each volume from the beginning and never changes.
std::string constantText();

// The file with it in a volume that is mounted.
std::string constantFile(const std::string& tree);

// Makes the files of both disks in a folder, with the volumes. Throws std::exception.
void makeDisks(const std::string& folder);

// Files of both disks that follow a log, in a folder of the pool, where a copy shares its blocks.
class Disks {
 public:
  // Begins with copies of those in a folder. Throws std::exception.
  explicit Disks(const std::string& folder);

  // Lets a write reach the disks. The log is of one device, on which the state lies before the storage.
  void apply(const WriteLog& log, const LoggedWrite& write);

  // Makes copies of both as they are now, for a machine to use. Returns their folder. Throws std::exception.
  static std::string cut();
  // The same, but with the state from elsewhere.
  static std::string cutWithStateOf(const std::string& folder);

 private:
  qmfi_system::Descriptor m_state;
  qmfi_system::Descriptor m_storage;
  std::uint64_t m_stateBytes;
};

}  // namespace faults

#endif

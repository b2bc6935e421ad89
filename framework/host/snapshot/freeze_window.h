// The moment of a snapshot: file systems are frozen, volumes split, file systems thawed.
#ifndef FREEZE_WINDOW_H
#define FREEZE_WINDOW_H

#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "provider/node.h"
#include "provider/provider.h"
#include "snapshot/mounted_file_system.h"
#include "state/freeze_receipt.h"
#include "volume/volume_splitter.h"

namespace qmfi_host {

// A file system that is to be frozen, and the device that it lies on.
struct FreezeTarget {
  Node* node;  // initialised
  std::string device;
  std::unique_ptr<MountedFileSystem> fileSystem;
};

// The file systems of one provider.
struct FreezeGroup {
  Provider* provider;
  std::chrono::seconds timeout;  // when a freeze ends, by the kernel or, where that does not do it, by the watchdog
  std::vector<FreezeTarget> targets{};
};

// Freezes all file systems, one group after another, splits their volumes, and thaws, the last group first. Everything
// is thawed when it returns, however it returns, and when this process ends or is stopped meanwhile. Between freeze and
// thaw nothing is printed, written, executed or allocated, and no signal arrives.
//
// Returns what is known of it, the file systems in the order of the groups. Throws when a provider could not freeze or
// thaw, froze something else than the file systems that are open here, a volume could not be split, or a time-out may
// have ended a freeze before all volumes were split: then the copies are of no use.
FreezeReceipt splitFrozen(std::vector<FreezeGroup>& groups, const std::vector<std::unique_ptr<GroupSplit>>& splits);

}  // namespace qmfi_host

#endif

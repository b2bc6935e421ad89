// The moment of a snapshot: file systems are frozen, volumes split, file systems thawed.
#ifndef FREEZE_WINDOW_H
#define FREEZE_WINDOW_H

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "provider/node.h"
#include "provider/provider.h"
#include "volume/volume_splitter.h"

namespace qmfi_host {

// A file system that is to be frozen, and its volume.
struct FreezeTarget {
  Node* node;  // initialised
  std::string device;
  std::unique_ptr<VolumeSplit> split;
};

// The file systems of one provider.
struct FreezeGroup {
  Provider* provider;
  std::optional<std::chrono::seconds> timeout;  // what the provider freezes with; absent when its freezes do not end
  std::vector<FreezeTarget> targets{};
};

// Freezes all file systems, one group after another, splits all volumes, and thaws, the last group first. Everything is
// thawed when it returns, however it returns. Between freeze and thaw nothing is printed, written, executed or
// allocated, and no signal arrives.
//
// Returns the time from before the first freeze to after the last thaw. Throws when a provider could not freeze or
// thaw, a volume could not be split, or a time-out may have ended a freeze before all volumes were split: then the
// copies are of no use.
std::chrono::microseconds splitFrozen(std::vector<FreezeGroup>& groups);

}  // namespace qmfi_host

#endif

// The moment of a snapshot: file systems are frozen, volumes split, file systems thawed.
#ifndef FREEZE_WINDOW_H
#define FREEZE_WINDOW_H

#include <chrono>
#include <memory>
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

// Freezes all file systems, splits all volumes, thaws. Everything is thawed when it returns, however it returns.
// Between freeze and thaw nothing is printed, written, executed or allocated, and no signal arrives.
//
// timeout: what the provider freezes with. Returns the time from before the freeze to after the thaw. Throws when the
// provider could not freeze or thaw, a volume could not be split, or the time-out may have ended the freeze before all
// volumes were split: then the copies are of no use.
std::chrono::microseconds splitFrozen(Provider& provider, std::vector<FreezeTarget>& targets,
                                      std::chrono::seconds timeout);

}  // namespace qmfi_host

#endif

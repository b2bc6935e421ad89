// Where the parts of a volume's snapshot lie.
#ifndef SPLIT_PLAN_H
#define SPLIT_PLAN_H

#include <string>

namespace qmfi_host {

// The splitter of snapshots whose records do not name one: there was no other when they were made.
inline constexpr const char* reflinkSplitterName = "reflink";

// Paths, all absolute, and the name of the splitter that they are for.
struct SplitPlan {
  std::string device;          // of the volume
  std::string snapshotDevice;  // of its snapshot
  std::string volumeFile;      // what the volume consists of
  std::string snapshotFile;    // what the snapshot consists of
  std::string rawDevice{};     // a second, raw device of the snapshot; empty for none
  std::string splitter = reflinkSplitterName;
};

}  // namespace qmfi_host

#endif

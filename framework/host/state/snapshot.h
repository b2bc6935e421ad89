// What the host knows of a snapshot.
#ifndef SNAPSHOT_H
#define SNAPSHOT_H

#include <linux/fs.h>

#include <chrono>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "state/freeze_receipt.h"
#include "volume/split_plan.h"

namespace qmfi_host {

// How far a snapshot has come. It is written to the state store before the step of its name begins, so a host that is
// killed leaves behind what has to be undone or finished.
enum class Phase {
  preparing,   // the files for the volumes are being made
  freezing,    // file systems may be frozen
  attaching,   // snapshot devices are being made
  mounting,    // alternates are being mounted
  ready,       // complete, alternates mounted
  unmounting,  // alternates are being unmounted
  unmounted,   // complete, alternates not mounted
  remounting,  // alternates are being mounted again
  deleting,    // everything is being removed
  lent,        // complete, and removed when the program has ended that works on it
};

// A moment of a run of the machine.
struct FreezeMoment {
  std::string bootId{};                     // the kernel's name for the run; empty where it is not known
  std::chrono::microseconds sinceStart{0};  // by CLOCK_BOOTTIME
};

// One file system of a snapshot.
struct SnapshotNode {
  std::string mountPoint;
  SplitPlan volume;
  std::string alternate;       // mount point of the snapshot
  std::string state;           // the provider's state of the file system; empty until the snapshot is complete
  std::string alternateState;  // and of the alternate
  std::string provider{};
  unsigned long thawRequest = FITHAW;     // the request that ends a freeze of the provider's
  std::chrono::seconds kernelTimeout{0};  // when the kernel ends such a freeze; zero when it does not
};

// A snapshot, as the state store holds it.
struct Snapshot {
  using Time = std::chrono::sys_time<std::chrono::microseconds>;

  std::string id;    // eight hexadecimal digits
  std::string name;  // the user's name for it; the id where none was given
  Time created{};
  std::chrono::microseconds frozen{0};  // from before the freeze to after the thaw
  Phase phase = Phase::preparing;
  FreezeMoment freeze{};                   // just before it began; empty until then
  std::optional<FreezeReceipt> receipt{};  // nothing until the freeze is over, and of earlier versions
  std::string held{};                      // why it is to be kept; empty when it is not held
  std::vector<SnapshotNode> nodes;         // in the order in which the user named them
};

// The phase as users and the state store call it.
std::string phaseName(Phase phase);

// The phase of a name. Throws HostError for an unknown one.
Phase phaseOfName(const std::string& name);

// Whether everything that was begun is finished.
bool isAtRest(Phase phase);

// A new identifier, not in use as far as chance can tell.
std::string newSnapshotId();

// Throws UsageError unless the name consists of 1 to 64 letters, digits, ".", "_" and "-", and is neither "." nor "..".
void requireSnapshotName(const std::string& name);

// The same for a name that the user chooses, which must not look like the id of another snapshot either.
void requireUsersSnapshotName(const std::string& name);

}  // namespace qmfi_host

#endif

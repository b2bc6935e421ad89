// What a machine must look like that starts again after its power was cut.
#ifndef RESTART_H
#define RESTART_H

#include <string>
#include <vector>

namespace faults {

// Whether the snapshot must be there.
enum class Presence { none, either, required };

// What follows for the presence from the last mark, which says which command began or was through; empty before all of
// them.
Presence presenceAfter(const std::string& mark);

// Starts with the disks in a folder, runs "qmfi recover", and looks at everything: the file systems hold what was
// written to them, the snapshot is whole or gone, can be mounted and deleted, and leaves nothing behind. Returns what
// is not so.
std::vector<std::string> complaintsAfterRestart(const std::string& folder, Presence presence);

}  // namespace faults

#endif

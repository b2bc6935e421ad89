// What qmfi itself has left on this machine.
#ifndef STATE_FINDINGS_H
#define STATE_FINDINGS_H

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "doctor/finding.h"
#include "snapshot/snapshot_status.h"
#include "volume/splitters.h"

namespace qmfi_host {

// Whether root alone can change a directory, which need not be there. what: what it is for, in the user's language.
Finding directoryFinding(const std::string& what, const std::filesystem::path& directory);

// The snapshots, damaged ones included, that are not as they should be. known: all of the state.
Findings snapshotFindings(const std::vector<SnapshotStatus>& known);

// The snapshots that the state does not know although a record tells of them.
Findings unknownSnapshotFindings(const std::vector<SnapshotStatus>& known, const Splitters& splitters);

// What is mounted where snapshots are mounted and belongs to none that is known. mountTable: as /proc/self/mountinfo
// has it.
Findings strangeMountFindings(const std::vector<SnapshotStatus>& known, std::string_view mountTable);

}  // namespace qmfi_host

#endif
